// Set-up shared by the frame tests: a private instance of the library per test (a copy of the
// built file, so module state starts as at load even when tests share a process), captured
// sinks, and guarded buffers.
#pragma once

#include "library.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace rxk::test {

// Loads a fresh copy of $RXK_LIBRARY: its module state is that of a library just loaded.
inline std::unique_ptr<Library> loadFreshLibrary() {
    const std::string original = libraryPathFromEnvironment();
    const char* tmp = std::getenv("TMPDIR");
    std::string path = std::string(tmp != nullptr ? tmp : "/tmp") + "/rxk-frame-XXXXXX";
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const int fd = ::mkstemp(name.data());
    if (fd < 0) throw std::runtime_error("mkstemp failed");
    ::close(fd);
    path = name.data();
    {
        std::ifstream in(original, std::ios::binary);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << in.rdbuf();
        if (!in || !out) throw std::runtime_error("cannot copy " + original);
    }
    // Never unloaded: the process may keep fault handlers of the copy.
    auto library = std::make_unique<Library>(path, Library::Unload::Never);
    ::unlink(path.c_str());
    return library;
}

// Room for any composed line.
constexpr std::size_t kTextBytes = RXK_ERROR_TEXT_BYTES + 88;

// A buffer with guard bytes on both sides and a known filling, to see exactly what was written.
class GuardedBuffer {
public:
    static constexpr char kFill = '\x5A';
    static constexpr std::size_t kGuard = 16;

    explicit GuardedBuffer(std::size_t size) : size_(size), bytes_(size + 2 * kGuard, kFill) {}
    char* data() { return bytes_.data() + kGuard; }
    int32_t length() const { return static_cast<int32_t>(size_); }
    char at(std::size_t index) const { return bytes_[kGuard + index]; }
    // The text up to its NUL, never beyond the area.
    std::string text() const {
        const char* start = bytes_.data() + kGuard;
        return std::string(start, strnlen(start, size_));
    }
    bool guardsIntact() const {
        for (std::size_t i = 0; i < kGuard; ++i)
            if (bytes_[i] != kFill || bytes_[bytes_.size() - 1 - i] != kFill) return false;
        return true;
    }
    // Bytes of the area still holding the filling, counted from the end.
    std::size_t untouchedTail() const {
        std::size_t count = 0;
        while (count < size_ && at(size_ - 1 - count) == kFill) ++count;
        return count;
    }
    bool untouched() const { return untouchedTail() == size_ && guardsIntact(); }

private:
    std::size_t size_;
    std::vector<char> bytes_;
};

// A fresh library with captured sinks and a service environment that keeps the SDK off the
// network (nothing listens on port 9), for tests that need no service answer.
class FrameTest : public ::testing::Test {
protected:
    FrameTest() : environment_("http://127.0.0.1:9", ServiceEnvironment::SdkRetries::Off) {}

    void SetUp() override {
        library_ = loadFreshLibrary();
        LogCapture::reset();
    }

    // Frees every client still in the table, as a host does before it unloads the library.
    void TearDown() override {
        for (int32_t id = 0; lib().FreeClient(id) == 0; ++id) {
        }
    }

    Library& lib() { return *library_; }

    void startWithSinks() {
        lib().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        ASSERT_EQ(lib().InititializeInterface(), 0);
    }

    int32_t createClient() { return lib().CreateClient("us-east-1", "AKIDEXAMPLE", "secret"); }

    std::string globalError() {
        std::vector<char> buffer(kTextBytes, '\0');
        lib().GetGlobalErrorStr(buffer.data(), static_cast<int32_t>(buffer.size()));
        return buffer.data();
    }

    std::string clientError(int32_t id) {
        std::vector<char> buffer(kTextBytes, '\0');
        lib().GetErrorStr(id, buffer.data(), static_cast<int32_t>(buffer.size()));
        return buffer.data();
    }

    std::string param(int32_t id, const char* name) {
        std::vector<char> buffer(kTextBytes, '\0');
        EXPECT_EQ(lib().GetParam(id, name, buffer.data()), 0) << name;
        return buffer.data();
    }

    static std::string formatted(const char* format, int32_t id) {
        char text[256];
        std::snprintf(text, sizeof text, format, id);
        return text;
    }

private:
    ServiceEnvironment environment_;
    std::unique_ptr<Library> library_;
};

}  // namespace rxk::test
