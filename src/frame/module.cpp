// Module-wide state. Loading the library constructs the global error text, the client table and
// the SDK options, in this order; everything else is constant-initialised, so every export is
// safe to call before InititializeInterface (the locks are usable from load on).
#include <aws/core/Aws.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <strings.h>

#include "frame/bounded_copy.h"
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

// The global delimiter: read and written without a lock, as a fixed NUL-terminated field.
char delimiterField[12];

// The global `credentials` parameter: false for "keys" (the default), true for "chain".
std::atomic<bool> chainCredentials{false};

constexpr char kDefaultDelimiter[] = ";";

template <std::size_t N>
void storeBounded(char (&field)[N], const char* value) noexcept {
    const std::size_t length = value == nullptr ? 0 : strnlen(value, N - 1);
    copyBounded(value, length, field, N, CopyStyle::Cut);
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
    copyBounded(globalErrorText.data(), globalErrorText.size(), buffer, capacityOf(bufferLength),
                CopyStyle::CutMarked);
}

char globalDelimiter() noexcept { return delimiterField[0]; }

bool credentialsFromChain() noexcept { return chainCredentials.load(std::memory_order_acquire); }

GlobalParamResult setGlobalParameter(const char* name, const char* value) noexcept {
    if (name == nullptr) return GlobalParamResult::BadName;
    // Accepted for hosts that set it; nothing in the library reads a statistics file.
    if (strcasecmp(name, "statspath") == 0) return GlobalParamResult::Set;
    if (strcasecmp(name, "delimiter") == 0) {
        storeBounded(delimiterField, value);
        return GlobalParamResult::Set;
    }
    if (strcasecmp(name, "credentials") == 0) {
        const bool keys = value != nullptr && strcasecmp(value, "keys") == 0;
        const bool chain = value != nullptr && strcasecmp(value, "chain") == 0;
        if (!keys && !chain) return GlobalParamResult::BadValue;
        chainCredentials.store(chain, std::memory_order_release);
        return GlobalParamResult::Set;
    }
    return GlobalParamResult::BadName;
}

SyncLock& clientTableLock() noexcept { return tableLock; }
ClientTable& clientTable() noexcept { return clients; }

// The two module locks are usable from load on and are not initialised again here: another
// thread may already hold the error-text lock.
void startModule() {
    std::lock_guard<std::mutex> guard(lifecycleMutex);
    if (started) return;
    started = true;
    storeBounded(delimiterField, kDefaultDelimiter);
    Aws::InitAPI(sdkOptions);
}

void stopModule() {
    std::lock_guard<std::mutex> guard(lifecycleMutex);
    if (!started) return;
    Aws::ShutdownAPI(sdkOptions);
}

}  // namespace rxk
