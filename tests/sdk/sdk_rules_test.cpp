// The SDK layer's rules that no export shows: how a timestamp text is read (a parser that
// accepts too much turns a typo into a wrong start position; one that accepts too little refuses
// valid times) and where a client sends its requests (a wrong precedence sends test or
// production traffic to the wrong place; a region pasted unchecked into a host name redirects it).
#include <aws/core/utils/DateTime.h>

#include "kinesis/endpoint_resolver.h"
#include "library.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace {

using Aws::Utils::DateTime;

// "year-month-day-weekday" as the UTC getters give them (month and weekday zero-based).
std::string fields(const DateTime& time) {
    return std::to_string(time.GetYear()) + "-" + std::to_string(int(time.GetMonth())) + "-" +
           std::to_string(time.GetDay()) + "-" + std::to_string(int(time.GetDayOfWeek()));
}

TEST(SdkRules, DateTimeTextsAutoDetected) {
    struct Case { const char* text; int64_t millis; const char* fields; };
    const char* kMonday = "2016-3-4-1";
    const Case kAccepted[] = {
        {"2016-04-04T19:58:46Z", 1459799926000, kMonday}, {"2016-04-04T19:58:46.480Z", 1459799926480, kMonday},
        {"2016-04-04T19:58:46.480123456Z", 1459799926480, kMonday}, {"2016-04-04T19:58:46+00:00", 1459799926000, kMonday},
        {"Mon, 04 Apr 2016 19:58:46 GMT", 1459799926000, kMonday}, {"monday, 4 april 2016 19:58:46 UTC", 1459799926000, kMonday},
        {"Mon, 04 Apr 16 19:58:46 GMT", 1459799926000, kMonday}, {"Mon, 04 Apr 2016 19:58:46 +0000", 1459799926000, kMonday},
        {"Mon, 04 Apr 2016 19:58:46 ", 1459799926000, kMonday}, {"20160404T195846Z", 1459799926000, kMonday},
        {"20160404T195846480Z", 1459799926480, kMonday}, {"2016-12-31T23:59:58.250Z", 1483228798250, "2016-11-31-6"},
        {"2016-13-01T00:00:00Z", 1483228800000, "2017-0-1-0"},  // fields are normalised, not refused
    };
    const char* kRejected[] = {
        "2016-04-04T19:58:46", "2016-04-04 19:58:46Z", "2016-04-04t19:58:46Z", "2016-04-04T19:58:46.4Z",
        "2016-04-04T19:58:46.48Z", "2016-04-04T19:58:46.1234567890Z", "2016-4-04T19:58:46Z", "2016-04-04", "1459799926",
        "Mon, 04 Apr 2016 19:58:46", "Mon 04 Apr 2016 19:58:46 GMT", "Mon, 04 Xyz 2016 19:58:46 GMT",
        "Mon, 04 Apr 2016 19:58:46 GMT+0100x", "2016-04-04T19:58:46Zjunk", "",
    };
    for (const Case& c : kAccepted) {
        DateTime time;
        time = Aws::String(c.text);
        EXPECT_TRUE(time.WasParseSuccessful()) << c.text;
        EXPECT_EQ(std::to_string(time.Millis()) + " " + fields(time), std::to_string(c.millis) + " " + c.fields) << c.text;
    }
    for (const char* text : kRejected) {
        DateTime time(int64_t{1459799926480});
        time = Aws::String(text);  // replaces the whole value: nothing of the earlier time stays
        EXPECT_FALSE(time.WasParseSuccessful()) << text;
        EXPECT_EQ(std::to_string(time.Millis()) + " " + fields(time), "0 1970-0-1-4") << text;
    }
}

// settings: comma-separated region=, override=, kinesis= (AWS_ENDPOINT_URL_KINESIS), generic=
// (AWS_ENDPOINT_URL), ignore= (AWS_IGNORE_CONFIGURED_ENDPOINT_URLS), http, fips, dual. url: the
// resolved URL or the error's words; authority: the Host header ("": not checked).
struct EndpointCase { const char* name; const char* settings; const char* url; const char* authority; };
const EndpointCase kEndpoints[] = {
    {"override beats both variables", "override=http://127.0.0.1:3,kinesis=http://127.0.0.1:1,generic=http://127.0.0.1:2", "http://127.0.0.1:3", "127.0.0.1:3"},
    {"service variable beats the generic one", "kinesis=http://127.0.0.1:1,generic=http://127.0.0.1:2", "http://127.0.0.1:1", ""},
    {"empty service variable falls through", "kinesis=,generic=http://127.0.0.1:2", "http://127.0.0.1:2", ""},
    {"ignore switch TRUE", "generic=http://127.0.0.1:2,ignore=TRUE,region=eu-west-1", "https://kinesis.eu-west-1.amazonaws.com", "kinesis.eu-west-1.amazonaws.com"},
    {"ignore switch 1", "kinesis=http://127.0.0.1:2,ignore=1", "https://kinesis.us-east-1.amazonaws.com", ""},
    {"ignore switch keeps the override", "override=localhost:9,generic=http://127.0.0.1:2,ignore=true", "https://localhost:9", ""},
    {"ignore switch yes is not true", "generic=http://127.0.0.1:2,ignore=yes", "http://127.0.0.1:2", ""},
    {"override without scheme gets https", "override=127.0.0.1:4567", "https://127.0.0.1:4567", "127.0.0.1:4567"},
    {"override without scheme gets http", "override=127.0.0.1:4567,http", "http://127.0.0.1:4567", ""},
    {"upper-case scheme kept", "override=HTTPS://Example.com", "HTTPS://Example.com", ""},
    {"variable without scheme gets https", "kinesis=localhost:4568", "https://localhost:4568", ""},
    {"default http port dropped", "override=http://127.0.0.1:80/", "http://127.0.0.1:80/", "127.0.0.1"},
    {"default https port dropped", "override=https://host.example:443", "https://host.example:443", "host.example"},
    {"port 80 kept for https", "override=https://host.example:80", "https://host.example:80", "host.example:80"},
    {"IPv6 authority", "override=http://[::1]:8080/path", "http://[::1]:8080/path", "[::1]:8080"},
    {"aws-cn", "region=cn-north-1", "https://kinesis.cn-north-1.amazonaws.com.cn", ""},
    {"aws-us-gov", "region=us-gov-west-1", "https://kinesis.us-gov-west-1.amazonaws.com", ""},
    {"aws-iso", "region=us-iso-east-1", "https://kinesis.us-iso-east-1.c2s.ic.gov", ""},
    {"aws-iso-b", "region=us-isob-east-1", "https://kinesis.us-isob-east-1.sc2s.sgov.gov", ""},
    {"aws-iso-e", "region=eu-isoe-west-1", "https://kinesis.eu-isoe-west-1.cloud.adc-e.uk", ""},
    {"aws-iso-f", "region=us-isof-south-1", "https://kinesis.us-isof-south-1.csp.hci.ic.gov", ""},
    {"unknown region is aws", "region=xx-unknown-9", "https://kinesis.xx-unknown-9.amazonaws.com", ""},
    {"fips- region", "region=fips-us-east-1", "https://kinesis-fips.us-east-1.amazonaws.com", ""},
    {"dual stack", "region=eu-west-1,dual", "https://kinesis.eu-west-1.api.aws", ""},
    {"GovCloud FIPS", "region=us-gov-west-1,fips", "https://kinesis.us-gov-west-1.amazonaws.com", ""},
    {"override with FIPS", "override=http://127.0.0.1:1,fips", "Invalid Configuration: FIPS and custom endpoint are not supported", ""},
    {"region with a dot", "region=us-east-1.evil.com", "Invalid DNS Label found in URI host", ""},
    {"region with spaces", "region=us east 1", "Invalid DNS Label found in URI host", ""},
    {"region with a slash", "region=us-east-1/x", "Invalid DNS Label found in URI host", ""},
    {"region with a leading dash", "region=-us-east-1", "Invalid DNS Label found in URI host", ""},
    {"region with an at", "region=us-east-1@host", "Invalid DNS Label found in URI host", ""},
};

TEST(SdkRules, EndpointResolution) {
    for (const EndpointCase& c : kEndpoints) {
        SCOPED_TRACE(c.name);
        std::map<std::string, std::string> settings{{"region", "us-east-1"}};
        std::istringstream list(c.settings);
        for (std::string item; std::getline(list, item, ',');)
            settings[item.substr(0, item.find('='))] = item.find('=') == std::string::npos ? "" : item.substr(item.find('=') + 1);
        // The scope restores every endpoint variable; the row's settings replace its own.
        rxk::test::ServiceEnvironment scope("http://127.0.0.1:9");
        for (const char* key : {"kinesis", "generic", "ignore"}) {
            const char* name = *key == 'k' ? "AWS_ENDPOINT_URL_KINESIS" : *key == 'g' ? "AWS_ENDPOINT_URL" : "AWS_IGNORE_CONFIGURED_ENDPOINT_URLS";
            if (settings.count(key)) setenv(name, settings[key].c_str(), 1);
            else unsetenv(name);
        }
        Aws::Client::ClientConfiguration config;
        config.region = settings["region"];
        config.endpointOverride = settings["override"];
        config.scheme = settings.count("http") ? Aws::Http::Scheme::HTTP : Aws::Http::Scheme::HTTPS;
        config.useFIPS = settings.count("fips");
        config.useDualStack = settings.count("dual");
        const auto endpoint = Aws::Internal::ResolveKinesisEndpoint(config);
        EXPECT_EQ(endpoint.resolved ? endpoint.url : endpoint.error.GetMessage(), c.url);
        EXPECT_EQ(endpoint.resolved || !endpoint.error.ShouldRetry(), true);
        if (*c.authority) { EXPECT_EQ(endpoint.authority, c.authority); }
    }
}

}  // namespace
