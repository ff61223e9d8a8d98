// Runs the built rxkcat binary as a child process with its standard input, output and error on
// pipes, as a user's shell would: the tests see exactly what a user sees.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace rxk::test {

// Path of the rxkcat under test: $RXKCAT, else the binary this test was built with.
std::string rxkcatPath();

struct RunResult {
    int exitStatus = -1;  // -1 when the process ended by a signal or was killed at the deadline
    int signal = 0;
    bool timedOut = false;
    std::string out;
    std::string err;
    double seconds = 0;
};

class RxkcatProcess {
public:
    // Starts rxkcat with `arguments`; `environment` entries ("NAME=value") are added to (or
    // replace in) the current environment.
    explicit RxkcatProcess(const std::vector<std::string>& arguments,
                           const std::vector<std::string>& environment = {});
    ~RxkcatProcess();  // kills and reaps a child that still runs
    RxkcatProcess(const RxkcatProcess&) = delete;
    RxkcatProcess& operator=(const RxkcatProcess&) = delete;

    // Queues bytes for standard input; they are written while the process is pumped.
    void write(const std::string& bytes);
    void closeInput();

    // Pumps the pipes until `done(stdout so far)` holds or the timeout passes; returns done's value.
    bool waitForOutput(const std::function<bool(const std::string&)>& done, std::chrono::milliseconds timeout);

    // Pumps the pipes (feeding queued input) for `duration`.
    void pumpFor(std::chrono::milliseconds duration);

    void sendSignal(int signal);

    // Pumps until the process ends (killing it at the deadline) and returns what it did.
    RunResult finish(std::chrono::milliseconds timeout);

private:
    // One round of poll over the pipes, at most `wait` long; false once all pipes are closed.
    bool pump(std::chrono::milliseconds wait);
    void closeDescriptor(int& descriptor);

    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int error_ = -1;
    bool closeInputWhenWritten_ = false;
    std::string pendingInput_;
    RunResult result_;
    std::chrono::steady_clock::time_point started_;
};

// Runs rxkcat to its end with `input` on standard input.
RunResult runRxkcat(const std::vector<std::string>& arguments, const std::string& input = {},
                    const std::vector<std::string>& environment = {},
                    std::chrono::milliseconds timeout = std::chrono::seconds(60));

}  // namespace rxk::test
