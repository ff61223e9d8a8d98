// SIGINT and SIGTERM ask a long run to stop at the next record or pause; a second one ends the
// process at once, and so does a request still hanging 5 s after the first. SIGPIPE is ignored: a closed output shows up as a write error instead.
#pragma once

#include <chrono>

namespace rxkcat {

void installStopSignals();
bool stopRequested();
// The exit status of a run a signal stopped: 128 + the signal's number (130 SIGINT, 143 SIGTERM);
// 0 when none came.
int stoppedRunStatus();

// Sleeps for `duration`, waking early when a stop is requested.
void pauseUnlessStopped(std::chrono::milliseconds duration);

}  // namespace rxkcat
