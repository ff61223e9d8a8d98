// Endpoint resolution: precedence of the override and the environment, scheme completion,
// partitions and refusal of hostile regions.
#include <aws/kinesis/KinesisClient.h>

#include "kinesis/endpoint_resolver.h"
#include "sdk_test_support.h"

#include <gtest/gtest.h>

namespace {

using Aws::Client::ClientConfiguration;
using Aws::Internal::ResolveKinesisEndpoint;
using rxk::sdktest::ScopedEnv;

ClientConfiguration configForRegion(const char* region) {
    ClientConfiguration config;
    config.region = region;
    return config;
}

// A wrong precedence would send test or production traffic to the wrong place.
TEST(EndpointResolution, ExplicitOverrideBeatsEnvironment) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ScopedEnv env{{"AWS_ENDPOINT_URL_KINESIS", "http://127.0.0.1:1"}, {"AWS_ENDPOINT_URL", "http://127.0.0.1:2"}};
    ClientConfiguration config = configForRegion("eu-west-1");
    config.endpointOverride = "http://127.0.0.1:3";
    EXPECT_EQ(ResolveKinesisEndpoint(config).url, "http://127.0.0.1:3");
}

TEST(EndpointResolution, ServiceSpecificVariableBeatsGenericOne) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ScopedEnv env{{"AWS_ENDPOINT_URL_KINESIS", "http://127.0.0.1:1"}, {"AWS_ENDPOINT_URL", "http://127.0.0.1:2"}};
    EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).url, "http://127.0.0.1:1");
    ScopedEnv withoutSpecific{{"AWS_ENDPOINT_URL_KINESIS", std::nullopt}};
    EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).url, "http://127.0.0.1:2");
    ScopedEnv emptySpecific{{"AWS_ENDPOINT_URL_KINESIS", ""}};
    EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).url, "http://127.0.0.1:2");
}

TEST(EndpointResolution, IgnoreSwitchSkipsEnvironmentButNotOverride) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ScopedEnv env{{"AWS_ENDPOINT_URL", "http://127.0.0.1:2"}};
    for (const char* on : {"true", "TRUE", "True", "1"}) {
        ScopedEnv ignore{{"AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", on}};
        EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).url, "https://kinesis.eu-west-1.amazonaws.com")
            << on;
        ClientConfiguration config = configForRegion("eu-west-1");
        config.endpointOverride = "localhost:9";
        EXPECT_EQ(ResolveKinesisEndpoint(config).url, "https://localhost:9") << on;
    }
    for (const char* off : {"false", "0", "yes", ""}) {
        ScopedEnv ignore{{"AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", off}};
        EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).url, "http://127.0.0.1:2") << off;
    }
}

TEST(EndpointResolution, SchemeIsCompletedFromConfiguration) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ClientConfiguration config = configForRegion("us-east-1");
    config.endpointOverride = "127.0.0.1:4567";
    EXPECT_EQ(ResolveKinesisEndpoint(config).url, "https://127.0.0.1:4567");
    config.scheme = Aws::Http::Scheme::HTTP;
    EXPECT_EQ(ResolveKinesisEndpoint(config).url, "http://127.0.0.1:4567");
    config.endpointOverride = "HTTPS://Example.com";
    EXPECT_EQ(ResolveKinesisEndpoint(config).url, "HTTPS://Example.com");
    ScopedEnv env{{"AWS_ENDPOINT_URL_KINESIS", "localhost:4568"}};
    EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("us-east-1")).url, "https://localhost:4568");
}

// The Host header must carry the port exactly when it is not the scheme's default, or the
// signature computed by the server differs.
TEST(EndpointResolution, AuthorityDropsOnlyTheDefaultPort) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    struct Case {
        const char* url;
        const char* authority;
    } cases[] = {{"http://127.0.0.1:4567", "127.0.0.1:4567"}, {"http://127.0.0.1:80/", "127.0.0.1"},
                 {"https://host.example:443", "host.example"}, {"https://host.example:80", "host.example:80"},
                 {"http://[::1]:8080/path", "[::1]:8080"}};
    for (const Case& c : cases) {
        ClientConfiguration config = configForRegion("us-east-1");
        config.endpointOverride = c.url;
        EXPECT_EQ(ResolveKinesisEndpoint(config).authority, c.authority) << c.url;
    }
    EXPECT_EQ(ResolveKinesisEndpoint(configForRegion("eu-west-1")).authority, "kinesis.eu-west-1.amazonaws.com");
}

TEST(EndpointResolution, PartitionsGiveTheirDnsSuffix) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    struct Case {
        const char* region;
        const char* url;
    } cases[] = {
        {"us-east-1", "https://kinesis.us-east-1.amazonaws.com"},
        {"cn-north-1", "https://kinesis.cn-north-1.amazonaws.com.cn"},
        {"us-gov-west-1", "https://kinesis.us-gov-west-1.amazonaws.com"},
        {"us-iso-east-1", "https://kinesis.us-iso-east-1.c2s.ic.gov"},
        {"us-isob-east-1", "https://kinesis.us-isob-east-1.sc2s.sgov.gov"},
        {"eu-isoe-west-1", "https://kinesis.eu-isoe-west-1.cloud.adc-e.uk"},
        {"us-isof-south-1", "https://kinesis.us-isof-south-1.csp.hci.ic.gov"},
        {"xx-unknown-9", "https://kinesis.xx-unknown-9.amazonaws.com"},
        {"fips-us-east-1", "https://kinesis-fips.us-east-1.amazonaws.com"},
    };
    for (const Case& c : cases) EXPECT_EQ(ResolveKinesisEndpoint(configForRegion(c.region)).url, c.url) << c.region;
    ClientConfiguration dual = configForRegion("eu-west-1");
    dual.useDualStack = true;
    EXPECT_EQ(ResolveKinesisEndpoint(dual).url, "https://kinesis.eu-west-1.api.aws");
    ClientConfiguration govFips = configForRegion("us-gov-west-1");
    govFips.useFIPS = true;
    EXPECT_EQ(ResolveKinesisEndpoint(govFips).url, "https://kinesis.us-gov-west-1.amazonaws.com");
}

// A region is pasted into a host name: anything that could change the URL must be refused.
TEST(EndpointResolution, InvalidRegionIsAValidationError) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    for (const char* region : {"us-east-1.evil.com", "us east 1", "us-east-1/x", "-us-east-1", "us_east_1",
                               "us-east-1@host"}) {
        const auto endpoint = ResolveKinesisEndpoint(configForRegion(region));
        EXPECT_FALSE(endpoint.resolved) << region;
        EXPECT_EQ(endpoint.error.GetErrorType(), Aws::Client::CoreErrors::VALIDATION) << region;
        EXPECT_EQ(endpoint.error.GetMessage(), "Invalid DNS Label found in URI host") << region;
        EXPECT_FALSE(endpoint.error.ShouldRetry());
    }
}

TEST(EndpointResolution, OverrideWithFipsOrDualStackIsRefused) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    ClientConfiguration config = configForRegion("us-east-1");
    config.endpointOverride = "http://127.0.0.1:1";
    config.useFIPS = true;
    const auto endpoint = ResolveKinesisEndpoint(config);
    EXPECT_FALSE(endpoint.resolved);
    EXPECT_EQ(endpoint.error.GetErrorType(), Aws::Client::CoreErrors::ENDPOINT_RESOLUTION_FAILURE);
}

// Every call of a client whose endpoint failed returns that error at once, with no retry and
// no network traffic.
TEST(EndpointResolution, ClientReportsResolutionFailureOnEachCall) {
    auto clean = rxk::sdktest::cleanAwsEnvironment();
    Aws::Kinesis::KinesisClient client(Aws::Auth::AWSCredentials("a", "b"), configForRegion("bad region"));
    for (int i = 0; i < 2; ++i) {
        const auto outcome = client.ListStreams(Aws::Kinesis::Model::ListStreamsRequest());
        ASSERT_FALSE(outcome.IsSuccess());
        EXPECT_EQ(outcome.GetError().GetErrorType(), Aws::Kinesis::KinesisErrors::VALIDATION);
        EXPECT_EQ(outcome.GetError().GetMessage(), "Invalid DNS Label found in URI host");
        EXPECT_EQ(outcome.GetRetryCount(), 0u);
        EXPECT_EQ(outcome.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::REQUEST_NOT_MADE);
    }
}

TEST(SigningRegion, FipsMarkersAndGlobalAreMapped) {
    EXPECT_EQ(Aws::Internal::SigningRegion("fips-us-east-1"), "us-east-1");
    EXPECT_EQ(Aws::Internal::SigningRegion("us-east-1-fips"), "us-east-1");
    EXPECT_EQ(Aws::Internal::SigningRegion("aws-global"), "us-east-1");
    EXPECT_EQ(Aws::Internal::SigningRegion("eu-west-1"), "eu-west-1");
}

}  // namespace
