#include <aws/core/client/DefaultRetryStrategy.h>
#include <aws/core/client/RetryStrategy.h>

#include <algorithm>
#include <random>

namespace Aws {
namespace Client {

bool DefaultRetryStrategy::ShouldRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const {
  return attemptedRetries < m_maxRetries && error.ShouldRetry();
}

long DefaultRetryStrategy::CalculateDelayBeforeNextRetry(const AWSError<CoreErrors>&, long attemptedRetries) const {
  if (attemptedRetries <= 0) return 0;
  // Cap the shift so that absurd retry counts cannot overflow.
  return (1L << std::min(attemptedRetries, 30L)) * m_scaleFactor;
}

StandardRetryStrategy::StandardRetryStrategy(long maxAttempts)
    : m_maxAttempts(maxAttempts > 0 ? maxAttempts : kDefaultMaxAttempts) {}

int StandardRetryStrategy::RetryCost(const AWSError<CoreErrors>& error) {
  const bool timedOut = error.GetErrorType() == CoreErrors::REQUEST_TIMEOUT ||
                        error.GetErrorType() == CoreErrors::NETWORK_CONNECTION;
  return timedOut ? kTimeoutRetryCost : kRetryCost;
}

bool StandardRetryStrategy::ShouldRetry(const AWSError<CoreErrors>& error, long attemptedRetries) const {
  if (attemptedRetries + 1 >= m_maxAttempts || !error.ShouldRetry()) return false;
  std::lock_guard<std::mutex> lock(m_tokensMutex);
  const int cost = RetryCost(error);
  if (m_retryTokens < cost) return false;
  m_retryTokens -= cost;
  return true;
}

long StandardRetryStrategy::CalculateDelayBeforeNextRetry(const AWSError<CoreErrors>&, long attemptedRetries) const {
  thread_local std::mt19937 generator{std::random_device{}()};
  std::uniform_int_distribution<long> jitter(0, 999);
  const long factor = 1L << std::min(std::max(attemptedRetries, 0L), 20L);
  return std::min(jitter(generator) * factor, kMaxBackoffMs);
}

void StandardRetryStrategy::RequestBookkeeping(bool attemptSucceeded, const AWSError<CoreErrors>& lastError) {
  if (!attemptSucceeded) return;
  std::lock_guard<std::mutex> lock(m_tokensMutex);
  // A success after a retry returns what that retry cost; a first-time success earns one.
  const bool retried = lastError.ShouldRetry();
  m_retryTokens = std::min(kInitialRetryTokens, m_retryTokens + (retried ? RetryCost(lastError) : kNoRetryIncrement));
}

int StandardRetryStrategy::GetAvailableRetryTokens() const {
  std::lock_guard<std::mutex> lock(m_tokensMutex);
  return m_retryTokens;
}

}  // namespace Client
}  // namespace Aws
