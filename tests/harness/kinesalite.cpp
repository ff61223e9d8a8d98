#include "kinesalite.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace rxk::test {

namespace {

constexpr auto kStartTimeout = std::chrono::seconds(15);
constexpr auto kStopGrace = std::chrono::seconds(3);
constexpr auto kActiveTimeout = std::chrono::seconds(10);
constexpr int kStartAttempts = 3;

// Binds the emulator to loopback only (its own command line would listen on every interface)
// and ends it on SIGTERM.
constexpr const char* kLauncherScript =
    "const server = require(process.argv[1])({createStreamMs: 0, deleteStreamMs: 0, updateStreamMs: 0,"
    " shardLimit: 1000});"
    "server.on('error', e => { console.error('kinesalite: ' + e.message); process.exit(3); });"
    "process.on('SIGTERM', () => process.exit(0));"
    "server.listen(Number(process.argv[2]), '127.0.0.1');";

std::string sourceDir() {
    if (const char* dir = std::getenv("RXK_SOURCE_DIR"); dir != nullptr && *dir != '\0') return dir;
    return RXK_HARNESS_SOURCE_DIR;
}

bool isExecutable(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::string findNode() {
    const char* path = std::getenv("PATH");
    std::istringstream dirs(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
    for (std::string dir; std::getline(dirs, dir, ':');) {
        const std::string candidate = (dir.empty() ? std::string(".") : dir) + "/node";
        if (isExecutable(candidate)) return candidate;
    }
    return {};
}

// A port that was free a moment ago; a clash later shows as the child's early exit.
int freeLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const bool ok = fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    if (fd >= 0) ::close(fd);
    if (!ok) throw std::runtime_error(std::string("kinesalite: no free loopback port: ") + std::strerror(errno));
    return ntohs(address.sin_port);
}

std::string describeExit(int status) {
    if (WIFEXITED(status)) return "exited with status " + std::to_string(WEXITSTATUS(status));
    if (WIFSIGNALED(status)) return "was killed by signal " + std::to_string(WTERMSIG(status));
    return "stopped";
}

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

std::string streamRequest(const std::string& stream, const char* extraKey = nullptr, int extraValue = 0) {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    w.Key("StreamName");
    w.String(stream.c_str());
    if (extraKey != nullptr) {
        w.Key(extraKey);
        w.Int(extraValue);
    }
    w.EndObject();
    return buffer.GetString();
}

std::string memberText(const rapidjson::Value& object, const char* name) {
    if (!object.IsObject()) return {};
    const auto it = object.FindMember(name);
    return it != object.MemberEnd() && it->value.IsString() ? it->value.GetString() : std::string();
}

void throwUnlessOk(const HttpResponse& response, const std::string& what) {
    if (response.ok()) return;
    throw std::runtime_error("kinesalite: " + what + " failed: " +
                             (response.status == 0 ? response.error
                                                   : std::to_string(response.status) + " " + response.body));
}

}  // namespace

Kinesalite::Kinesalite() {
    std::string failure;
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        if (tryStart(freeLoopbackPort(), failure)) return;
    }
    throw std::runtime_error(failure);
}

Kinesalite::~Kinesalite() { terminate(); }

std::string Kinesalite::endpoint() const { return "http://127.0.0.1:" + std::to_string(port_); }

bool Kinesalite::tryStart(int port, std::string& failure) {
    const std::string module = sourceDir() + "/node_modules/kinesalite";
    if (::access((module + "/index.js").c_str(), R_OK) != 0)
        throw std::runtime_error("kinesalite: not found at " + module + ": run `npm ci` in " + sourceDir());
    const std::string node = findNode();
    if (node.empty())
        throw std::runtime_error("kinesalite: `node` is not on PATH: install Node.js, then run `npm ci` in " +
                                 sourceDir());

    // Everything the child needs is prepared before fork: after it, only exec-safe calls.
    const std::string portText = std::to_string(port);
    std::vector<char*> argv = {const_cast<char*>(node.c_str()), const_cast<char*>("-e"),
                               const_cast<char*>(kLauncherScript), const_cast<char*>(module.c_str()),
                               const_cast<char*>(portText.c_str()), nullptr};
    const int devNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0) throw std::runtime_error(std::string("kinesalite: fork: ") + std::strerror(errno));
    if (pid == 0) {
        // Dies with the test process, even if that one is killed outright.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(1);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        if (devNull >= 0) ::dup2(devNull, STDOUT_FILENO);
        ::execv(node.c_str(), argv.data());
        ::_exit(127);
    }
    if (devNull >= 0) ::close(devNull);
    pid_ = pid;
    port_ = port;

    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            failure = "kinesalite: " + node + " on port " + portText + " " + describeExit(status) +
                      " before answering (see its output above)";
            return false;
        }
        // The answer must come from our child, not from another process that owns the port.
        if (call("ListStreams", "{}").ok() && ::waitpid(pid_, &status, WNOHANG) == 0) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    terminate();
    failure = "kinesalite: no answer on port " + portText + " within 15 s";
    return false;
}

void Kinesalite::terminate() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + kStopGrace;
    int status = 0;
    while (::waitpid(pid_, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    pid_ = -1;
}

HttpResponse Kinesalite::call(const std::string& operation, const std::string& jsonBody) const {
    return kinesisPost(endpoint(), operation, jsonBody, Millis(2000));
}

void Kinesalite::createStream(const std::string& name, int shardCount) const {
    throwUnlessOk(call("CreateStream", streamRequest(name, "ShardCount", shardCount)), "CreateStream " + name);
    const auto deadline = std::chrono::steady_clock::now() + kActiveTimeout;
    while (std::chrono::steady_clock::now() < deadline) {
        const auto response = call("DescribeStream", streamRequest(name));
        rapidjson::Document doc;
        doc.Parse(response.body.c_str());
        if (response.ok() && !doc.HasParseError() && doc.IsObject() && doc.HasMember("StreamDescription") &&
            memberText(doc["StreamDescription"], "StreamStatus") == "ACTIVE") {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    throw std::runtime_error("kinesalite: stream " + name + " not ACTIVE within 10 s");
}

std::string Kinesalite::createUniqueStream(const std::string& prefix, int shardCount) const {
    std::string name = uniqueStreamName(prefix);
    createStream(name, shardCount);
    return name;
}

std::vector<std::string> Kinesalite::shardIds(const std::string& stream) const {
    std::vector<std::string> ids;
    for (bool more = true; more;) {
        rapidjson::StringBuffer buffer;
        JsonWriter w(buffer);
        w.StartObject();
        w.Key("StreamName");
        w.String(stream.c_str());
        if (!ids.empty()) {
            w.Key("ExclusiveStartShardId");
            w.String(ids.back().c_str());
        }
        w.EndObject();
        const auto response = call("DescribeStream", buffer.GetString());
        throwUnlessOk(response, "DescribeStream " + stream);
        rapidjson::Document doc;
        doc.Parse(response.body.c_str());
        if (doc.HasParseError() || !doc.IsObject() || !doc.HasMember("StreamDescription"))
            throw std::runtime_error("kinesalite: unreadable DescribeStream answer: " + response.body);
        const auto& description = doc["StreamDescription"];
        const std::size_t before = ids.size();
        for (const auto& shard : description["Shards"].GetArray()) ids.push_back(memberText(shard, "ShardId"));
        more = description["HasMoreShards"].GetBool() && ids.size() > before;
    }
    return ids;
}

Kinesalite::PutResult Kinesalite::putRecord(const std::string& stream, const std::string& data,
                                            const std::string& partitionKey) const {
    rapidjson::StringBuffer buffer;
    JsonWriter w(buffer);
    w.StartObject();
    w.Key("StreamName");
    w.String(stream.c_str());
    w.Key("Data");
    w.String(base64Encode(data).c_str());
    w.Key("PartitionKey");
    w.String(partitionKey.data(), static_cast<rapidjson::SizeType>(partitionKey.size()));
    w.EndObject();
    const auto response = call("PutRecord", buffer.GetString());
    throwUnlessOk(response, "PutRecord to " + stream);
    rapidjson::Document doc;
    doc.Parse(response.body.c_str());
    return {memberText(doc, "ShardId"), memberText(doc, "SequenceNumber")};
}

Kinesalite& sharedKinesalite() {
    static std::mutex mutex;
    static std::unique_ptr<Kinesalite> instance;
    static std::string startFailure;
    std::lock_guard<std::mutex> lock(mutex);
    if (instance) return *instance;
    if (!startFailure.empty()) throw std::runtime_error(startFailure);
    try {
        instance = std::make_unique<Kinesalite>();
    } catch (const std::exception& e) {
        startFailure = e.what();
        throw;
    }
    return *instance;
}

std::string uniqueStreamName(const std::string& prefix) {
    static std::atomic<int> counter{0};
    return prefix + "-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
}

}  // namespace rxk::test
