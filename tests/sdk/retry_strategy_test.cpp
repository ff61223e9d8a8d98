// Retry decisions and delays, and how the configuration picks them up from the environment.
#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/client/DefaultRetryStrategy.h>
#include <aws/core/client/RetryStrategy.h>

#include "sdk_test_support.h"

#include <gtest/gtest.h>

namespace {

using Aws::Client::AWSError;
using Aws::Client::CoreErrors;
using rxk::sdktest::ScopedEnv;

AWSError<CoreErrors> retryable() { return AWSError<CoreErrors>(CoreErrors::THROTTLING, true); }
AWSError<CoreErrors> permanent() { return AWSError<CoreErrors>(CoreErrors::VALIDATION, false); }

// An off-by-one here changes how long a failing call blocks (and how often it hammers the
// service).
TEST(DefaultRetryStrategy, TenRetriesOfRetryableErrorsOnly) {
    const Aws::Client::DefaultRetryStrategy strategy;
    EXPECT_EQ(strategy.GetMaxAttempts(), 11);
    for (long k = 0; k < 10; ++k) EXPECT_TRUE(strategy.ShouldRetry(retryable(), k)) << k;
    EXPECT_FALSE(strategy.ShouldRetry(retryable(), 10));
    EXPECT_FALSE(strategy.ShouldRetry(permanent(), 0));
}

TEST(DefaultRetryStrategy, DelaysDoubleFromFiftyAfterAnImmediateFirstRetry) {
    const Aws::Client::DefaultRetryStrategy strategy;
    const long expected[] = {0, 50, 100, 200, 400, 800, 1600, 3200, 6400, 12800};
    long total = 0;
    for (long k = 0; k < 10; ++k) {
        EXPECT_EQ(strategy.CalculateDelayBeforeNextRetry(retryable(), k), expected[k]) << k;
        total += strategy.CalculateDelayBeforeNextRetry(retryable(), k);
    }
    EXPECT_EQ(total, 25550);
    const Aws::Client::DefaultRetryStrategy custom(3, 10);
    EXPECT_EQ(custom.CalculateDelayBeforeNextRetry(retryable(), 2), 40);
    EXPECT_FALSE(custom.ShouldRetry(retryable(), 3));
}

TEST(StandardRetryStrategy, AttemptsJitterAndBudget) {
    Aws::Client::StandardRetryStrategy strategy(3);
    EXPECT_EQ(strategy.GetMaxAttempts(), 3);
    EXPECT_TRUE(strategy.ShouldRetry(retryable(), 0));
    EXPECT_TRUE(strategy.ShouldRetry(retryable(), 1));
    EXPECT_FALSE(strategy.ShouldRetry(retryable(), 2));
    EXPECT_FALSE(strategy.ShouldRetry(permanent(), 0));
    for (long k = 0; k < 30; ++k) {
        const long delay = strategy.CalculateDelayBeforeNextRetry(retryable(), k);
        EXPECT_GE(delay, 0);
        EXPECT_LE(delay, 20000);
    }
    // Each retry costs 5 tokens of 500 (2 spent above): the budget runs dry after 100.
    Aws::Client::StandardRetryStrategy budget(1000);
    int granted = 0;
    while (budget.ShouldRetry(retryable(), 0) && granted < 1000) ++granted;
    EXPECT_EQ(granted, 100);
    budget.RequestBookkeeping(true, retryable());
    EXPECT_EQ(budget.GetAvailableRetryTokens(), 5);
    EXPECT_TRUE(budget.ShouldRetry(retryable(), 0));
}

// The mode variables must select the strategy exactly as documented; a stray variable in the
// host's environment should not silently change the legacy behaviour.
TEST(RetryModeFromEnvironment, DefaultIsLegacyAndIgnoresMaxAttempts) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ScopedEnv env{{"AWS_MAX_ATTEMPTS", "5"}};
    const Aws::Client::ClientConfiguration config;
    ASSERT_TRUE(config.retryStrategy);
    EXPECT_STREQ(config.retryStrategy->GetStrategyName(), "default");
    EXPECT_EQ(config.retryStrategy->GetMaxAttempts(), 11);
}

TEST(RetryModeFromEnvironment, StandardHonoursMaxAttempts) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    {
        ScopedEnv env{{"AWS_RETRY_MODE", "standard"}};
        const Aws::Client::ClientConfiguration config;
        EXPECT_STREQ(config.retryStrategy->GetStrategyName(), "standard");
        EXPECT_EQ(config.retryStrategy->GetMaxAttempts(), 3);
    }
    {
        ScopedEnv env{{"AWS_RETRY_MODE", "standard"}, {"AWS_MAX_ATTEMPTS", "5"}};
        EXPECT_EQ(Aws::Client::ClientConfiguration().retryStrategy->GetMaxAttempts(), 5);
    }
    for (const char* bad : {"0", "-2", "x", "3x", ""}) {
        ScopedEnv env{{"AWS_RETRY_MODE", "standard"}, {"AWS_MAX_ATTEMPTS", bad}};
        EXPECT_EQ(Aws::Client::ClientConfiguration().retryStrategy->GetMaxAttempts(), 3) << bad;
    }
    ScopedEnv unknown{{"AWS_RETRY_MODE", "bogus"}};
    EXPECT_STREQ(Aws::Client::ClientConfiguration().retryStrategy->GetStrategyName(), "default");
}

TEST(ClientConfigurationDefaults, RegionFromEnvironmentAndDocumentedDefaults) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    EXPECT_EQ(Aws::Client::ClientConfiguration().region, "us-east-1");
    {
        ScopedEnv env{{"AWS_REGION", "eu-west-2"}};
        EXPECT_EQ(Aws::Client::ClientConfiguration().region, "eu-west-2");
        ScopedEnv preferred{{"AWS_DEFAULT_REGION", "ap-south-1"}};
        EXPECT_EQ(Aws::Client::ClientConfiguration().region, "ap-south-1");
    }
    const Aws::Client::ClientConfiguration config;
    EXPECT_EQ(config.scheme, Aws::Http::Scheme::HTTPS);
    EXPECT_EQ(config.connectTimeoutMs, 1000);
    EXPECT_EQ(config.requestTimeoutMs, 3000);
    EXPECT_EQ(config.httpRequestTimeoutMs, 0);
    EXPECT_EQ(config.lowSpeedLimit, 1u);
    EXPECT_EQ(config.maxConnections, 25u);
    EXPECT_TRUE(config.verifySSL);
    EXPECT_TRUE(config.enableTcpKeepAlive);
    EXPECT_FALSE(config.allowSystemProxy);
    EXPECT_TRUE(config.userAgent.empty());
    EXPECT_TRUE(config.endpointOverride.empty());
}

}  // namespace
