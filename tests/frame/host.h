// What the frame, producer and catalogue tests share: the library as the host loads it with both
// sinks captured, the texts it hands out read back through its exports, and buffers with guard
// bytes on both sides, so that every byte a call writes shows.
#pragma once

#include "library.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace rxk::test {

// Room for any composed line.
constexpr std::size_t kTextBytes = RXK_ERROR_TEXT_BYTES + 88;

// Frees the lists and clients of every library the tests loaded when the process ends, as a host
// does before it unloads the library: the client table alone would keep them. One handler per
// library, registered after it was loaded, so that it runs before the library's own statics go.
inline void freeAtExit(Library& lib) {
    static auto* const libraries = new std::vector<Library*>;  // never freed: every library stays reachable
    static std::size_t pending = 0;
    libraries->push_back(&lib), ++pending;
    std::atexit([] {
        Library* const l = (*libraries)[--pending];  // the latest library's handler runs first
        l->InitLogEventCallBack(nullptr, nullptr);
        for (int32_t id = 0; (l->FreeListRecord(id, -1), l->FreeClient(id)) == 0; ++id) {}
    });
}

// A private copy of $RXK_LIBRARY: its module state is that of a library just loaded, whatever
// earlier rows of the same process did; `started`: with its sinks captured and started. Never
// unloaded (the process may keep its fault handlers).
inline Library* freshLibrary(bool started = false) {
    char name[] = "/tmp/rxk-host-XXXXXX";
    const int fd = ::mkstemp(name);
    if (fd < 0 || ::close(fd) != 0) throw std::runtime_error("mkstemp failed");
    std::ofstream(name, std::ios::binary) << std::ifstream(libraryPathFromEnvironment(), std::ios::binary).rdbuf();
    Library* const library = new Library(name, Library::Unload::Never);  // reachable for ever through freeAtExit
    ::unlink(name);
    freeAtExit(*library);
    if (started) library->InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink), library->InititializeInterface();
    return library;
}

// The library loaded once per test binary, started, its sinks captured.
inline Library& host() {
    static const int started = (sharedLibrary().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink),
                                freeAtExit(sharedLibrary()), sharedLibrary().InititializeInterface());
    return (void)started, sharedLibrary();
}

// A client of `lib` whose requests go to `endpoint` (read from the environment at creation).
inline int32_t clientAt(const std::string& endpoint, Library& lib = host()) {
    ServiceEnvironment environment(endpoint, ServiceEnvironment::SdkRetries::Off);
    return lib.CreateClient("us-east-1", "AKIDEXAMPLE", "wJalrXUtnFEMI/K7MDENG");
}

// A client that makes no request (init tries nothing out).
inline int32_t newClient(Library& lib) { return lib.CreateClient("us-east-1", "AKIDEXAMPLE", "secret"); }

// printf into a std::string; the texts of the tables carry the client id as %d.
inline std::string fmt(const char* format, ...) {
    char text[kTextBytes];
    va_list arguments;
    va_start(arguments, format);
    return std::vsnprintf(text, sizeof text, format, arguments), va_end(arguments), text;
}

// The global and a client's error text, and GetParam's text (or "<refused>").
inline std::string globalError(Library& lib = host()) { char t[kTextBytes] = {}; return lib.GetGlobalErrorStr(t, sizeof t); }
inline std::string clientError(int32_t id, Library& lib = host()) { char t[kTextBytes] = {}; return lib.GetErrorStr(id, t, sizeof t); }
inline std::string param(int32_t id, const char* key, Library& lib = host()) { char t[kTextBytes] = {}; return lib.GetParam(id, key, t) ? "<refused>" : t; }

// The log sink's lines as "text|length" each, and a line as it should read there.
inline std::string logWithLengths() {
    std::string log;
    for (const LogLine& line : LogCapture::logLines()) log += line.text + "|" + std::to_string(line.length) + "\n";
    return log;
}
inline std::string withLength(const std::string& line) { return line + "|" + std::to_string(line.size()) + "\n"; }

// A buffer of `size` bytes between two guard areas, all filled with kFill at the start.
struct Guarded {
    static constexpr char kFill = '\x5A';
    static constexpr std::size_t kGuard = 16;

    explicit Guarded(std::size_t size) : size_(size), bytes_(size + 2 * kGuard, kFill) {}
    char* data() { return bytes_.data() + kGuard; }
    char at(std::size_t index) const { return bytes_[kGuard + index]; }
    std::string text() const { return std::string(bytes_.data() + kGuard, strnlen(bytes_.data() + kGuard, size_)); }
    bool guardsIntact() const { return filled(0, kGuard) && filled(kGuard + size_, bytes_.size()); }
    bool untouched() const { return filled(0, bytes_.size()); }
    // Bytes of the area still holding the filling, counted from its end.
    std::size_t untouchedTail() const { return std::find_if(bytes_.rbegin() + kGuard, bytes_.rend() - kGuard, [](char c) { return c != kFill; }) - (bytes_.rbegin() + kGuard); }

    bool filled(std::size_t from, std::size_t to) const { return std::all_of(&bytes_[from], &bytes_[0] + to, [](char c) { return c == kFill; }); }
    std::size_t size_;
    std::vector<char> bytes_;
};

}  // namespace rxk::test
