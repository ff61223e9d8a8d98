// The SDK layer's rules that no export shows: how a timestamp text is read (a parser that
// accepts too much turns a typo into a wrong start position; one that accepts too little refuses
// valid times) and where a client sends its requests (a wrong precedence sends test or
// production traffic to the wrong place; a region pasted unchecked into a host name redirects it).
#include <aws/core/utils/DateTime.h>

#include "kinesis/endpoint_resolver.h"
#include "library.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

using Aws::Utils::DateTime;

// "year-month-day-weekday" as the UTC getters give them (month and weekday zero-based).
std::string fields(const DateTime& time) {
    return std::to_string(time.GetYear()) + "-" + std::to_string(int(time.GetMonth())) + "-" +
           std::to_string(time.GetDay()) + "-" + std::to_string(int(time.GetDayOfWeek()));
}

TEST(SdkRules, DateTimeTextsAutoDetected) {
    struct Case { const char* text; bool parsed; int64_t millis; const char* fields; };
    const Case kRows[] = {
        {"2016-04-04T19:58:46Z", true, 1459799926000, "2016-3-4-1"},
        {"2016-04-04T19:58:46.480Z", true, 1459799926480, "2016-3-4-1"},
        {"2016-04-04T19:58:46.480123456Z", true, 1459799926480, "2016-3-4-1"},
        {"2016-04-04T19:58:46+00:00", true, 1459799926000, "2016-3-4-1"},
        {"Mon, 04 Apr 2016 19:58:46 GMT", true, 1459799926000, "2016-3-4-1"},
        {"monday, 4 april 2016 19:58:46 UTC", true, 1459799926000, "2016-3-4-1"},
        {"Mon, 04 Apr 16 19:58:46 GMT", true, 1459799926000, "2016-3-4-1"},
        {"Mon, 04 Apr 2016 19:58:46 +0000", true, 1459799926000, "2016-3-4-1"},
        {"Mon, 04 Apr 2016 19:58:46 ", true, 1459799926000, "2016-3-4-1"},
        {"20160404T195846Z", true, 1459799926000, "2016-3-4-1"},
        {"20160404T195846480Z", true, 1459799926480, "2016-3-4-1"},
        {"2016-12-31T23:59:58.250Z", true, 1483228798250, "2016-11-31-6"},
        {"2016-13-01T00:00:00Z", true, 1483228800000, "2017-0-1-0"},  // fields normalised, not checked
        {"2016-04-04T19:58:46", false, 0, "1970-0-1-4"},
        {"2016-04-04 19:58:46Z", false, 0, "1970-0-1-4"},
        {"2016-04-04t19:58:46Z", false, 0, "1970-0-1-4"},
        {"2016-04-04T19:58:46.4Z", false, 0, "1970-0-1-4"},
        {"2016-04-04T19:58:46.48Z", false, 0, "1970-0-1-4"},
        {"2016-04-04T19:58:46.1234567890Z", false, 0, "1970-0-1-4"},
        {"2016-4-04T19:58:46Z", false, 0, "1970-0-1-4"},
        {"2016-04-04", false, 0, "1970-0-1-4"},
        {"1459799926", false, 0, "1970-0-1-4"},
        {"Mon, 04 Apr 2016 19:58:46", false, 0, "1970-0-1-4"},
        {"Mon 04 Apr 2016 19:58:46 GMT", false, 0, "1970-0-1-4"},
        {"Mon, 04 Xyz 2016 19:58:46 GMT", false, 0, "1970-0-1-4"},
        {"Mon, 04 Apr 2016 19:58:46 GMT+0100x", false, 0, "1970-0-1-4"},
        {"2016-04-04T19:58:46Zjunk", false, 0, "1970-0-1-4"},
        {"", false, 0, "1970-0-1-4"},
    };
    DateTime time;  // one object throughout: a failed parse after a good one keeps nothing of it
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.text);
        time = Aws::String(c.text);
        EXPECT_EQ(time.WasParseSuccessful(), c.parsed);
        EXPECT_EQ(time.Millis(), c.millis);
        EXPECT_EQ(fields(time), c.fields);
    }
}

struct EndpointCase {
    const char* name;
    const char* region;
    const char* override;           // config.endpointOverride
    const char* kinesisVariable;    // AWS_ENDPOINT_URL_KINESIS (nullptr: unset)
    const char* genericVariable;    // AWS_ENDPOINT_URL
    const char* ignoreVariable;     // AWS_IGNORE_CONFIGURED_ENDPOINT_URLS
    bool http, fips, dualStack;
    const char* url;                // or the error message when resolution fails
    const char* authority;          // the Host header (nullptr: not checked)
};

const EndpointCase kEndpoints[] = {
    {"override beats both variables", "eu-west-1", "http://127.0.0.1:3", "http://127.0.0.1:1", "http://127.0.0.1:2",
     nullptr, false, false, false, "http://127.0.0.1:3", "127.0.0.1:3"},
    {"service variable beats the generic one", "eu-west-1", "", "http://127.0.0.1:1", "http://127.0.0.1:2", nullptr,
     false, false, false, "http://127.0.0.1:1", nullptr},
    {"generic variable alone", "eu-west-1", "", nullptr, "http://127.0.0.1:2", nullptr, false, false, false,
     "http://127.0.0.1:2", nullptr},
    {"empty service variable falls through", "eu-west-1", "", "", "http://127.0.0.1:2", nullptr, false, false, false,
     "http://127.0.0.1:2", nullptr},
    {"ignore switch TRUE", "eu-west-1", "", nullptr, "http://127.0.0.1:2", "TRUE", false, false, false,
     "https://kinesis.eu-west-1.amazonaws.com", "kinesis.eu-west-1.amazonaws.com"},
    {"ignore switch 1", "eu-west-1", "", nullptr, "http://127.0.0.1:2", "1", false, false, false,
     "https://kinesis.eu-west-1.amazonaws.com", nullptr},
    {"ignore switch keeps the override", "eu-west-1", "localhost:9", nullptr, "http://127.0.0.1:2", "true", false,
     false, false, "https://localhost:9", nullptr},
    {"ignore switch yes is not true", "eu-west-1", "", nullptr, "http://127.0.0.1:2", "yes", false, false, false,
     "http://127.0.0.1:2", nullptr},
    {"override without scheme gets https", "us-east-1", "127.0.0.1:4567", nullptr, nullptr, nullptr, false, false,
     false, "https://127.0.0.1:4567", "127.0.0.1:4567"},
    {"override without scheme gets http", "us-east-1", "127.0.0.1:4567", nullptr, nullptr, nullptr, true, false, false,
     "http://127.0.0.1:4567", nullptr},
    {"upper-case scheme kept", "us-east-1", "HTTPS://Example.com", nullptr, nullptr, nullptr, false, false, false,
     "HTTPS://Example.com", nullptr},
    {"variable without scheme gets https", "us-east-1", "", "localhost:4568", nullptr, nullptr, false, false, false,
     "https://localhost:4568", nullptr},
    {"default http port dropped", "us-east-1", "http://127.0.0.1:80/", nullptr, nullptr, nullptr, false, false, false,
     "http://127.0.0.1:80/", "127.0.0.1"},
    {"default https port dropped", "us-east-1", "https://host.example:443", nullptr, nullptr, nullptr, false, false,
     false, "https://host.example:443", "host.example"},
    {"port 80 kept for https", "us-east-1", "https://host.example:80", nullptr, nullptr, nullptr, false, false, false,
     "https://host.example:80", "host.example:80"},
    {"IPv6 authority", "us-east-1", "http://[::1]:8080/path", nullptr, nullptr, nullptr, false, false, false,
     "http://[::1]:8080/path", "[::1]:8080"},
    {"aws", "us-east-1", "", nullptr, nullptr, nullptr, false, false, false, "https://kinesis.us-east-1.amazonaws.com", nullptr},
    {"aws-cn", "cn-north-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.cn-north-1.amazonaws.com.cn", nullptr},
    {"aws-us-gov", "us-gov-west-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.us-gov-west-1.amazonaws.com", nullptr},
    {"aws-iso", "us-iso-east-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.us-iso-east-1.c2s.ic.gov", nullptr},
    {"aws-iso-b", "us-isob-east-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.us-isob-east-1.sc2s.sgov.gov", nullptr},
    {"aws-iso-e", "eu-isoe-west-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.eu-isoe-west-1.cloud.adc-e.uk", nullptr},
    {"aws-iso-f", "us-isof-south-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.us-isof-south-1.csp.hci.ic.gov", nullptr},
    {"unknown region is aws", "xx-unknown-9", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis.xx-unknown-9.amazonaws.com", nullptr},
    {"fips- region", "fips-us-east-1", "", nullptr, nullptr, nullptr, false, false, false,
     "https://kinesis-fips.us-east-1.amazonaws.com", nullptr},
    {"dual stack", "eu-west-1", "", nullptr, nullptr, nullptr, false, false, true, "https://kinesis.eu-west-1.api.aws", nullptr},
    {"GovCloud FIPS", "us-gov-west-1", "", nullptr, nullptr, nullptr, false, true, false,
     "https://kinesis.us-gov-west-1.amazonaws.com", nullptr},
    {"override with FIPS", "us-east-1", "http://127.0.0.1:1", nullptr, nullptr, nullptr, false, true, false,
     "Invalid Configuration: FIPS and custom endpoint are not supported", nullptr},
    {"region with a dot", "us-east-1.evil.com", "", nullptr, nullptr, nullptr, false, false, false,
     "Invalid DNS Label found in URI host", nullptr},
    {"region with spaces", "us east 1", "", nullptr, nullptr, nullptr, false, false, false, "Invalid DNS Label found in URI host", nullptr},
    {"region with a slash", "us-east-1/x", "", nullptr, nullptr, nullptr, false, false, false,
     "Invalid DNS Label found in URI host", nullptr},
    {"region with a leading dash", "-us-east-1", "", nullptr, nullptr, nullptr, false, false, false,
     "Invalid DNS Label found in URI host", nullptr},
    {"region with an at", "us-east-1@host", "", nullptr, nullptr, nullptr, false, false, false,
     "Invalid DNS Label found in URI host", nullptr},
};

TEST(SdkRules, EndpointResolution) {
    for (const EndpointCase& c : kEndpoints) {
        SCOPED_TRACE(c.name);
        auto variable = [](const char* name, const char* value) {
            return std::make_unique<rxk::test::EnvVar>(name, value ? std::optional<std::string>(value) : std::nullopt);
        };
        const auto kinesis = variable("AWS_ENDPOINT_URL_KINESIS", c.kinesisVariable);
        const auto generic = variable("AWS_ENDPOINT_URL", c.genericVariable);
        const auto ignore = variable("AWS_IGNORE_CONFIGURED_ENDPOINT_URLS", c.ignoreVariable);
        Aws::Client::ClientConfiguration config;
        config.region = c.region;
        config.endpointOverride = c.override;
        config.scheme = c.http ? Aws::Http::Scheme::HTTP : Aws::Http::Scheme::HTTPS;
        config.useFIPS = c.fips;
        config.useDualStack = c.dualStack;
        const auto endpoint = Aws::Internal::ResolveKinesisEndpoint(config);
        EXPECT_EQ(endpoint.resolved ? endpoint.url : endpoint.error.GetMessage(), c.url);
        if (!endpoint.resolved) { EXPECT_FALSE(endpoint.error.ShouldRetry()); }
        if (c.authority) { EXPECT_EQ(endpoint.authority, c.authority); }
    }
}

}  // namespace
