// SyncLock: the one lock type of the library. A section that excludes other threads, plus a
// `busy` flag that makes the lock non-reentrant on purpose: a thread that enters a SyncLock it
// already holds waits for ever, so no path may do that (and a log callback may not call back in).
#pragma once

#include <chrono>
#include <mutex>
#include <thread>

namespace rxk {

struct SyncLock {
    std::recursive_mutex section;  // constant-initialised: usable even before init()
    int busy = 0;

    void init() { busy = 0; }

    void enter() {
        section.lock();
        while (busy != 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        busy = 1;
    }

    void leave() {
        busy = 0;
        section.unlock();
    }
};

// Holds a SyncLock for a scope, so that an exception can never leave it held.
class SyncLockGuard {
public:
    explicit SyncLockGuard(SyncLock& lock) : lock_(lock) { lock_.enter(); }
    ~SyncLockGuard() { lock_.leave(); }
    SyncLockGuard(const SyncLockGuard&) = delete;
    SyncLockGuard& operator=(const SyncLockGuard&) = delete;

private:
    SyncLock& lock_;
};

}  // namespace rxk
