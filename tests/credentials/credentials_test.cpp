// Credentials under the global parameter `credentials` = chain, each source resolved through the
// library as a host uses it and compared with botocore (the AWS CLI) for the same files and
// environment: the fake endpoint re-signs every request with botocore's key, secret and token.
#include "http_client.h"
#include "kinesalite.h"
#include "library.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace rxk::test;

const std::string kScript = RXK_FAKE_AWS;

std::string run(const std::string& command) {
    std::string output;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[512];
        while (size_t n = fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
        if (pclose(pipe) != 0) output = "FAILED: " + output;
    }
    return output;
}

// `"name": "text"` or `"name": number/true` of a flat JSON answer.
std::string field(const std::string& json, const std::string& name) {
    std::smatch match;
    const std::regex pattern("\"" + name + "\": (\"([^\"]*)\"|[a-z0-9]+)");
    if (!std::regex_search(json, match, pattern)) return "?";
    return match[2].matched ? match[2].str() : match[1].str();
}

// fake_aws.py serving on a free loopback port, for as long as the object lives.
class FakeAws {
public:
    FakeAws() {
        int out[2];
        if (pipe(out) != 0) throw std::runtime_error("pipe");
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], STDOUT_FILENO);
            execlp("python3", "python3", kScript.c_str(), "serve", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(out[1]);
        char line[32] = {};
        FILE* reader = fdopen(out[0], "r");
        if (fgets(line, sizeof line, reader) == nullptr) throw std::runtime_error("fake_aws.py did not start");
        fclose(reader);
        url_ = "http://127.0.0.1:" + std::to_string(std::atoi(line));
    }
    ~FakeAws() {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
    const std::string& url() const { return url_; }
    std::string call(const char* operation, const std::string& body = "{}") const {
        return kinesisPost(url_, operation, body).body;
    }

private:
    pid_t pid_ = -1;
    std::string url_;
};

struct Source {
    const char* name;
    const char* profile;  // AWS_PROFILE, "" unset
    const char* config;   // file texts; {dir} and {url} are replaced
    const char* credentials;
    std::vector<std::pair<const char*, const char*>> variables;
};

// Every variable a row may set; the others are unset for the row.
const char* const kVariables[] = {
    "AWS_ACCESS_KEY_ID", "AWS_SECRET_ACCESS_KEY", "AWS_SESSION_TOKEN", "AWS_WEB_IDENTITY_TOKEN_FILE", "AWS_ROLE_ARN",
    "AWS_ROLE_SESSION_NAME", "AWS_CONTAINER_CREDENTIALS_FULL_URI", "AWS_CONTAINER_CREDENTIALS_RELATIVE_URI",
    "AWS_CONTAINER_AUTHORIZATION_TOKEN", "AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE", "AWS_EC2_METADATA_SERVICE_ENDPOINT"};

class ChainCredentials : public ::testing::Test {
protected:
    void SetUp() override {
        if (run("python3 -c 'import botocore' 2>&1") != "") GTEST_SKIP() << "python3 with botocore is not available";
        char pattern[] = "/tmp/rxk-credentials-XXXXXX";
        dir_ = mkdtemp(pattern);
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
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(dir_ + "/" + name) << expand(text);
    }

    // The environment of one row; lives until the next call.
    void enter(const Source& source) {
        scope_.clear();
        write("config", source.config);
        write("credentials", source.credentials);
        const std::pair<const char*, std::string> fixed[] = {
            {"HOME", dir_}, {"AWS_CONFIG_FILE", dir_ + "/config"}, {"AWS_SHARED_CREDENTIALS_FILE", dir_ + "/credentials"},
            {"AWS_ENDPOINT_URL_STS", fake_.url()}, {"AWS_ENDPOINT_URL_KINESIS", fake_.url()}, {"AWS_DEFAULT_REGION", "us-east-1"},
            {"AWS_EC2_METADATA_DISABLED", "true"}};
        for (const auto& [name, value] : fixed) scope_.push_back(std::make_unique<EnvVar>(name, value));
        scope_.push_back(std::make_unique<EnvVar>("AWS_ENDPOINT_URL", std::nullopt));
        scope_.push_back(std::make_unique<EnvVar>(
            "AWS_PROFILE", *source.profile ? std::optional<std::string>(source.profile) : std::nullopt));
        for (const char* name : kVariables) scope_.push_back(std::make_unique<EnvVar>(name, std::nullopt));
        for (const auto& [name, value] : source.variables) scope_.push_back(std::make_unique<EnvVar>(name, expand(value)));
    }

    // GetListStreams through a client created with no keys; the error text when it fails.
    std::string listThroughChain(int32_t& result) {
        const int32_t id = lib_.CreateClient("", "", "");
        char buffer[256];
        int32_t length = sizeof buffer;
        result = lib_.GetListStreams(id, buffer, &length);
        char error[1024];
        lib_.GetErrorStr(id, error, sizeof error);
        lib_.FreeClient(id);
        return result == 0 ? buffer : error;
    }

    std::string dir_;
    FakeAws fake_;
    Library& lib_ = sharedLibrary();
    std::vector<std::unique_ptr<EnvVar>> scope_;
};

// A source resolved differently from the CLI (wrong precedence, a file or variable misread, a
// role assumed with the wrong source, a token lost) makes the fake refuse the signature.
TEST_F(ChainCredentials, EachSourceResolvesLikeBotocoreAndSigns) {
    const Source kRows[] = {
        {"environment with token", "", "", "",
         {{"AWS_ACCESS_KEY_ID", "AKIDENV"}, {"AWS_SECRET_ACCESS_KEY", "env/secret"}, {"AWS_SESSION_TOKEN", "envtoken"}}},
        {"credentials file with token", "", "",
         "[default]\naws_access_key_id = AKIDFILE\naws_secret_access_key = file/secret\naws_session_token = filetoken\n", {}},
        {"config profile over the default", "dev", "# comment\n[profile dev]\naws_access_key_id=AKIDDEV\naws_secret_access_key=dev/s\n",
         "[default]\naws_access_key_id = AKIDWRONG\naws_secret_access_key = wrong\n", {}},
        {"assume role from source_profile", "role", "[profile role]\nrole_arn = arn:aws:iam::1:role/r\nsource_profile = base\n",
         "[base]\naws_access_key_id = AKIDBASE\naws_secret_access_key = base/secret\n", {}},
        {"assume role from credential_source", "ecs", "[profile ecs]\nrole_arn = arn:aws:iam::1:role/e\ncredential_source = EcsContainer\n",
         "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open"}}},
        {"credential_process", "proc", "[profile proc]\ncredential_process = {dir}/process.sh\n", "", {}},
        {"web identity from the environment", "", "", "",
         {{"AWS_WEB_IDENTITY_TOKEN_FILE", "{dir}/web-token"}, {"AWS_ROLE_ARN", "arn:aws:iam::1:role/w"}}},
        {"web identity from a profile", "webp", "[profile webp]\nrole_arn = arn:aws:iam::1:role/p\nweb_identity_token_file = {dir}/web-token\n", "", {}},
        {"container full URI with token", "", "", "",
         {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/ctok-1"}, {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "ctok-1"}}},
        {"container token file wins", "", "", "",
         {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/ctok-2"}, {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "stale"},
          {"AWS_CONTAINER_AUTHORIZATION_TOKEN_FILE", "{dir}/container-token"}}},
        {"instance metadata IMDSv2", "", "", "",
         {{"AWS_EC2_METADATA_DISABLED", "false"}, {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "{url}/"}}},
    };
    for (const Source& source : kRows) {
        SCOPED_TRACE(source.name);
        enter(source);
        const std::string reference = run("python3 '" + kScript + "' resolve '" + source.profile + "' 2>&1");
        ASSERT_NE(field(reference, "key"), "?") << reference;
        fake_.call("RxkExpect", reference);
        LogCapture::reset();
        int32_t result = -1;
        EXPECT_EQ(listThroughChain(result), "s1");
        const std::string last = fake_.call("RxkStats");
        EXPECT_EQ(field(last, "key"), field(reference, "key"));
        EXPECT_EQ(field(last, "token"), field(reference, "token"));
        EXPECT_EQ(field(last, "signed"), "true");
        for (const std::string& line : LogCapture::traceTexts()) EXPECT_EQ(line.find(field(reference, "secret")), std::string::npos);
    }
}

// A failing source must fail the call with words naming it, and never show a secret.
TEST_F(ChainCredentials, FailuresNameTheSourceAndTheReason) {
    struct Failure { Source source; const char* words; };
    const Failure kRows[] = {
        {{"no source at all", "", "", "", {}}, "Credentials: no credentials in the default chain (environment: AWS_ACCESS_KEY_ID or AWS_SECRET_ACCESS_KEY not set; profile default: not found in"},
        {{"STS refuses the role", "role", "[profile role]\nrole_arn = arn:aws:iam::1:role/denied\nsource_profile = base\n",
          "[base]\naws_access_key_id = AKIDBASE\naws_secret_access_key = base/secret\n", {}},
         "profile role: STS AssumeRole refused: HTTP 403 AccessDenied: not authorized to assume arn:aws:iam::1:role/denied"},
        {{"source_profile loop", "a", "[profile a]\nrole_arn = arn:r\nsource_profile = b\n[profile b]\nrole_arn = arn:r\nsource_profile = a\n", "", {}},
         "profile a: more than 5 roles in a row (source_profile loop?)"},
        {{"metadata service unreachable", "", "", "", {{"AWS_EC2_METADATA_DISABLED", "false"}, {"AWS_EC2_METADATA_SERVICE_ENDPOINT", "http://127.0.0.1:9"}}},
         "instance metadata at http://127.0.0.1:9: session token "},
        {{"container refuses the token", "", "", "",
          {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/right"}, {"AWS_CONTAINER_AUTHORIZATION_TOKEN", "wrong"}}},
         "container credentials at {url}/container/right: HTTP 401"},
        {{"container over plain http elsewhere", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "http://192.0.2.1/creds"}}},
         "container credentials: http://192.0.2.1/creds is neither https nor a loopback or container agent address"},
    };
    for (const Failure& row : kRows) {
        SCOPED_TRACE(row.source.name);
        enter(row.source);
        LogCapture::reset();
        int32_t result = 0;
        const std::string error = listThroughChain(result);
        EXPECT_EQ(result, -1);
        EXPECT_NE(error.find(expand(row.words)), std::string::npos) << error;
        EXPECT_FALSE(LogCapture::logContains("base/secret") || LogCapture::logContains("wrong"));
    }
}

// Credentials that expire within seconds are fetched again before they expire, once for all
// threads: a request signed with expired credentials, or a fetch per request, fails this.
TEST_F(ChainCredentials, RefreshesAheadOfExpiryUnderThreads) {
    enter({"short-lived container credentials", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open?ttl=7"}}});
    const std::string before = fake_.call("RxkStats");
    const int32_t id = lib_.CreateClient("", "", "");
    std::atomic<int> failures{0}, calls{0};
    std::vector<std::thread> threads;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            while (std::chrono::steady_clock::now() < end) {
                char buffer[256];
                int32_t length = sizeof buffer;
                if (lib_.GetListStreams(id, buffer, &length) != 0) ++failures;
                ++calls;
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
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
// token is never read back; and the default `keys` still refuses empty keys.
TEST_F(ChainCredentials, SessionTokenParameterAndTheGlobalSwitch) {
    enter({"host keys", "", "", "", {}});
    fake_.call("RxkExpect", R"({"key": "AKIDHOST", "secret": "host/secret", "token": "host+token"})");
    const int32_t id = lib_.CreateClient("us-east-1", "AKIDHOST", "host/secret");
    EXPECT_EQ(lib_.SetParam(id, "SessionToken", "host+token"), 0);
    char buffer[256];
    int32_t length = sizeof buffer;
    EXPECT_EQ(lib_.GetListStreams(id, buffer, &length), 0);
    EXPECT_EQ(field(fake_.call("RxkStats"), "token"), "host+token");
    EXPECT_EQ(lib_.GetParam(id, "sessiontoken", buffer), -1);
    lib_.FreeClient(id);

    struct Switch { const char* value; int32_t set; int32_t emptyKeysClient; };
    const Switch kSwitches[] = {{"bogus", -1, 0}, {nullptr, -1, 0}, {"KEYS", 0, -1}, {"Chain", 0, 0}};
    for (const Switch& s : kSwitches) {
        SCOPED_TRACE(s.value ? s.value : "NULL");
        EXPECT_EQ(lib_.SetGlobalParam("credentials", s.value), s.set);
        const int32_t client = lib_.CreateClient("us-east-1", "", "");
        EXPECT_EQ(client >= 0 ? 0 : -1, s.emptyKeysClient);
        lib_.FreeClient(client);
    }
}

// Temporary credentials from the chain are accepted by a real Kinesis emulator end to end.
TEST_F(ChainCredentials, ChainClientWorksAgainstKinesalite) {
    Kinesalite kinesalite;
    const std::string stream = kinesalite.createUniqueStream("creds");
    enter({"container credentials", "", "", "", {{"AWS_CONTAINER_CREDENTIALS_FULL_URI", "{url}/container/open"}}});
    EnvVar endpoint("AWS_ENDPOINT_URL_KINESIS", kinesalite.endpoint());
    const int32_t id = lib_.CreateClient("", "", "");
    EXPECT_EQ(lib_.PutRecord(id, stream.c_str(), "pk", nullptr, "hello", 5), 0);
    char buffer[256];
    int32_t length = sizeof buffer;
    EXPECT_EQ(lib_.GetListShards(id, stream.c_str(), buffer, &length), 0);
    EXPECT_STREQ(buffer, "shardId-000000000000");
    lib_.FreeClient(id);
}

}  // namespace
