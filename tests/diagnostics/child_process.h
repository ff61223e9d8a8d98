// Runs a piece of host code in a forked child, for cases that may end the process, install a
// thread's translator for good, or need a process that never loaded the library.
#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

namespace rxk::test {

struct ChildRun {
    int status = -1;     // as waitpid gives it
    std::string output;  // what the child wrote on its standard output
    std::string report;  // what `body` returned
};

inline std::string readAll(int descriptor) {
    std::string text;
    char chunk[4096];
    for (ssize_t got; (got = read(descriptor, chunk, sizeof chunk)) > 0;) text.append(chunk, static_cast<size_t>(got));
    close(descriptor);
    return text;
}

// The child's standard output is a pipe, buffered as a host's would be; no core dumps; a child
// that hangs is ended by an alarm.
inline ChildRun runInChild(const std::function<std::string()>& body) {
    int output[2], report[2];
    if (pipe(output) != 0 || pipe(report) != 0) return {};
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
        close(output[0]);
        close(report[0]);
        dup2(output[1], STDOUT_FILENO);
        if (std::freopen(nullptr, "w", stdout) == nullptr) _exit(2);
        const std::string text = body();
        std::fflush(stdout);
        _exit(write(report[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 3);  // reports are small
    }
    close(output[1]);
    close(report[1]);
    ChildRun run;
    run.output = readAll(output[0]);
    run.report = readAll(report[0]);
    waitpid(child, &run.status, 0);
    return run;
}

}  // namespace rxk::test
