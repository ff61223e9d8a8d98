// Credentials under the global parameter `credentials` = chain, each source resolved through the
// library as a host uses it (and through rxkcat) and compared with botocore (the AWS CLI) for the
// same files and environment: the fake endpoint re-signs every request with botocore's key,
// secret and token, so a wrong one of the three fails the request.
#include "http_client.h"
#include "kinesalite.h"
#include "library.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <regex>
#include <sys/stat.h>
#include <thread>

namespace {

using namespace rxk::test;
using Variables = std::vector<std::pair<const char*, const char*>>;

std::string run(const std::string& command) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    for (char buffer[512]; size_t n = fread(buffer, 1, sizeof buffer, pipe);) output.append(buffer, n);
    return pclose(pipe) == 0 ? output : "FAILED: " + output;
}

// `"name": "text"` or `"name": number|true|false` of a flat JSON answer, "?" when absent.
std::string field(const std::string& json, const std::string& name) {
    std::smatch match;
    if (!std::regex_search(json, match, std::regex("\"" + name + "\": (\"([^\"]*)\"|[a-z0-9]+)"))) return "?";
    return match[2].matched ? match[2].str() : match[1].str();
}

// fake_aws.py serving on a free loopback port while the object lives.
class FakeAws {
public:
    FakeAws() : pipe_(popen("exec python3 " RXK_FAKE_AWS " serve", "r")) {
        int port = 0;
        if (fscanf(pipe_, "%d %d", &port, &pid_) != 2) throw std::runtime_error("fake_aws.py did not start");
        url_ = "http://127.0.0.1:" + std::to_string(port);
    }
    ~FakeAws() { kill(pid_, SIGTERM), pclose(pipe_); }
    const std::string& url() const { return url_; }
    std::string call(const char* operation, const std::string& body = "{}") const { return kinesisPost(url_, operation, body).body; }

private:
    FILE* pipe_;
    pid_t pid_ = -1;
    std::string url_;
};

// Variables a row may set; the others are unset for it.
const char* const kVariables[] = {"AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY", "AWS_SESSION_TOKEN", "AWS_WEB_IDENTITY_TOKEN_FILE",
    "AWS_ROLE_ARN", "AWS_ROLE_SESSION_NAME", "AWS_CONTAINER_CREDENTIALS_FULL_URI", "AWS_CONTAINER_CREDENTIALS_RELATIVE_URI",
    "AWS_CONTAINER_AUTHORIZATION_TOKEN", "AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE", "AWS_EC2_METADATA_SERVICE_ENDPOINT"};

class ChainCredentials : public ::testing::Test {
protected:
    void SetUp() override {
        if (run("python3 -c 'import botocore' 2>&1") != "") GTEST_SKIP() << "python3 with botocore is not available";
        dir_ = mkdtemp(std::string("/tmp/rxk-credentials-XXXXXX").data());
        write("web-token", "oidc-token-1\n");
        write("container-token", "ctok-2");
        write("process.sh", "#!/bin/sh\necho '{\"Version\": 1, \"AccessKeyId\": \"AKIDPROC\", \"SecretAccessKey\": "
                            "\"proc/secret\", \"SessionToken\": \"proctoken\", \"Expiration\": \"2099-01-01T00:00:00Z\"}'\n");
        chmod((dir_ + "/process.sh").c_str(), 0700);
        lib_.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        lib_.InititializeInterface();
        ASSERT_EQ(lib_.SetGlobalParam("credentials", "chain"), 0);
    }
    void TearDown() override {
        lib_.SetGlobalParam("credentials", "keys");
        if (!dir_.empty()) run("rm -rf '" + dir_ + "'");
    }

    std::string expand(std::string text) const {
        for (const auto& [from, to] : {std::pair<std::string, std::string>{"{dir}", dir_}, {"{url}", fake_.url()}}) {
            for (size_t at; (at = text.find(from)) != std::string::npos;) text.replace(at, from.size(), to);
        }
        return text;
    }
    void write(const std::string& name, const std::string& text) const { std::ofstream(dir_ + "/" + name) << expand(text); }

    // The files and environment of one row, until the next call.
    void enter(const char* profile, const char* config, const char* credentials, const Variables& variables) {
        scope_.clear();
        write("config", config);
        write("credentials", credentials);
        const std::pair<const char*, std::optional<std::string>> fixed[] = {
            {"HOME", dir_}, {"AWS_CONFIG_FILE", dir_ + "/config"}, {"AWS_SHARED_CREDENTIALS_FILE", dir_ + "/credentials"},
            {"AWS_ENDPOINT_URL_STS", fake_.url()}, {"AWS_ENDPOINT_URL_KINESIS", fake_.url()}, {"AWS_ENDPOINT_URL", std::nullopt},
            {"AWS_DEFAULT_REGION", "us-east-1"}, {"AWS_REGION", std::nullopt}, {"AWS_EC2_METADATA_DISABLED", "true"},
            {"AWS_PROFILE", *profile ? std::optional<std::string>(profile) : std::nullopt}};
        for (const auto& [name, value] : fixed) scope_.push_back(std::make_unique<EnvVar>(name, value));
        for (const char* name : kVariables) scope_.push_back(std::make_unique<EnvVar>(name, std::nullopt));
        for (const auto& [name, value] : variables) scope_.push_back(std::make_unique<EnvVar>(name, expand(value)));
    }

    // GetListStreams through a client: the listing, or the error text.
    std::string list(int32_t id) {
        char buffer[1024];
        int32_t length = sizeof buffer;
        if (lib_.GetListStreams(id, buffer, &length) != 0) lib_.GetErrorStr(id, buffer, sizeof buffer);
        return buffer;
    }

    std::string dir_;
    FakeAws fake_;
    Library& lib_ = sharedLibrary();
    std::vector<std::unique_ptr<EnvVar>> scope_;
};

// Each source as the CLI resolves it: a wrong precedence, a misread file or variable, a role
// assumed with the wrong source or a lost token make the fake refuse the signature. A failing
// source fails the call with words naming it and the reason, and no secret shows.
TEST_F(ChainCredentials, EachSourceResolvesLikeBotocore) {
    const struct { const char* name; const char* profile; const char* config; const char* credentials; Variables variables; const char* failure; } kRows[] = {
        {"environment with token", "", "", "", {{"AWS_ACCESS_KEY_ID", "AKIDENV"}, {"AWS_SECRET_ACCESS_KEY", "env/secret"}, {"AWS_SESSION_TOKEN", "envtoken"}}, ""},
        {"credentials file with token", "", "", "[default]\naws_access_key_id = AKIDFILE\naws_secret_access_key = f/s\naws_session_token = ft\n", {}, ""},
        {"config profile over the default", "dev", "# comment\n[profile dev]\naws_access_key_id=AKIDDEV\naws_secret_access_key=dev/s\n", "[default]\naws_access_key_id = AKIDWRONG\naws_secret_access_key = wrong\n", {}, ""},
        {"assume role from source_profile", "role", "[profile role]\nrole_arn = arn:aws:iam::1:role/r\nsource_profile = base\n", "[base]\naws_access_key_id = AKIDBASE\naws_secret_access_key = base/secret\n", {}, ""},
        {"assume role from credential_source", "ecs", "[profile ecs]\nrole_arn = arn:aws:iam::1:role/e\ncredential_source = EcsContainer\n", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open"}}, ""},
        {"credential_process", "proc", "[profile proc]\ncredential_process = {dir}/process.sh\n", "", {}, ""},
        {"web identity from the environment", "", "", "", {{"AWS_WEB_IDENTITY_TOKEN_FILE", "{dir}/web-token"}, {"AWS_ROLE_ARN", "arn:aws:iam::1:role/w"}}, ""},
        {"web identity from a profile", "webp", "[profile webp]\nrole_arn = arn:aws:iam::1:role/p\nweb_identity_token_file = {dir}/web-token\n", "", {}, ""},
        {"container full URI with token", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/ctok-1"}, {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "ctok-1"}}, ""},
        {"container token file wins", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/ctok-2"},
          {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "stale"}, {"AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE", "{dir}/container-token"}}, ""},
        {"instance metadata IMDSv2", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"}, {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "{url}/"}}, ""},
        {"IMDSv1 only: token refused with 403", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"}, {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "{url}/imds-403/"}}, ""},
        {"IMDSv1 only: token refused with 405", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"}, {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "{url}/imds-405/"}}, ""},
        {"token request called bad (400)", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"},
          {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "{url}/imds-400/"}}, "instance metadata at {url}/imds-400: session token HTTP 400"},
        {"no source at all", "", "", "", {}, "Credentials: no credentials in the default chain (environment: AWS_ACCESS_KEY_ID or " "AWS_SECRET_ACCESS_KEY not set; profile default: not found in"},
        {"STS refuses the role", "role", "[profile role]\nrole_arn = arn:aws:iam::1:role/denied\nsource_profile = base\n", "[base]\naws_access_key_id = AKIDBASE\naws_secret_access_key = base/secret\n", {}, "profile role: STS AssumeRole refused: HTTP 403 AccessDenied: not authorized to assume arn:aws:iam::1:role/denied"},
        {"source_profile loop", "a", "[profile a]\nrole_arn = arn:r\nsource_profile = b\n[profile b]\nrole_arn = arn:r\nsource_profile = a\n", "", {}, "profile a: more than 5 roles in a row (source_profile loop?)"},
        {"metadata service unreachable", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"},
          {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "http://127.0.0.1:9"}}, "instance metadata at http://127.0.0.1:9: session token "},
        {"container refuses the token", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/right"},
          {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "wrong"}}, "container credentials at {url}/container/right: HTTP 401"},
        {"container over plain http elsewhere", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "http://192.0.2.1/c"}}, "container credentials: http://192.0.2.1/c is neither https nor a loopback or container agent address"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.name);
        enter(row.profile, row.config, row.credentials, row.variables);
        LogCapture::reset();
        const std::string reference = *row.failure ? "" : run("python3 " RXK_FAKE_AWS " resolve '" + std::string(row.profile) + "' 2>&1");
        ASSERT_TRUE(*row.failure || field(reference, "key") != "?") << reference;
        if (!*row.failure) fake_.call("RxkExpect", reference);
        const int32_t id = lib_.CreateClient("", "", "");
        const std::string answer = list(id);
        lib_.FreeClient(id);
        if (*row.failure) {
            EXPECT_NE(answer.find(expand(row.failure)), std::string::npos) << answer;
            EXPECT_FALSE(LogCapture::logContains("base/secret") || LogCapture::logContains("wrong"));
            continue;
        }
        EXPECT_EQ(answer, "s1");
        const std::string last = fake_.call("RxkStats");  // what the library's request carried
        EXPECT_EQ(field(last, "key"), field(reference, "key"));
        EXPECT_EQ(field(last, "token"), field(reference, "token"));
        EXPECT_EQ(field(last, "signed"), "true");
        EXPECT_FALSE(LogCapture::traceContains(field(reference, "secret")) || LogCapture::logContains(field(reference, "token")));
    }
}

// Credentials that expire within seconds are fetched again before they expire, once for all
// threads: a request signed with expired credentials, or a fetch per request, fails this.
TEST_F(ChainCredentials, RefreshesAheadOfExpiryUnderThreads) {
    enter("", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open?ttl=7"}});
    const std::string before = fake_.call("RxkStats");
    const int32_t id = lib_.CreateClient("", "", "");
    std::atomic<int> failures{0}, calls{0};
    std::vector<std::thread> threads;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (; std::chrono::steady_clock::now() < end; ++calls) failures += list(id) != "s1";
        });
    }
    for (auto& thread : threads) thread.join();
    lib_.FreeClient(id);
    const std::string after = fake_.call("RxkStats");
    const int fetches = std::stoi(field(after, "fetches")) - std::stoi(field(before, "fetches"));
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(field(after, "bad"), field(before, "bad"));
    EXPECT_GE(fetches, 4);
    EXPECT_LE(fetches, 12) << "of " << calls.load() << " calls";
}

// The host's own keys with a session token set afterwards sign exactly as botocore does; the
// token is never read back; the default `keys` still refuses empty keys.
TEST_F(ChainCredentials, SessionTokenParameterAndTheGlobalSwitch) {
    enter("", "", "", {});
    fake_.call("RxkExpect", R"({"key": "AKIDHOST", "secret": "host/secret", "token": "host+token"})");
    const int32_t id = lib_.CreateClient("us-east-1", "AKIDHOST", "host/secret");
    EXPECT_EQ(lib_.SetParam(id, "SessionToken", "host+token"), 0);
    EXPECT_EQ(list(id), "s1");
    EXPECT_EQ(field(fake_.call("RxkStats"), "token"), "host+token");
    EXPECT_EQ(lib_.GetParam(id, "sessiontoken", std::vector<char>(256).data()), -1);
    lib_.FreeClient(id);

    const struct { const char* value; int32_t set; bool emptyKeysAccepted; } kSwitches[] = {
        {"bogus", -1, true}, {nullptr, -1, true}, {"KEYS", 0, false}, {"Chain", 0, true}};
    for (const auto& s : kSwitches) {
        SCOPED_TRACE(s.value ? s.value : "NULL");
        LogCapture::reset();
        EXPECT_EQ(lib_.SetGlobalParam("credentials", s.value), s.set);
        EXPECT_EQ(LogCapture::logContains(std::string("SetGlobalParam bad param value [") + (s.value ? s.value : "(null)") + "] for [credentials]"), s.set != 0);
        const int32_t client = lib_.CreateClient("us-east-1", "", "");
        EXPECT_EQ(client >= 0, s.emptyKeysAccepted);
        lib_.FreeClient(client);
    }
}

// rxkcat with no keys on its command line takes the profile (AWS_PROFILE or --profile, which
// wins over keys in the environment) and masks the secret of its -vv init line.
TEST_F(ChainCredentials, RxkcatFollowsTheCli) {
    enter("", "[profile dev]\nregion = eu-west-1\n", "[dev]\naws_access_key_id = AKIDDEV\naws_secret_access_key = dev/s\n",
          {{"AWS_ACCESS_KEY_ID", "AKIDENV"}, {"AWS_SECRET_ACCESS_KEY", "env/secret"}});
    EnvVar noRegion("AWS_DEFAULT_REGION", std::nullopt);
    fake_.call("RxkExpect", R"({"key": "AKIDDEV", "secret": "dev/s", "token": ""})");
    EXPECT_EQ(run(RXKCAT_PATH " -L --profile dev 2>&1"), "s1\n");
    EXPECT_EQ(run(RXKCAT_PATH " -L -vv --access-key AKIDDEV --secret-key dev/s -r eu-west-1 2>&1 | grep -c 'init <eu-west-1><AKIDDEV><\\*\\*\\*\\*>'"), "1\n");
    EnvVar profile("AWS_PROFILE", std::string("dev"));
    EnvVar noKeys("AWS_ACCESS_KEY_ID", std::nullopt);
    EXPECT_EQ(run(RXKCAT_PATH " -L 2>&1"), "s1\n");
    EXPECT_EQ(field(fake_.call("RxkStats"), "region"), "eu-west-1");
}

// Temporary credentials from the chain are accepted by a real Kinesis emulator end to end,
// reached through the proxy of the environment as the AWS CLI would (the host name resolves
// nowhere else).
TEST_F(ChainCredentials, ChainClientWorksAgainstKinesalite) {
    Kinesalite kinesalite;
    const std::string stream = kinesalite.createUniqueStream("creds");
    enter("", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open"}});
    EnvVar endpoint("AWS_ENDPOINT_URL_KINESIS", std::string("http://kinesis.invalid"));
    EnvVar proxy("http_proxy", kinesalite.endpoint());
    const int32_t id = lib_.CreateClient("", "", "");
    EXPECT_EQ(lib_.PutRecord(id, stream.c_str(), "pk", nullptr, "hello", 5), 0);
    EXPECT_NE(list(id).find(stream), std::string::npos);
    lib_.FreeClient(id);
}

}  // namespace
