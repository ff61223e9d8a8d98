// How a client reports: every line is composed in a method message buffer; the last-error text
// is replaced under errorLock, and the lock is left before any sink runs (but for failHeard).
#include <cstdarg>

#include "env/client_env.h"
#include "frame/message_buffer.h"
#include "frame/module.h"
#include "frame/sync_lock.h"

namespace rxk {

void ClientEnv::replaceLastError(const char* text) {
    SyncLockGuard guard(errorLock_);
    lastError_.assign(text);
}

bool ClientEnv::tracing() const { return traceSink() != nullptr; }

void ClientEnv::fail(const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    replaceLastError(message.text());
    sendToLog(message.text(), length);
}

void ClientEnv::failWithSdkMessage(const Aws::String& sdkMessage, const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    {
        SyncLockGuard guard(errorLock_);
        lastError_.assign(message.text());
        lastError_.append(sdkMessage.data(), sdkMessage.size());
    }
    sendToLog(message.text(), length);
    sendToLog(sdkMessage.c_str(), static_cast<int>(sdkMessage.size()));
}

void ClientEnv::failHeard(const MethodMessage& line, const Aws::String& sdkMessage) {
    SyncLockGuard guard(errorLock_);
    lastError_.assign(line.text());
    lastError_.append(sdkMessage.data(), sdkMessage.size());
    sendToLog(lastError_.c_str(), static_cast<int>(lastError_.size()));
}

void ClientEnv::failSilently(const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    message.vformat(fmt, args);
    va_end(args);
    replaceLastError(message.text());
}

void ClientEnv::notify(const char* fmt, ...) {
    if (logSink() == nullptr) return;
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    sendToLog(message.text(), length);
}

void ClientEnv::trace(const char* fmt, ...) {
    if (!tracing()) return;
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    sendToTrace(message.text(), length);
}

}  // namespace rxk
