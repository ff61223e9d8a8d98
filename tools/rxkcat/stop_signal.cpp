#include "stop_signal.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

namespace rxkcat {
namespace {

volatile sig_atomic_t stopFlag = 0;

volatile sig_atomic_t stopSignalNumber = 0;

// A request that hangs in the SDK can't see the flag: past this grace the run ends anyway.
constexpr unsigned kStopGraceSeconds = 5;

void onStopSignal(int number) {
    stopSignalNumber = number;
    stopFlag = 1;
    alarm(kStopGraceSeconds);
}

void onStopGraceOver(int) {
    static const char message[] = "rxkcat: stopped: a request did not finish in time\n";
    const ssize_t ignored = write(STDERR_FILENO, message, sizeof message - 1);
    (void)ignored;
    _exit(128 + stopSignalNumber);
}

constexpr std::chrono::milliseconds kPauseSlice{20};

}  // namespace

void installStopSignals() {
    struct sigaction action {};
    action.sa_handler = onStopSignal;
    sigemptyset(&action.sa_mask);
    // No SA_RESTART: a read blocked on standard input returns EINTR and the producer stops.
    // SA_RESETHAND: the second signal takes the default action, for a call stuck in the SDK.
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction grace {};
    grace.sa_handler = onStopGraceOver;
    sigemptyset(&grace.sa_mask);
    sigaction(SIGALRM, &grace, nullptr);
    signal(SIGPIPE, SIG_IGN);
}

bool stopRequested() { return stopFlag != 0; }

int stoppedRunStatus() { return stopFlag != 0 ? 128 + stopSignalNumber : 0; }

void pauseUnlessStopped(std::chrono::milliseconds duration) {
    while (duration.count() > 0 && !stopRequested()) {
        const auto slice = std::min(duration, kPauseSlice);
        const struct timespec interval {0, static_cast<long>(slice.count()) * 1000000L};
        nanosleep(&interval, nullptr);
        duration -= slice;
    }
}

}  // namespace rxkcat
