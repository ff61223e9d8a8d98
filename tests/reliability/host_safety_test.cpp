// What the library must never do to the process that loads it: die of SIGPIPE when a server
// drops a connection mid-request, leave its signal handlers behind after dlclose, leak across
// load/use/unload cycles, or write to the host's standard output and error.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "fault_server.h"
#include "library.h"

#if defined(__SANITIZE_ADDRESS__)
#define RXK_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define RXK_UNDER_ASAN 1
#endif
#endif

namespace rxk::test {
namespace {

// ---- helpers ----

// A listener that takes each connection, reads a little of the request and closes it with the
// rest unread, so the kernel answers the client's further writes with a reset.
class DroppingServer {
public:
    DroppingServer() {
        fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(fd_, 16) != 0 ||
            ::getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            std::abort();
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] {
            for (;;) {
                const int connection = ::accept(fd_, nullptr, nullptr);
                if (connection < 0) return;
                char head[512];
                (void)::recv(connection, head, sizeof head, 0);
                ::close(connection);
            }
        });
    }
    ~DroppingServer() {
        ::shutdown(fd_, SHUT_RDWR);
        ::close(fd_);
        thread_.join();
    }
    std::string endpoint() const { return "http://127.0.0.1:" + std::to_string(port_); }

private:
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
};

// Runs `body` in a child process and returns its wait status.
template <typename Body>
int inChild(Body&& body) {
    std::fflush(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        int code = 1;
        try {
            code = body();
        } catch (...) {
            code = 2;
        }
        std::_Exit(code);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return status;
}

bool libraryLoaded(const std::string& path) {
    void* handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) return false;
    ::dlclose(handle);
    return true;
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

// ---- SIGPIPE ----

// Catches: a write to a connection the server has closed raising SIGPIPE, whose default action
// kills the host (the library must write with MSG_NOSIGNAL or an equivalent, never rely on the
// host ignoring the signal).
TEST(HostSafety, ServerClosingMidRequestNeverRaisesSigpipe) {
    const int status = inChild([] {
        ::signal(SIGPIPE, SIG_DFL);
        DroppingServer server;
        ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
        Library& lib = sharedLibrary();
        lib.InititializeInterface();
        const int32_t id = lib.CreateClient("us-east-1", "AKIDPIPE", "pipe-secret");
        // Bodies far larger than the socket buffers: the writes go on after the server closed.
        const std::string big(4 << 20, 'p');
        int failures = 0;
        for (int round = 0; round < 3; ++round) {
            failures += lib.PutRecord(id, "pipe", "pk", nullptr, big.data(), int32_t(big.size())) == RXK_ERROR;
            const int32_t list = lib.CreateListRecord(id);
            lib.AddRecordToList(id, list, "pk", nullptr, big.data(), 1 << 20);
            lib.AddRecordToList(id, list, "pk", nullptr, big.data(), 1 << 20);
            failures += lib.PutRecords(id, list, "pipe", nullptr, nullptr, nullptr, nullptr, "pipe") == RXK_ERROR;
            lib.FreeListRecord(id, list);
        }
        lib.FreeClient(id);
        return failures == 6 ? 0 : 3;
    });
    ASSERT_FALSE(WIFSIGNALED(status)) << "the child died of signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "3: a call to the closing server did not fail";
}

// ---- signal handlers across load and unload ----

void hostHandler(int, siginfo_t*, void*) {}

// Catches: handlers of the library left installed after dlclose (a later fault in the host
// would jump into unmapped code), or the host's own handlers lost.
TEST(HostSafety, UnloadingRestoresTheHostsSignalHandlers) {
    const std::string path = libraryPathFromEnvironment();
    if (libraryLoaded(path)) GTEST_SKIP() << "the library is already loaded in this process; run this test alone";
    const int status = inChild([&path] {
        const int signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
        struct sigaction host {};
        host.sa_sigaction = hostHandler;
        host.sa_flags = SA_SIGINFO;
        sigemptyset(&host.sa_mask);
        for (int signal : signals) sigaction(signal, &host, nullptr);
        {
            Library lib(path, Library::Unload::OnDestruction);
            lib.InititializeInterface();
            for (int signal : signals) {
                struct sigaction current {};
                sigaction(signal, nullptr, &current);
                if (current.sa_sigaction == hostHandler) return 10 + signal;  // nothing installed: test void
            }
            lib.CloseInterface();
        }
        if (libraryLoaded(path)) return 4;  // dlclose left the library mapped
        for (int signal : signals) {
            struct sigaction current {};
            sigaction(signal, nullptr, &current);
            if (!(current.sa_flags & SA_SIGINFO) || current.sa_sigaction != hostHandler) return 50 + signal;
        }
        return 0;
    });
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "4: not unloaded; 10+n: no handler of the library for signal n while "
                                         "loaded; 50+n: the host's handler for signal n not restored";
}

// ---- load, use, unload ----

// One load of the library: clients, a batch, a read, and everything freed again.
void useOnce(const std::string& path) {
    Library lib(path, Library::Unload::OnDestruction);
    lib.InitLogEventCallBack(LogCapture::logSink, nullptr);
    lib.InititializeInterface();
    const int32_t first = lib.CreateClient("us-east-1", "AKIDCYCLE", "cycle-secret");
    const int32_t second = lib.CreateClient("eu-west-1", "AKIDCYCLE", "cycle-secret");
    ASSERT_GE(first, 0);
    ASSERT_GE(second, 0);
    const int32_t list = lib.CreateListRecord(first);
    for (int i = 0; i < 10; ++i) lib.AddRecordToList(first, list, nullptr, nullptr, "cycle", 5);
    int32_t failed = -1;
    ASSERT_EQ(lib.PutRecords(first, list, "cycle", nullptr, &failed, nullptr, nullptr, "cycle"), 0);
    ASSERT_EQ(lib.PutRecord(second, "cycle", "pk", nullptr, "one", 3), 0);
    ASSERT_EQ(lib.StartShardIterator(second, "cycle", "shardId-000000000000", nullptr, 10, RXK_TRIM_HORIZON),
              RXK_NO_RECORD);
    char data[16];
    int32_t length = 0;
    lib.GetRecordFromIterator(second, "cycle", "shardId-000000000000", nullptr, data, &length);
    char listing[256];
    int32_t listingLength = sizeof listing;
    lib.GetListStreams(first, listing, &listingLength);
    lib.StopShardIterator(second, "cycle", "shardId-000000000000");
    lib.FreeListRecord(first, -1);
    lib.FreeClient(first);
    lib.FreeClient(second);
    lib.CloseInterface();
    lib.InitLogEventCallBack(nullptr, nullptr);
}

// Catches: memory or handles kept across unloads (module state, SDK state, curl pools, the
// fault translator's keys), which a host that reloads the library would pile up. Under
// AddressSanitizer the leak checker counts at exit; elsewhere RSS may only grow a little.
TEST(HostSafety, HundredLoadUseUnloadCyclesLeakNothing) {
    const std::string path = libraryPathFromEnvironment();
    if (libraryLoaded(path)) GTEST_SKIP() << "the library is already loaded in this process; run this test alone";
    FaultServer server;
    server.setRecording(false);
    server.addStream("cycle", 1);
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    constexpr int kWarmUp = 10, kCycles = 100;
    long afterWarmUp = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        ASSERT_NO_FATAL_FAILURE(useOnce(path)) << "cycle " << cycle;
        ASSERT_FALSE(libraryLoaded(path)) << "dlclose did not unload the library (cycle " << cycle << ")";
        if (cycle + 1 == kWarmUp) afterWarmUp = residentKilobytes();
    }
    const long growth = residentKilobytes() - afterWarmUp;
    std::printf("load/use/unload: %d cycles, RSS growth after warm-up %ld kB\n", kCycles, growth);
#ifndef RXK_UNDER_ASAN
    // A leak of one client or one SDK start per cycle would show as megabytes.
    EXPECT_LT(growth, 8 * 1024) << "RSS grew by " << growth << " kB over " << kCycles - kWarmUp << " cycles";
#endif
}

// ---- standard output and error ----

// Collects everything written to fd 1 and 2 while it lives (through pipes drained by a thread,
// so a chatty library can't block on a full pipe), then restores both.
class StandardStreamsCapture {
public:
    StandardStreamsCapture() {
        std::fflush(nullptr);
        for (int i = 0; i < 2; ++i) {
            int fds[2];
            if (::pipe(fds) != 0) std::abort();
            saved_[i] = ::dup(i + 1);
            ::dup2(fds[1], i + 1);
            ::close(fds[1]);
            readers_[i] = std::thread([this, i, fd = fds[0]] {
                char chunk[4096];
                ssize_t n;
                while ((n = ::read(fd, chunk, sizeof chunk)) > 0) captured_[i].append(chunk, std::size_t(n));
                ::close(fd);
            });
        }
    }
    // Restores the streams; returns what came to fd 1 and fd 2.
    std::pair<std::string, std::string> finish() {
        std::fflush(nullptr);
        for (int i = 0; i < 2; ++i) {
            ::dup2(saved_[i], i + 1);
            ::close(saved_[i]);
            readers_[i].join();
        }
        return {captured_[0], captured_[1]};
    }

private:
    int saved_[2]{};
    std::thread readers_[2];
    std::string captured_[2];
};

// Catches: diagnostics printed by the library or its SDK into the host's own output (the host
// may be writing a protocol there); only the probe Dummy prints, by design.
TEST(HostSafety, NothingButTheProbeWritesToStandardOutputOrError) {
    FaultServer server;
    server.addStream("quiet", 2);
    server.setHandler("PutRecords", failPutRecordsPositions({{1, {0}}}));
    Library& lib = sharedLibrary();
    const std::string refused = "http://127.0.0.1:1";

    StandardStreamsCapture capture;
    std::vector<int32_t> results;
    {
        ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
        for (const bool sinks : {true, false}) {
            if (sinks) lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
            else lib.InitLogEventCallBack(nullptr, nullptr);
            lib.InititializeInterface();
            results.push_back(lib.SetGlobalParam("no-such", "x"));
            results.push_back(lib.CreateClient("", "", ""));
            const int32_t id = lib.CreateClient("us-east-1", "AKIDQUIET", "quiet-secret");
            lib.SetParam(id, "retry", "2");
            lib.SetParam(id, "retryattemptshow", "2");
            results.push_back(lib.SetParam(id, "no-such", "1"));
            results.push_back(lib.PutRecord(id, "quiet", nullptr, nullptr, "one", 3));
            const int32_t list = lib.CreateListRecord(id);
            for (int i = 0; i < 3; ++i) lib.AddRecordToList(id, list, "pk", nullptr, "batch", 5);
            results.push_back(lib.PutRecords(id, list, "quiet", nullptr, nullptr, nullptr, nullptr, "quiet"));
            results.push_back(lib.PutRecords(id, 99, "quiet", nullptr, nullptr, nullptr, nullptr, "quiet"));
            results.push_back(lib.StartShardIterator(id, "quiet", "shardId-000000000000", nullptr, 10, RXK_LATEST));
            results.push_back(lib.PollShardIterator(id, "quiet", "shardId-000000000000",
                                                    [](int32_t, const char*, const char*, const char*, const char*,
                                                       int32_t) -> int32_t { return 0; }));
            results.push_back(lib.StopShardIterator(id, "quiet", "shardId-000000000000"));
            results.push_back(lib.StopShardIterator(id, "quiet", "shardId-000000000000"));
            char buffer[512];
            int32_t length = sizeof buffer;
            results.push_back(lib.GetListShards(id, "quiet", buffer, &length));
            length = sizeof buffer;
            results.push_back(lib.GetListShards(id, "missing", buffer, &length));
            results.push_back(lib.CreateStream(id, "quiet", 1));
            results.push_back(lib.GetParam(id, "retryattemptFailRecords", buffer));
            lib.GetErrorStr(id, buffer, sizeof buffer);
            results.push_back(lib.FreeListRecord(id, list));
            results.push_back(lib.FreeClient(id));
            results.push_back(lib.FreeClient(-5));
            results.push_back(lib.PutRecord(id, "quiet", nullptr, nullptr, "one", 3));
        }
        ServiceEnvironment unreachable(refused, ServiceEnvironment::SdkRetries::Off);
        const int32_t id = lib.CreateClient("us-east-1", "AKIDQUIET", "quiet-secret");
        results.push_back(lib.PutRecord(id, "quiet", nullptr, nullptr, "one", 3));
        char buffer[64];
        int32_t length = sizeof buffer;
        results.push_back(lib.GetListStreams(id, buffer, &length));
        lib.FreeClient(id);
    }
    const auto [out, err] = capture.finish();
    lib.InitLogEventCallBack(nullptr, nullptr);

    EXPECT_EQ(out, "") << "standard output got: " << out.substr(0, 400);
    EXPECT_EQ(err, "") << "standard error got: " << err.substr(0, 400);
    EXPECT_FALSE(results.empty());
    EXPECT_TRUE(LogCapture::logContains("bad param")) << "the session ran without reaching the failure paths";
}

}  // namespace
}  // namespace rxk::test
