// What exists once per loaded library and that client code needs to reach: the two sinks, the
// global error text and the global delimiter. Usable before InititializeInterface.
#pragma once

#include "rxkinesis.h"

namespace rxk {

LogEventCallBack logSink() noexcept;
LogEventCallBack traceSink() noexcept;

// Sends a composed line to a sink if one is set (the sink is read once).
void sendToLog(const char* text, int length);
void sendToTrace(const char* text, int length);

// Replaces the global error text under the error-text lock.
void setGlobalErrorText(const char* text);

// First byte of the global `delimiter` parameter (NUL when it is empty).
char globalDelimiter() noexcept;

// True when the global `credentials` parameter is "chain": clients created with neither key
// take theirs from the SDK's default provider chain.
bool credentialsFromChain() noexcept;

}  // namespace rxk
