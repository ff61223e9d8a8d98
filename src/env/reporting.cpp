// How a client reports: every line is composed in a 1024-byte message buffer; the last-error
// text is replaced under errorLock, and the lock is left before any sink runs.
#include <cstdarg>

#include "env/kinesis_env.h"
#include "frame/message_buffer.h"
#include "frame/module.h"
#include "frame/sync_lock.h"

namespace rxk {
void KinesisEnv::replaceLastError(const char* text) {
    SyncLockGuard guard(errorLock);
    lastError.assign(text);
}

bool KinesisEnv::tracing() const { return traceSink() != nullptr; }

void KinesisEnv::fail(const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    replaceLastError(message.text());
    sendToLog(message.text(), length);
}

void KinesisEnv::failWithSdkMessage(const Aws::String& sdkMessage, const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    {
        SyncLockGuard guard(errorLock);
        lastError.assign(message.text());
        lastError.append(sdkMessage.data(), sdkMessage.size());
    }
    sendToLog(message.text(), length);
    sendToLog(sdkMessage.c_str(), static_cast<int>(sdkMessage.size()));
}

void KinesisEnv::failSilently(const char* fmt, ...) {
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    message.vformat(fmt, args);
    va_end(args);
    replaceLastError(message.text());
}

void KinesisEnv::notify(const char* fmt, ...) {
    if (logSink() == nullptr) return;
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    sendToLog(message.text(), length);
}

void KinesisEnv::trace(const char* fmt, ...) {
    if (!tracing()) return;
    MethodMessage message;
    va_list args;
    va_start(args, fmt);
    const int length = message.vformat(fmt, args);
    va_end(args);
    sendToTrace(message.text(), length);
}

}  // namespace rxk
