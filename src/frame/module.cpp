// Module-wide state. Loading the library constructs the global error text, the client table and
// the SDK options, in this order; everything else is constant-initialised, so every export is
// safe to call before InititializeInterface (the locks are usable from load on).
#include <aws/core/Aws.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <strings.h>

#include "frame/module.h"
#include "frame/module_state.h"
#include "frame/sync_lock.h"

namespace rxk {
namespace {

std::string globalErrorText;  // guarded by errorTextLock
ClientTable clients;
Aws::SDKOptions sdkOptions;

SyncLock errorTextLock;
SyncLock tableLock;

// Serialises starting and stopping the SDK, so that a second thread calling
// InititializeInterface returns only once the SDK stands.
std::mutex lifecycleMutex;
bool started = false;  // guarded by lifecycleMutex; never cleared

std::atomic<LogEventCallBack> logSinkPointer{nullptr};
std::atomic<LogEventCallBack> traceSinkPointer{nullptr};

// Global parameters: read and written without a lock, as fixed NUL-terminated fields.
char delimiterField[12];
char statsPathField[512];

constexpr char kDefaultDelimiter[] = ";";
constexpr char kTruncationMark[] = " [...]";
constexpr std::size_t kTruncationMarkLength = sizeof(kTruncationMark) - 1;
// Bytes that a cut text gives up at the end of the buffer: the mark, its NUL and 3 unused bytes.
constexpr int32_t kTruncationReserve = 10;

template <std::size_t N>
void storeBounded(char (&field)[N], const char* value) noexcept {
    const std::size_t length = value == nullptr ? 0 : strnlen(value, N - 1);
    if (length > 0) std::memcpy(field, value, length);
    field[length] = '\0';
}

}  // namespace

LogEventCallBack logSink() noexcept { return logSinkPointer.load(std::memory_order_acquire); }
LogEventCallBack traceSink() noexcept { return traceSinkPointer.load(std::memory_order_acquire); }

void setSinks(LogEventCallBack logEvent, LogEventCallBack traceEvent) noexcept {
    logSinkPointer.store(logEvent, std::memory_order_release);
    traceSinkPointer.store(traceEvent, std::memory_order_release);
}

void sendToLog(const char* text, int length) {
    if (LogEventCallBack sink = logSink()) sink(text, length);
}

void sendToTrace(const char* text, int length) {
    if (LogEventCallBack sink = traceSink()) sink(text, length);
}

void setGlobalErrorText(const char* text) {
    SyncLockGuard guard(errorTextLock);
    globalErrorText.assign(text == nullptr ? "" : text);
}

void copyGlobalErrorText(char* buffer, int32_t bufferLength) {
    SyncLockGuard guard(errorTextLock);
    truncatingCopy(globalErrorText.data(), globalErrorText.size(), buffer, bufferLength);
}

void truncatingCopy(const char* text, std::size_t length, char* buffer, int32_t bufferLength) noexcept {
    if (buffer == nullptr || bufferLength <= 0) return;
    const std::size_t room = static_cast<std::size_t>(bufferLength) - 1;
    if (length <= room) {
        std::memcpy(buffer, text, length);
        buffer[length] = '\0';
        return;
    }
    if (bufferLength >= kTruncationReserve) {
        const std::size_t prefix = static_cast<std::size_t>(bufferLength - kTruncationReserve);
        std::memcpy(buffer, text, prefix);
        std::memcpy(buffer + prefix, kTruncationMark, kTruncationMarkLength + 1);
        return;
    }
    // Too small for the mark: the text is cut to the buffer.
    std::memcpy(buffer, text, room);
    buffer[room] = '\0';
}

char globalDelimiter() noexcept { return delimiterField[0]; }
const char* statsPath() noexcept { return statsPathField; }

bool setGlobalParameter(const char* name, const char* value) noexcept {
    if (name == nullptr) return false;
    if (strcasecmp(name, "statspath") == 0) {
        storeBounded(statsPathField, value);
        return true;
    }
    if (strcasecmp(name, "delimiter") == 0) {
        storeBounded(delimiterField, value);
        return true;
    }
    return false;
}

SyncLock& clientTableLock() noexcept { return tableLock; }
ClientTable& clientTable() noexcept { return clients; }

// The two module locks are usable from load on and are not initialised again here: another
// thread may already hold the error-text lock.
void startModule() {
    std::lock_guard<std::mutex> guard(lifecycleMutex);
    if (started) return;
    started = true;
    storeBounded(statsPathField, "");
    storeBounded(delimiterField, kDefaultDelimiter);
    Aws::InitAPI(sdkOptions);
}

void stopModule() {
    std::lock_guard<std::mutex> guard(lifecycleMutex);
    if (!started) return;
    Aws::ShutdownAPI(sdkOptions);
}

}  // namespace rxk
