// State that exists once per loaded library, for the frame's own code (module.cpp and the
// exports). Client code reaches what it needs through module.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/client_table.h"
#include "frame/module.h"
#include "frame/sync_lock.h"

namespace rxk {

// Held only by CreateClient, so ids are handed out one at a time.
SyncLock& clientTableLock() noexcept;
ClientTable& clientTable() noexcept;

// Copies the global error text into a caller's buffer by the truncating copy, under the
// error-text lock.
void copyGlobalErrorText(char* buffer, int32_t bufferLength);

// Writes `text` (`length` bytes) into a caller's buffer of `bufferLength` bytes: whole when it
// fits with its NUL, else its first bufferLength-10 bytes and " [...]". Never writes past
// bufferLength bytes, and nothing at all when bufferLength is 0 or negative.
void truncatingCopy(const char* text, std::size_t length, char* buffer, int32_t bufferLength) noexcept;

// Lifecycle: starts the SDK on the first call; later calls do nothing. Stops it when started.
void startModule();
void stopModule();

// Global parameters; return false for a name that is no global parameter.
bool setGlobalParameter(const char* name, const char* value) noexcept;
const char* statsPath() noexcept;

void setSinks(LogEventCallBack logEvent, LogEventCallBack traceEvent) noexcept;

}  // namespace rxk
