// The SDK layer's rules that no export shows: the public SigV4 header-signing vectors, every one,
// byte for byte (a wrong canonical form, scope, key derivation or signature shows as a mismatch
// with the published texts); how a timestamp text is read (a parser that accepts too much turns a
// typo into a wrong start position; one that accepts too little refuses valid times); and where a
// client sends its requests (a wrong precedence sends test or production traffic to the wrong
// place; a region pasted unchecked into a host name redirects it).
#include <aws/core/auth/signer/AWSAuthV4Signer.h>
#include <aws/core/utils/DateTime.h>

#include "kinesis/endpoint_resolver.h"
#include "library.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <iterator>
#include <sstream>

namespace {

using Aws::Client::SignableRequest;
namespace SigV4 = Aws::Client::SigV4;
const std::filesystem::path kSuite = RXK_SIGV4_SUITE_DIR;

std::string fileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A member of the flat context.json: a string's text, or a literal (true, 3600) as written.
std::string jsonValue(const std::string& json, const std::string& key) {
    const size_t at = json.find("\"" + key + "\"");
    if (at == std::string::npos) return {};
    const size_t start = json.find_first_not_of(" :", at + key.size() + 2);
    if (json[start] != '"') return json.substr(start, json.find_first_of(",\n}", start) - start);
    return json.substr(start + 1, json.find('"', start + 1) - start - 1);
}

std::string header(const SignableRequest& request, const std::string& name) {
    for (const auto& [key, value] : request.headers)
        if (key == name) return value;
    return {};
}

// request.txt: request line, "Name:value" lines (an indented line continues the value), a blank
// line, the body.
SignableRequest parseRequest(const std::string& raw) {
    SignableRequest request;
    std::istringstream lines(raw);
    std::string line, target;
    std::getline(lines, line);
    request.method = line.substr(0, line.find(' '));
    target = line.substr(line.find(' ') + 1);
    target = target.substr(0, target.rfind(' '));
    request.path = target.substr(0, target.find('?'));
    if (target.find('?') != std::string::npos) request.query = target.substr(target.find('?') + 1);
    while (std::getline(lines, line) && !line.empty()) {
        if (line[0] == ' ') request.headers.back().second += "\n" + line;
        else request.headers.emplace_back(line.substr(0, line.find(':')), line.substr(line.find(':') + 1));
    }
    const std::streamoff bodyStart = lines.tellg();
    const std::string body = bodyStart < 0 ? "" : raw.substr(size_t(bodyStart));
    request.payloadHash = SigV4::HashPayload(body.data(), body.size());
    return request;
}

TEST(SigV4Vectors, EveryVectorSignsByteForByte) {
    std::set<std::filesystem::path> cases;
    for (const auto& entry : std::filesystem::directory_iterator(kSuite)) cases.insert(entry.path());
    ASSERT_EQ(cases.size(), 38u) << "the vectors went missing from " << kSuite;
    for (const auto& dir : cases) {
        SCOPED_TRACE(dir.filename().string());
        const std::string context = fileText(dir / "context.json");
        const Aws::Auth::AWSCredentials credentials(
            jsonValue(context, "access_key_id"), jsonValue(context, "secret_access_key"),
            jsonValue(context, "omit_session_token") == "true" ? "" : jsonValue(context, "token"));
        const std::string region = jsonValue(context, "region"), service = jsonValue(context, "service");
        const Aws::Utils::DateTime time(jsonValue(context, "timestamp"), Aws::Utils::DateFormat::ISO_8601);
        const bool normalize = jsonValue(context, "normalize") == "true";
        SignableRequest request = parseRequest(fileText(dir / "request.txt"));
        Aws::Client::AWSAuthV4Signer signer(credentials, service.c_str(), region, normalize);
        signer.SignRequest(request, time, jsonValue(context, "sign_body") == "true");

        const std::string canonical = SigV4::CanonicalRequest(request, normalize);
        EXPECT_EQ(canonical, fileText(dir / "header-canonical-request.txt"));
        const std::string amzDate = header(request, "x-amz-date");
        const std::string scope = SigV4::CredentialScope(amzDate.substr(0, 8), region, service);
        EXPECT_EQ(SigV4::StringToSign(canonical, amzDate, scope), fileText(dir / "header-string-to-sign.txt"));
        EXPECT_EQ(header(request, "authorization"),
                  "AWS4-HMAC-SHA256 Credential=" + credentials.GetAWSAccessKeyId() + "/" + scope +
                      ", SignedHeaders=" + SigV4::SignedHeaders(request) +
                      ", Signature=" + fileText(dir / "header-signature.txt"));
    }
}

// The signing key is cached per day: a signer that signed yesterday must derive today's key.
TEST(SigV4Vectors, SigningKeyFollowsTheDate) {
    const Aws::Utils::DateTime day1(int64_t{1440938160000}), day2 = day1 + std::chrono::hours(24);
    const Aws::Auth::AWSCredentials keys("AKID", "SECRET");
    Aws::Client::AWSAuthV4Signer cached(keys, "kinesis", "us-east-1"), fresh(keys, "kinesis", "us-east-1");
    auto sign = [](Aws::Client::AWSAuthV4Signer& signer, const Aws::Utils::DateTime& time) {
        SignableRequest request{"GET", "/", "", {{"host", "example.com"}}, SigV4::HashPayload("", 0)};
        signer.SignRequest(request, time);
        return header(request, "authorization");
    };
    const std::string yesterday = sign(cached, day1);
    EXPECT_EQ(sign(cached, day2), sign(fresh, day2));
    EXPECT_NE(yesterday, sign(fresh, day2));
}

// What the published vectors leave out: more headers than a small sort handles, capitals that would
// order names differently from their lower-case forms, one name repeated far apart in three
// spellings (its values join in the order sent). The signature is botocore's for the same request.
TEST(SigV4Vectors, ManyMixedCaseHeadersWithARepeatedName) {
    SignableRequest request{"GET", "/", "", {{"X-Dup", "first"}, {"Zulu", "z"}, {"yankee", "y"}, {"X-Ray", "x"},
        {"whiskey", "w"}, {"Victor", "v"}, {"uniform", "u"}, {"Tango", "t"}, {"x-dup", " second  half "},
        {"sierra", "s"}, {"Romeo", "r"}, {"quebec", "q"}, {"Papa", "p"}, {"oscar", "o"}, {"November", "n"},
        {"mike", "m"}, {"Lima", "l"}, {"X-DUP", "third"}, {"Host", "example.amazonaws.com"}}, SigV4::HashPayload("", 0)};
    const Aws::Auth::AWSCredentials keys("AKIDEXAMPLE", "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY");
    Aws::Client::AWSAuthV4Signer(keys, "service", "us-east-1").SignRequest(request, Aws::Utils::DateTime(int64_t{1440938160000}), false);
    EXPECT_NE(SigV4::CanonicalRequest(request).find("\nwhiskey:w\nx-amz-date:20150830T123600Z\nx-dup:first,second half,third\n"),
              std::string::npos);
    EXPECT_EQ(header(request, "authorization"),
              "AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/20150830/us-east-1/service/aws4_request, SignedHeaders=host;lima;"
              "mike;november;oscar;papa;quebec;romeo;sierra;tango;uniform;victor;whiskey;x-amz-date;x-dup;x-ray;yankee;"
              "zulu, Signature=42deec775294df5a6ea184fcdf82841f3f4859d6da00bd016ee934bb2f03eb37");
}

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
    // A text replaces the whole value: nothing of the earlier time stays.
    const auto parsed = [](const char* text) {
        DateTime time(int64_t{1459799926480});
        time = Aws::String(text);
        return std::string(time.WasParseSuccessful() ? "" : "refused ") + std::to_string(time.Millis()) + " " + fields(time);
    };
    for (const Case& c : kAccepted) EXPECT_EQ(parsed(c.text), std::to_string(c.millis) + " " + c.fields) << c.text;
    for (const char* text : kRejected) EXPECT_EQ(parsed(text), "refused 0 1970-0-1-4") << text;
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
        for (const auto& [key, name] : std::map<std::string, const char*>{
                 {"kinesis", "AWS_ENDPOINT_URL_KINESIS"}, {"generic", "AWS_ENDPOINT_URL"}, {"ignore", "AWS_IGNORE_CONFIGURED_ENDPOINT_URLS"}})
            settings.count(key) ? setenv(name, settings[key].c_str(), 1) : unsetenv(name);
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
