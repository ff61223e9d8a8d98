// What every fuzz target shares, the fast in-process ones included: a finding ends the process
// with its words (libFuzzer keeps the input), and reads of every byte a length claims.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace rxk::fuzz {

[[noreturn]] inline void fail(const char* what, const std::string& detail = "unexpected result") {
    std::fprintf(stderr, "rxkinesis fuzz finding: %s: %s\n", what, detail.c_str());
    std::fflush(stderr);
    std::abort();
}

inline void expect(const char* what, bool holds) {
    if (!holds) fail(what);
}

// Reads every byte (up to the NUL when the length is -1), so that AddressSanitizer sees a
// length that overstates the text.
inline void touch(const char* text, int32_t length) {
    static volatile unsigned sum;
    for (int32_t i = 0, n = length < 0 ? int32_t(std::strlen(text)) : length; i < n; ++i) sum = sum + (unsigned char)text[i];
}
inline void touch(const std::string& text) { touch(text.data(), int32_t(text.size())); }

}  // namespace rxk::fuzz
