#pragma once

#include <aws/core/client/RetryStrategy.h>

namespace Aws {
namespace Client {

// The legacy mode: retry while fewer than maxRetries retries were made and the error is
// retryable; wait 0 ms before the first retry, then 2^k * scaleFactor ms. No jitter.
class DefaultRetryStrategy : public RetryStrategy {
 public:
  explicit DefaultRetryStrategy(long maxRetries = 10, long scaleFactor = 25)
      : m_scaleFactor(scaleFactor), m_maxRetries(maxRetries) {}

  bool ShouldRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const override;
  long CalculateDelayBeforeNextRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const override;
  long GetMaxAttempts() const override { return m_maxRetries + 1; }
  const char* GetStrategyName() const override { return "default"; }

 protected:
  long m_scaleFactor;
  long m_maxRetries;
};

}  // namespace Client
}  // namespace Aws
