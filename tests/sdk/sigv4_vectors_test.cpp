// The public SigV4 header-signing vectors, every one, byte for byte: a wrong canonical form
// (header folding, sorting, path or query encoding), scope, key derivation or signature shows as
// a mismatch with the published texts.
#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace {

using Aws::Client::SignableRequest;
namespace SigV4 = Aws::Client::SigV4;
const std::filesystem::path kSuite = RXK_SIGV4_SUITE_DIR;

std::string fileText(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
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

}  // namespace
