// Replays the public SigV4 header-signing test vectors through the signer.
#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include "sdk_test_support.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <regex>

namespace {

using Aws::Client::SignableRequest;
namespace SigV4 = Aws::Client::SigV4;

const std::string kSuiteDir = RXK_SIGV4_SUITE_DIR;

std::vector<std::string> caseNames() {
    std::vector<std::string> names;
    if (DIR* dir = opendir(kSuiteDir.c_str())) {
        while (dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string jsonText(const std::string& json, const std::string& key) {
    std::smatch match;
    if (std::regex_search(json, match, std::regex("\"" + key + "\"\\s*:\\s*\"([^\"]*)\""))) return match[1];
    return {};
}

bool jsonFlag(const std::string& json, const std::string& key) {
    return std::regex_search(json, std::regex("\"" + key + "\"\\s*:\\s*true"));
}

struct SuiteCase {
    std::string name;
    std::string context;
    SignableRequest request;
    std::string body;
};

// request.txt: request line, "Name:value" lines (indented lines continue the value), a blank
// line, the body.
SuiteCase loadCase(const std::string& name) {
    SuiteCase c;
    c.name = name;
    c.context = rxk::sdktest::readFile(kSuiteDir + "/" + name + "/context.json");
    const std::string raw = rxk::sdktest::readFile(kSuiteDir + "/" + name + "/request.txt");
    size_t lineEnd = raw.find('\n');
    const std::string requestLine = raw.substr(0, lineEnd);
    c.request.method = requestLine.substr(0, requestLine.find(' '));
    std::string target = requestLine.substr(requestLine.find(' ') + 1);
    target = target.substr(0, target.rfind(' '));
    const size_t question = target.find('?');
    c.request.path = target.substr(0, question);
    if (question != std::string::npos) c.request.query = target.substr(question + 1);
    size_t at = lineEnd == std::string::npos ? raw.size() : lineEnd + 1;
    while (at < raw.size()) {
        lineEnd = raw.find('\n', at);
        const std::string line = raw.substr(at, lineEnd == std::string::npos ? std::string::npos : lineEnd - at);
        at = lineEnd == std::string::npos ? raw.size() : lineEnd + 1;
        if (line.empty()) {
            c.body = raw.substr(at);
            break;
        }
        if (line[0] == ' ' && !c.request.headers.empty()) {
            c.request.headers.back().second += "\n" + line;
            continue;
        }
        const size_t colon = line.find(':');
        c.request.headers.emplace_back(line.substr(0, colon), line.substr(colon + 1));
    }
    c.request.payloadHash = SigV4::HashPayload(c.body.data(), c.body.size());
    return c;
}

std::string headerValue(const SignableRequest& request, const std::string& name) {
    for (const auto& [key, value] : request.headers) {
        if (key == name) return value;
    }
    return {};
}

// A wrong canonical form (header folding, sorting, path or query encoding), scope, key
// derivation or signature would show as a mismatch with the published vectors.
class SigV4Suite : public ::testing::TestWithParam<std::string> {};

TEST_P(SigV4Suite, MatchesCanonicalRequestStringToSignAndSignature) {
    SuiteCase c = loadCase(GetParam());
    const std::string& ctx = c.context;
    const bool omitToken = jsonFlag(ctx, "omit_session_token");
    const Aws::Auth::AWSCredentials credentials(jsonText(ctx, "access_key_id"), jsonText(ctx, "secret_access_key"),
                                                omitToken ? "" : jsonText(ctx, "token"));
    const std::string region = jsonText(ctx, "region");
    const std::string service = jsonText(ctx, "service");
    const Aws::Utils::DateTime time(jsonText(ctx, "timestamp"), Aws::Utils::DateFormat::ISO_8601);
    ASSERT_TRUE(time.WasParseSuccessful());
    const bool normalize = jsonFlag(ctx, "normalize");

    Aws::Client::AWSAuthV4Signer signer(credentials, service.c_str(), region, normalize);
    SignableRequest signedRequest = c.request;
    signer.SignRequest(signedRequest, time, jsonFlag(ctx, "sign_body"));

    const std::string dir = kSuiteDir + "/" + c.name + "/";
    const std::string canonical = SigV4::CanonicalRequest(signedRequest, normalize);
    EXPECT_EQ(canonical, rxk::sdktest::readFile(dir + "header-canonical-request.txt"));
    const std::string amzDate = headerValue(signedRequest, "x-amz-date");
    const std::string scope = SigV4::CredentialScope(amzDate.substr(0, 8), region, service);
    EXPECT_EQ(SigV4::StringToSign(canonical, amzDate, scope), rxk::sdktest::readFile(dir + "header-string-to-sign.txt"));
    const std::string authorization = headerValue(signedRequest, "authorization");
    const std::string expectedSignature = rxk::sdktest::readFile(dir + "header-signature.txt");
    EXPECT_EQ(authorization.substr(authorization.rfind("Signature=") + 10), expectedSignature);
    EXPECT_EQ(authorization.rfind("AWS4-HMAC-SHA256 Credential=" + credentials.GetAWSAccessKeyId() + "/" + scope +
                                      ", SignedHeaders=" + SigV4::SignedHeaders(signedRequest) + ", Signature=",
                                  0),
              0u)
        << authorization;
}

INSTANTIATE_TEST_SUITE_P(Vectors, SigV4Suite, ::testing::ValuesIn(caseNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// Guards against the vectors silently going missing, which would make the suite vacuous.
TEST(SigV4SuiteData, AllThirtyEightCasesArePresent) { EXPECT_EQ(caseNames().size(), 38u); }

// Catches a signer that signs anonymously-configured requests or skips the documented
// exclusions.
TEST(SigV4Signer, EmptyKeyIdOrSecretLeavesTheRequestUnsigned) {
    for (const auto& credentials : {Aws::Auth::AWSCredentials("", "secret"), Aws::Auth::AWSCredentials("AKID", "")}) {
        Aws::Client::AWSAuthV4Signer signer(credentials, "kinesis", "us-east-1");
        SignableRequest request;
        request.headers = {{"host", "example.com"}};
        request.payloadHash = SigV4::HashPayload("", 0);
        signer.SignRequest(request, Aws::Utils::DateTime::Now());
        ASSERT_EQ(request.headers.size(), 1u);
    }
}

TEST(SigV4Signer, UserAgentAndTraceIdAreNotSigned) {
    SignableRequest request;
    request.headers = {{"Host", "example.com"}, {"User-Agent", "x"}, {"X-Amzn-Trace-Id", "y"}, {"X-Amz-Target", "t"}};
    EXPECT_EQ(SigV4::SignedHeaders(request), "host;x-amz-target");
}

TEST(SigV4Signer, ResigningReplacesThePreviousSignatureHeaders) {
    Aws::Client::AWSAuthV4Signer signer(Aws::Auth::AWSCredentials("AKID", "SECRET", "TOKEN"), "kinesis", "us-east-1");
    SignableRequest request;
    request.headers = {{"host", "example.com"}};
    request.payloadHash = SigV4::HashPayload("{}", 2);
    signer.SignRequest(request, Aws::Utils::DateTime(int64_t{1440938160000}));
    signer.SignRequest(request, Aws::Utils::DateTime(int64_t{1440938170000}));
    int authorizations = 0, dates = 0, tokens = 0, hashes = 0;
    for (const auto& header : request.headers) {
        authorizations += header.first == "authorization";
        dates += header.first == "x-amz-date";
        tokens += header.first == "x-amz-security-token";
        hashes += header.first == "x-amz-content-sha256";
    }
    EXPECT_EQ(authorizations, 1);
    EXPECT_EQ(dates, 1);
    EXPECT_EQ(tokens, 1);
    EXPECT_EQ(hashes, 1);
    EXPECT_EQ(headerValue(request, "x-amz-date"), "20150830T123610Z");
}

// The signing key is cached per day: a day change must derive a new one.
TEST(SigV4Signer, SigningKeyFollowsTheDate) {
    const Aws::Auth::AWSCredentials credentials("AKID", "SECRET");
    Aws::Client::AWSAuthV4Signer cached(credentials, "kinesis", "us-east-1");
    SignableRequest first, second;
    first.headers = second.headers = {{"host", "example.com"}};
    first.payloadHash = second.payloadHash = SigV4::HashPayload("", 0);
    const Aws::Utils::DateTime day1(int64_t{1440938160000});
    const Aws::Utils::DateTime day2 = day1 + std::chrono::hours(24);
    cached.SignRequest(first, day1);
    cached.SignRequest(second, day2);
    Aws::Client::AWSAuthV4Signer fresh(credentials, "kinesis", "us-east-1");
    SignableRequest expected;
    expected.headers = {{"host", "example.com"}};
    expected.payloadHash = second.payloadHash;
    fresh.SignRequest(expected, day2);
    EXPECT_EQ(headerValue(second, "authorization"), headerValue(expected, "authorization"));
    EXPECT_NE(headerValue(first, "authorization"), headerValue(second, "authorization"));
}

}  // namespace
