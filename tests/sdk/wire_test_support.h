// Clients pointed at the local test servers, as the tests reach them: through the endpoint
// environment variables, never through a real AWS endpoint.
#pragma once

#include <aws/core/Aws.h>
#include <aws/core/client/DefaultRetryStrategy.h>
#include <aws/kinesis/KinesisClient.h>

#include "sdk_test_support.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace rxk::sdktest {

using ConfigTweak = std::function<void(Aws::Client::ClientConfiguration&)>;

inline std::unique_ptr<Aws::Kinesis::KinesisClient> clientFor(
    const std::string& endpoint, const ConfigTweak& tweak = {},
    const Aws::Auth::AWSCredentials& credentials = Aws::Auth::AWSCredentials("AKIDEXAMPLE", "SECRETEXAMPLE")) {
    auto clean = cleanAwsEnvironment();
    ScopedEnv env{{"AWS_ENDPOINT_URL_KINESIS", endpoint}};
    Aws::Client::ClientConfiguration config;
    if (tweak) tweak(config);
    return std::make_unique<Aws::Kinesis::KinesisClient>(credentials, config);
}

// Retries as the default strategy makes them, but with 1 ms as the backoff unit, so that a
// test of eleven attempts takes about a second instead of 25.
inline ConfigTweak fastRetries(long maxRetries = 10) {
    return [maxRetries](Aws::Client::ClientConfiguration& config) {
        config.retryStrategy = std::make_shared<Aws::Client::DefaultRetryStrategy>(maxRetries, 1);
    };
}

inline Aws::Utils::ByteBuffer bytesOf(const std::string& text) {
    return Aws::Utils::ByteBuffer(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

inline std::string textOf(const Aws::Utils::ByteBuffer& buffer) {
    if (buffer.GetUnderlyingData() == nullptr) return {};
    return std::string(reinterpret_cast<const char*>(buffer.GetUnderlyingData()), buffer.GetLength());
}

// InitAPI/ShutdownAPI around every test binary that talks to a server, registered once per
// binary however many of its files include this header.
class SdkEnvironment : public ::testing::Environment {
public:
    void SetUp() override { Aws::InitAPI(options_); }
    void TearDown() override { Aws::ShutdownAPI(options_); }

private:
    Aws::SDKOptions options_;
};

inline ::testing::Environment* const kSdkEnvironment = ::testing::AddGlobalTestEnvironment(new SdkEnvironment);

}  // namespace rxk::sdktest
