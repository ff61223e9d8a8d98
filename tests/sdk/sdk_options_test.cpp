// Start and stop of the SDK and the defaults the connector relies on without setting them.
#include <aws/core/Aws.h>
#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/utils/Outcome.h>
#include <aws/kinesis/KinesisErrors.h>
#include <aws/kinesis/model/PutRecordResult.h>

#include <gtest/gtest.h>

namespace {

// A changed default would silently turn on logging or change the prefix of log files.
TEST(SdkOptions, DefaultsAreLoggingOffWithTheStandardPrefix) {
    const Aws::SDKOptions options;
    EXPECT_EQ(static_cast<int>(options.loggingOptions.logLevel), 0);
    EXPECT_STREQ(options.loggingOptions.defaultLogPrefix, "aws_sdk_");
    EXPECT_TRUE(options.httpOptions.initAndCleanupCurl);
    EXPECT_FALSE(options.httpOptions.installSigPipeHandler);
    EXPECT_EQ(options.memoryManagementOptions.memoryManager, nullptr);
}

// The connector may start twice and stop twice; neither may crash or leak the curl state.
TEST(SdkOptions, RepeatedInitAndShutdownAreHarmless) {
    const Aws::SDKOptions options;
    Aws::InitAPI(options);
    Aws::InitAPI(options);
    Aws::ShutdownAPI(options);
    Aws::ShutdownAPI(options);
    Aws::InitAPI(options);
    Aws::ShutdownAPI(options);
}

TEST(Credentials, EmptinessAndSetters) {
    Aws::Auth::AWSCredentials credentials;
    EXPECT_TRUE(credentials.IsEmpty());
    EXPECT_FALSE(credentials.IsExpired());
    credentials.SetAWSAccessKeyId("id");
    EXPECT_FALSE(credentials.IsEmpty());
    credentials.SetAWSSecretKey(static_cast<const char*>(nullptr));
    EXPECT_EQ(credentials.GetAWSSecretKey(), "");
    credentials.SetExpiration(Aws::Utils::DateTime::Now() - std::chrono::seconds(1));
    EXPECT_TRUE(credentials.IsExpiredOrEmpty());
}

// Outcome: reading the wrong side gives a default value, moving the result out leaves the
// outcome usable, the retry count travels with copies.
TEST(OutcomeBehaviour, SidesDefaultsAndOwnership) {
    using Outcome = Aws::Utils::Outcome<Aws::Kinesis::Model::PutRecordResult, Aws::Kinesis::KinesisError>;
    const Outcome failed;
    EXPECT_FALSE(failed.IsSuccess());
    EXPECT_EQ(failed.GetRetryCount(), 0u);
    EXPECT_TRUE(failed.GetResult().GetShardId().empty());

    Aws::Kinesis::Model::PutRecordResult result;
    result.SetShardId("shardId-1");
    Outcome ok(std::move(result));
    ok.SetRetryCount(3);
    const Outcome copy = ok;
    EXPECT_TRUE(copy.IsSuccess());
    EXPECT_EQ(copy.GetRetryCount(), 3u);
    ok.GetResult().SetSequenceNumber("7");
    const Aws::Kinesis::Model::PutRecordResult taken = ok.GetResultWithOwnership();
    EXPECT_EQ(taken.GetShardId(), "shardId-1");
    EXPECT_EQ(taken.GetSequenceNumber(), "7");
    EXPECT_EQ(static_cast<int>(ok.GetError().GetErrorType()), 0);

    const Outcome fromCore(Aws::Client::AWSError<Aws::Client::CoreErrors>(Aws::Client::CoreErrors::THROTTLING, true));
    EXPECT_FALSE(fromCore.IsSuccess());
    EXPECT_EQ(fromCore.GetError().GetErrorType(), Aws::Kinesis::KinesisErrors::THROTTLING);
}

}  // namespace
