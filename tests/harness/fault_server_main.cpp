// rxk_fault_server: the fault server with canned answers as a process of its own, for benchmarks.
//
//   rxk_fault_server [--port P] [--records-per-get N] [--record-bytes M] [--port-file FILE]
//
// Prints "port=<P>" once it listens. On SIGTERM or SIGINT it prints
// "requests=<n> cpu_user_seconds=<u> cpu_system_seconds=<s>" (its own CPU time, all threads)
// so a benchmark can tell whether the server was the bottleneck, and exits 0.
#include "fault_server.h"

#include <signal.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

namespace {

struct Options {
    int port = 0;
    rxk::test::FaultServer::CannedAnswers canned;
    std::string portFile;
};

[[noreturn]] void usage(const char* problem) {
    std::fprintf(stderr,
                 "rxk_fault_server: %s\n"
                 "usage: rxk_fault_server [--port P] [--records-per-get N] [--record-bytes M]\n"
                 "                        [--batches-per-iterator K] [--port-file FILE]\n"
                 "  e.g. rxk_fault_server --port 0 --records-per-get 500 --record-bytes 1024\n",
                 problem);
    std::exit(2);
}

int numberArgument(const char* option, const char* value) {
    char* end = nullptr;
    const long number = value != nullptr ? std::strtol(value, &end, 10) : -1;
    if (value == nullptr || *end != '\0' || number < 0 || number > 1 << 30)
        usage((std::string(option) + " needs a non-negative number").c_str());
    return static_cast<int>(number);
}

Options parseOptions(int argc, char** argv) {
    Options options;
    // Every option takes one value: walk them in pairs.
    for (int i = 1; i < argc; i += 2) {
        const std::string option = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        if (option == "--port")
            options.port = numberArgument(argv[i], value);
        else if (option == "--records-per-get")
            options.canned.recordsPerGet = numberArgument(argv[i], value);
        else if (option == "--record-bytes")
            options.canned.recordBytes = numberArgument(argv[i], value);
        else if (option == "--batches-per-iterator")
            options.canned.batchesPerIterator = numberArgument(argv[i], value);
        else if (option == "--port-file" && value != nullptr)
            options.portFile = value;
        else
            usage(("unknown option " + option).c_str());
    }
    return options;
}

double seconds(const timeval& time) { return static_cast<double>(time.tv_sec) + time.tv_usec / 1e6; }

}  // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);

    // Block the stop signals before any thread starts so that only sigwait below sees them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    try {
        rxk::test::FaultServer server(options.port);
        server.useCannedAnswers(options.canned);
        std::printf("port=%d\n", server.port());
        std::fflush(stdout);
        if (!options.portFile.empty()) {
            if (FILE* file = std::fopen(options.portFile.c_str(), "w")) {
                std::fprintf(file, "%d\n", server.port());
                std::fclose(file);
            }
        }

        int signal = 0;
        sigwait(&stopSignals, &signal);
        server.stop();

        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::printf("requests=%d cpu_user_seconds=%.3f cpu_system_seconds=%.3f\n", server.requestCount(),
                    seconds(usage.ru_utime), seconds(usage.ru_stime));
        return 0;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "rxk_fault_server: %s\n", e.what());
        return 1;
    }
}
