// What the library must never do to the process that loads it, each scenario in a child process
// of its own: die of SIGPIPE when a server drops a connection mid-request, leave its signal
// handlers behind after dlclose, leak across load/use/unload cycles, write to fd 1 or 2.
#include "every_path.h"
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

namespace rxk::test {
namespace {

std::string gEndpoint;  // the fault endpoint's, made before the children fork

bool loaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

// Takes each connection, reads a little and closes it with the rest unread: the client's
// further writes meet a reset.
int droppingListener() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    listen(fd, 16);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    std::thread([fd] {
        for (int connection; (connection = accept(fd, nullptr, nullptr)) >= 0; close(connection)) {
            char head[512];
            (void)!recv(connection, head, sizeof head, 0);
        }
    }).detach();
    return ntohs(address.sin_port);
}

int serverDropsMidRequest() {
    signal(SIGPIPE, SIG_DFL);
    ServiceEnvironment environment("http://127.0.0.1:" + std::to_string(droppingListener()), ServiceEnvironment::SdkRetries::Off);
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    const int32_t id = lib.CreateClient("us-east-1", "AKIDPIPE", "pipe-secret");
    const std::string big(4 << 20, 'p');  // far beyond the socket buffers
    int failures = 0;
    for (int round = 0; round < 3; ++round) {
        failures += lib.PutRecord(id, "pipe", "pk", nullptr, big.data(), int32_t(big.size())) == RXK_ERROR;
        const int32_t list = lib.CreateListRecord(id);
        lib.AddRecordToList(id, list, "pk", nullptr, big.data(), 1 << 20);
        failures += lib.PutRecords(id, list, "pipe", nullptr, nullptr, nullptr, nullptr, "pipe") == RXK_ERROR;
    }
    return failures == 6 ? 0 : 3;
}

void hostHandler(int, siginfo_t*, void*) {}

int unloadRestoresHandlers() {
    const int signals[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};
    struct sigaction host {};
    host.sa_sigaction = hostHandler;
    host.sa_flags = SA_SIGINFO;
    for (int signal : signals) sigaction(signal, &host, nullptr);
    {
        Library lib(libraryPathFromEnvironment(), Library::Unload::OnDestruction);
        lib.InititializeInterface();
        struct sigaction current {};
        sigaction(SIGSEGV, nullptr, &current);
        if (current.sa_sigaction == hostHandler) return 10;  // nothing of the library's installed
        lib.CloseInterface();
    }
    if (loaded(libraryPathFromEnvironment())) return 4;
    for (int signal : signals) {
        struct sigaction current {};
        sigaction(signal, nullptr, &current);
        if (current.sa_sigaction != hostHandler) return 50 + signal;
    }
    return 0;
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

// One load: every kind of path, then the library closed and unloaded with its clients freed.
void useOnce(const std::string& path) {
    Library lib(path, Library::Unload::OnDestruction);
    lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    exerciseEveryPath(lib, gEndpoint, "AKIDCYCLE", "cycle-secret");
    lib.CloseInterface();
    LogCapture::reset();  // the lines kept would pass for a leak
}

// A leak of one client or one SDK start per cycle would show as megabytes; under ASan the leak
// checker counts at the child's exit instead.
int loadUseUnloadCycles() {
    long afterWarmUp = 0;
    for (int cycle = 0; cycle < 60; ++cycle) {
        useOnce(libraryPathFromEnvironment());
        if (loaded(libraryPathFromEnvironment())) return 4;
        if (cycle == 9) afterWarmUp = residentKilobytes();
    }
#if !defined(__SANITIZE_ADDRESS__)
    if (residentKilobytes() - afterWarmUp > 8 * 1024) return 5;
#endif
    return 0;
}

// Every kind of path, with sinks set and without: nothing may reach fd 1 or 2 (the host may
// speak a protocol there). Only the probe Dummy prints, by design.
int nothingOnStandardStreams() {
    char path[] = "/tmp/rxk-streams-XXXXXX";
    const int capture = mkstemp(path), savedOut = dup(1), savedErr = dup(2);
    dup2(capture, 1);
    dup2(capture, 2);
    Library& lib = sharedLibrary();
    for (const bool sinks : {true, false}) {
        lib.InitLogEventCallBack(sinks ? LogCapture::logSink : nullptr, sinks ? LogCapture::traceSink : nullptr);
        exerciseEveryPath(lib, gEndpoint, "AKIDQUIET", "quiet-secret");
    }
    fflush(nullptr);
    dup2(savedOut, 1);
    dup2(savedErr, 2);
    std::ifstream in(path);
    const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    unlink(path);
    if (!LogCapture::logContains("bad param")) return 6;  // the failure paths were never reached
    if (!written.empty()) std::fprintf(stderr, "written to fd 1/2: %s\n", written.substr(0, 400).c_str());
    return written.empty() ? 0 : 7;
}

TEST(HostSafety, ScenariosInChildProcesses) {
    struct Case { const char* name; int (*scenario)(); const char* codes; };
    const Case kRows[] = {
        {"server closes mid-request under SIGPIPE's default action", serverDropsMidRequest, "3: a call did not fail"},
        {"dlclose restores the host's handlers", unloadRestoresHandlers,
         "4: still loaded; 10: no handler installed; 50+n: signal n not restored"},
        {"60 load/use/unload cycles", loadUseUnloadCycles, "4: still loaded; 5: RSS grew by more than 8 MB"},
        {"nothing on fd 1 or 2", nothingOnStandardStreams, "6: failure paths not reached; 7: something was written"},
    };
    FaultEndpoint endpoint(R"({"streams":[{"name":"paths","shards":2}],"recording":false,
        "rules":[{"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}}]})");
    gEndpoint = endpoint.endpoint();
    if (loaded(libraryPathFromEnvironment())) GTEST_SKIP() << "the library is already loaded; run this test alone";
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        std::fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) std::_Exit(c.scenario());
        int status = 0;
        waitpid(pid, &status, 0);
        ASSERT_TRUE(WIFEXITED(status)) << "died of signal " << WTERMSIG(status);
        EXPECT_EQ(WEXITSTATUS(status), 0) << c.codes;
    }
}

}  // namespace
}  // namespace rxk::test
