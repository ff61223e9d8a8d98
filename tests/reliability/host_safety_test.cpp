// What the library must never do to the process that loads it: die of SIGPIPE when a server
// drops a connection mid-request, leak or leave its signal handlers behind across
// load/use/unload cycles, write to fd 1 or 2 (each scenario in a child process of its own), or let
// the secret key out anywhere but the one trace line of client initialisation that carries the
// keys by design.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace rxk::test {
namespace {

// Stream "paths", whose PutRecords refuse "fail-" keys.
constexpr char kPaths[] = R"({"streams":[{"name":"paths","shards":2}],
    "rules":[{"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}}]})";

constexpr char kAccess[] = "AKIDSECURITYTEST0001", kSecret[] = "wJalrXUtnFEMI-K7MDENG-bPxRfiCYSECRETKEY";
constexpr char kKeys[] = "><AKIDSECURITYTEST0001><wJalrXUtnFEMI-K7MDENG-bPxRfiCYSECRETKEY>";  // the end of an init trace line

// One host session that takes every kind of path through the library (refusals, service
// failures, an unreachable endpoint, retries with their announcements, reading, listing, calls
// after free) against `endpoint` (kPaths), then a closed port; returns every text read back.
std::vector<std::string> exerciseEveryPath(Library& lib, const std::string& endpoint) {
    std::vector<std::string> seen;
    char text[RXK_ERROR_TEXT_BYTES + 88];
    lib.InititializeInterface();
    lib.SetGlobalParam("no-such", kSecret);
    for (const std::string& url : {endpoint, std::string("http://127.0.0.1:1")}) {
        ServiceEnvironment environment(url, ServiceEnvironment::SdkRetries::Off);
        lib.CreateClient("", kAccess, kSecret);  // refused
        const int32_t id = lib.CreateClient("us-east-1", kAccess, kSecret);
        lib.SetParam(id, "retry", "2");
        lib.SetParam(id, "retryattemptshow", "2");
        lib.SetParam(id, "no-such-parameter", kSecret);  // a value is never echoed
        lib.PutRecord(id, "paths", nullptr, nullptr, "one", 3);
        const int32_t list = lib.CreateListRecord(id);
        for (const char* key : {"fail-0", "pk", "pk"}) lib.AddRecordToList(id, list, key, nullptr, "batch", 5);
        lib.PutRecords(id, list, "paths", nullptr, nullptr, nullptr, nullptr, "paths");
        lib.PutRecords(id, list + 7, "paths", nullptr, nullptr, nullptr, nullptr, "paths");
        lib.StartShardIterator(id, "paths", "shardId-000000000000", nullptr, 10, RXK_TRIM_HORIZON);
        lib.PollShardIterator(id, "paths", "shardId-000000000000", [](int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; });
        for (int twice = 0; twice < 2; ++twice) lib.StopShardIterator(id, "paths", "shardId-000000000000");
        int32_t length = sizeof text;
        lib.GetListShards(id, "no-such-stream", text, &length);
        lib.CreateStream(id, "paths", 1);
        seen.push_back(lib.GetErrorStr(id, text, sizeof text));
        for (const char* name : {"retry", "retryattemptPutRecords", "retryattemptFailRecords", "secretkey"})
            if (lib.GetParam(id, name, text) == 0) seen.push_back(text);
        lib.FreeClient(id);
        lib.PutRecord(id, "paths", nullptr, nullptr, "one", 3);  // freed: refused
    }
    seen.push_back(lib.GetGlobalErrorStr(text, sizeof text));
    return seen;
}

std::string gEndpoint, gDropping;  // made before the children fork

bool loaded(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
}

int serverDropsMidRequest() {
    signal(SIGPIPE, SIG_DFL);
    ServiceEnvironment environment(gDropping, ServiceEnvironment::SdkRetries::Off);
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    const int32_t id = lib.CreateClient("us-east-1", "AKIDPIPE", "pipe-secret");
    const std::string big(4 << 20, 'p');  // far beyond the socket buffers
    int failures = 0;
    for (int round = 0; round < 3; ++round) failures += lib.PutRecord(id, "pipe", "pk", nullptr, big.data(), int32_t(big.size())) == RXK_ERROR;
    return failures == 3 ? 0 : 3;
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
    return -1;
}

// A leak of one client or one SDK start per cycle would show as megabytes; under ASan the leak
// checker counts at the child's exit instead. Each unload puts the host's SIGSEGV handler back.
int loadUseUnloadCycles() {
    [[maybe_unused]] long afterWarmUp = 0;  // unread under ASan, whose leak checker counts instead
    struct sigaction hosts {}, segv {};
    sigaction(SIGSEGV, nullptr, &hosts);
    for (int cycle = 0; cycle < 60; ++cycle) {
        {
            Library lib(libraryPathFromEnvironment(), Library::Unload::OnDestruction);
            lib.InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
            exerciseEveryPath(lib, gEndpoint);
            lib.CloseInterface();
            LogCapture::reset();  // the lines kept would pass for a leak
        }
        sigaction(SIGSEGV, nullptr, &segv);
        if (loaded(libraryPathFromEnvironment()) || segv.sa_handler != hosts.sa_handler) return 4;
        if (cycle == 9) afterWarmUp = residentKilobytes();
    }
#if !defined(__SANITIZE_ADDRESS__)
    if (residentKilobytes() - afterWarmUp > 8 * 1024) return 5;
#endif
    return 0;
}

// Every kind of path, with sinks set and without: nothing may reach fd 1 or 2 (the host may
// speak a protocol there; only the probe Dummy prints, by design), and the secret key is in no
// text the host gets but the trace line of each CreateClient, which carries the keys by design.
int quietAndSecret() {
    char path[] = "/tmp/rxk-streams-XXXXXX";
    const int capture = mkstemp(path), savedOut = dup(1), savedErr = dup(2);
    dup2(capture, 1);
    dup2(capture, 2);
    std::vector<std::string> exposed;
    for (const bool sinks : {true, false}) {
        sharedLibrary().InitLogEventCallBack(sinks ? LogCapture::logSink : nullptr, sinks ? LogCapture::traceSink : nullptr);
        for (const std::string& text : exerciseEveryPath(sharedLibrary(), gEndpoint)) exposed.push_back(text);
    }
    fflush(nullptr);
    dup2(savedOut, 1);
    dup2(savedErr, 2);
    std::ifstream in(path);
    const std::string written((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()), keys = kKeys;
    unlink(path);
    int initialisationLines = 0;
    for (const std::string& line : LogCapture::traceTexts()) {
        if (line.find(" KinesisEnv::init <") != std::string::npos && line.size() > keys.size() &&
            line.compare(line.size() - keys.size(), keys.size(), keys) == 0) ++initialisationLines;
        else exposed.push_back(line);
    }
    for (const std::string& line : LogCapture::logTexts()) exposed.push_back(line);
    if (!LogCapture::logContains("bad param") || exposed.size() < 30) return 6;  // the failure paths were never reached
    for (const std::string& text : exposed)
        if (text.find(kSecret) != std::string::npos) return std::fprintf(stderr, "the secret in: %s\n", text.c_str()), 8;
    if (!written.empty()) std::fprintf(stderr, "written to fd 1/2: %s\n", written.substr(0, 400).c_str());
    return initialisationLines != 4 ? 9 : written.empty() ? 0 : 7;
}

TEST(HostSafety, ScenariosInChildProcesses) {
    struct Case { const char* name; int (*scenario)(); const char* codes; };
    const Case kRows[] = {
        {"server closes mid-request under SIGPIPE's default action", serverDropsMidRequest, "3: a call did not fail"},
        {"60 load/use/unload cycles", loadUseUnloadCycles, "4: still loaded or its handler left; 5: RSS grew by more than 8 MB"},
        {"nothing on fd 1 or 2, the secret in no text", quietAndSecret,
         "6: failure paths not reached; 7: something was written; 8: the secret in a text; 9: not one init line per CreateClient"},
    };
    FaultEndpoint endpoint(kPaths);
    // Drops each connection at once, the request unread: the client's further writes meet a reset.
    PortProcess dropping({"node", "-e", "const s = require('net').createServer(c => c.destroy());"
                          "s.listen(0, '127.0.0.1', () => console.log('port=' + s.address().port));"}, "dropping listener");
    gEndpoint = endpoint.endpoint();
    gDropping = "http://127.0.0.1:" + std::to_string(dropping.port());
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
    // Nor in a request, whose Authorization names the access key only.
    for (const SeenRequest& request : endpoint.requests()) {
        std::string sent = request.body;
        for (const auto& [name, value] : request.headers) sent += "\n" + name + ": " + value;
        EXPECT_EQ(sent.find(kSecret), std::string::npos) << sent.substr(0, 300);
    }
    EXPECT_NE(endpoint.requests("PutRecord").at(0).header("authorization").find(kAccess), std::string::npos);
}

}  // namespace
}  // namespace rxk::test
