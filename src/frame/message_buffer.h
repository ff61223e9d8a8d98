// A message is composed on the stack of the reporting function: 256 bytes in exports, 1024 in
// client methods. Composition never writes past the buffer: a longer message is cut, and the
// length is that of what was written (or -1 if formatting failed). No allocation.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "rxkinesis.h"

namespace rxk {

constexpr std::size_t kExportMessageBytes = 256;
// A client method composes any message into a buffer the size the host gives for error texts.
constexpr std::size_t kMethodMessageBytes = RXK_ERROR_TEXT_BYTES;

template <std::size_t N>
class MessageBuffer {
public:
    MessageBuffer() { text_[0] = '\0'; }

    int format(const char* fmt, ...) __attribute__((format(printf, 2, 3))) {
        va_list args;
        va_start(args, fmt);
        const int length = vformat(fmt, args);
        va_end(args);
        return length;
    }

    int vformat(const char* fmt, va_list args) {
        const int wanted = std::vsnprintf(text_, N, fmt, args);
        if (wanted < 0) {
            text_[0] = '\0';
            length_ = -1;
        } else {
            length_ = wanted < static_cast<int>(N) ? wanted : static_cast<int>(N - 1);
        }
        return length_;
    }

    const char* text() const { return text_; }
    int length() const { return length_; }

private:
    char text_[N];
    int length_ = 0;
};

using ExportMessage = MessageBuffer<kExportMessageBytes>;
using MethodMessage = MessageBuffer<kMethodMessageBytes>;

// What a message shows for an argument: a null text as the runtime's formatter prints one,
// or as "NULL"; a pointer as whether it was given.
inline const char* textOrNullWord(const char* text) { return text != nullptr ? text : "(null)"; }
inline const char* givenOrNull(const char* text) { return text != nullptr ? text : "NULL"; }
inline const char* pointerWord(const void* pointer) { return pointer != nullptr ? "OK" : "NULL"; }

}  // namespace rxk
