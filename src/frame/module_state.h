// State that exists once per loaded library, for the frame's own code (module.cpp and the
// exports). Client code reaches what it needs through module.h.
#pragma once

#include <cstdint>

#include "frame/client_table.h"
#include "frame/module.h"
#include "frame/sync_lock.h"

namespace rxk {

// Held only by CreateClient, so ids are handed out one at a time.
SyncLock& clientTableLock() noexcept;
ClientTable& clientTable() noexcept;

// Copies the global error text into a caller's buffer of `bufferLength` bytes, cut with a mark
// when it doesn't fit, under the error-text lock.
void copyGlobalErrorText(char* buffer, int32_t bufferLength);

// Lifecycle: starts the SDK on the first call; later calls do nothing. Stops it when started.
void startModule();
void stopModule();

// Global parameters: BadName for a name that is no global parameter, BadValue for a value the
// parameter does not take (nothing changes then).
enum class GlobalParamResult { Set, BadName, BadValue };
GlobalParamResult setGlobalParameter(const char* name, const char* value) noexcept;

void setSinks(LogEventCallBack logEvent, LogEventCallBack traceEvent) noexcept;

}  // namespace rxk
