#pragma once

#include <aws/core/client/AWSError.h>
#include <aws/core/client/CoreErrors.h>

#include <memory>
#include <mutex>

namespace Aws {
namespace Client {

// Decides, after a failed attempt, whether a call tries again and how long it waits.
// Called concurrently from every thread that uses a client, so implementations are
// thread-safe.
class RetryStrategy {
 public:
  virtual ~RetryStrategy() = default;
  virtual bool ShouldRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const = 0;
  virtual long CalculateDelayBeforeNextRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const = 0;
  // Total attempts a call may make, the first included.
  virtual long GetMaxAttempts() const { return 0; }
  virtual const char* GetStrategyName() const = 0;
  // Told about every finished attempt; strategies with a retry budget settle it here.
  virtual void RequestBookkeeping(bool attemptSucceeded, const AWSError<CoreErrors>& lastError) {
    (void)attemptSucceeded;
    (void)lastError;
  }
};

// The "standard" mode: a bounded number of attempts, exponential backoff with full jitter
// capped at 20 s, and a retry budget shared by all calls of a client.
class StandardRetryStrategy : public RetryStrategy {
 public:
  static constexpr long kDefaultMaxAttempts = 3;
  static constexpr int kInitialRetryTokens = 500;
  static constexpr int kRetryCost = 5;
  static constexpr int kTimeoutRetryCost = 10;
  static constexpr int kNoRetryIncrement = 1;
  static constexpr long kMaxBackoffMs = 20000;

  explicit StandardRetryStrategy(long maxAttempts = kDefaultMaxAttempts);

  bool ShouldRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const override;
  long CalculateDelayBeforeNextRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const override;
  long GetMaxAttempts() const override { return m_maxAttempts; }
  const char* GetStrategyName() const override { return "standard"; }
  void RequestBookkeeping(bool attemptSucceeded, const AWSError<CoreErrors>& lastError) override;

  int GetAvailableRetryTokens() const;

 private:
  static int RetryCost(const AWSError<CoreErrors>& error);

  long m_maxAttempts;
  mutable std::mutex m_tokensMutex;
  mutable int m_retryTokens = kInitialRetryTokens;
};

}  // namespace Client
}  // namespace Aws
