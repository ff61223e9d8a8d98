// SIGINT and SIGTERM ask a long run to stop at the next record or pause; a second one ends the
// process at once. SIGPIPE is ignored: a closed output shows up as a write error instead.
#pragma once

#include <chrono>

namespace rxkcat {

void installStopSignals();
bool stopRequested();

// Sleeps for `duration`, waking early when a stop is requested.
void pauseUnlessStopped(std::chrono::milliseconds duration);

}  // namespace rxkcat
