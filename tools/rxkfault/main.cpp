// rxkfault: a local Kinesis endpoint that answers from a script; see help_text.cpp.
#include "endpoint.h"
#include "options.h"

#include <signal.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

using namespace rxkfault;

struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string readFile(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    if (!file) throw FileError(name + ": cannot read: " + std::strerror(errno));
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// The script of --script and --canned; a bad one is a ScriptError naming the file.
Script startingScript(const Options& options) {
    Script script;
    if (!options.scriptFile.empty()) {
        try {
            script = parseScript(readFile(options.scriptFile));
        } catch (const ScriptError& e) {
            throw ScriptError(options.scriptFile, e.what());
        }
    }
    if (options.canned) script.canned = options.cannedAnswers;
    return script;
}

// The port file first: whoever reads the port line may look for the file next.
void announcePort(int port, const std::string& portFile) {
    if (!portFile.empty()) {
        std::ofstream file(portFile);
        file << port << "\n";
        if (!file) throw FileError(portFile + ": cannot write: " + std::strerror(errno));
    }
    std::printf("port=%d\n", port);
    std::fflush(stdout);
}

double seconds(const timeval& time) { return static_cast<double>(time.tv_sec) + time.tv_usec / 1e6; }

// Its own CPU time (all threads) lets a benchmark tell whether the endpoint was the bottleneck.
void printStopLine(long requests) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("requests=%ld cpu_user_seconds=%.3f cpu_system_seconds=%.3f\n", requests, seconds(usage.ru_utime),
                seconds(usage.ru_stime));
    std::fflush(stdout);
}

int serve(const Options& options, const Script& script) {
    // Blocked before any thread starts, so that only sigwait below sees them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    Endpoint endpoint(options.port);
    endpoint.load(script);
    announcePort(endpoint.server().port(), options.portFile);
    int signal = 0;
    sigwait(&stopSignals, &signal);
    endpoint.server().stop();
    printStopLine(endpoint.server().totalRequestCount());
    return kExitOk;
}

int fail(ExitStatus status, const std::string& message) {
    std::fprintf(stderr, "rxkfault: %s\n", message.c_str());
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader gone from standard output is no reason to die
    Options options;
    try {
        options = parseOptions(argc, argv);
    } catch (const UsageError& e) {
        return fail(kExitUsage, std::string(e.what()) + "\nTry 'rxkfault --help'.");
    }
    if (options.help) {
        std::fputs(helpText(), stdout);
        return kExitOk;
    }
    try {
        return serve(options, startingScript(options));
    } catch (const ScriptError& e) {
        return fail(kExitUsage, e.what());
    } catch (const std::exception& e) {
        return fail(kExitFailure, e.what());
    }
}
