// What every fuzz target shares: the library loaded as the host loads it, an in-process fault
// server as its endpoint, output buffers fenced with guard bytes, sinks and callbacks that read
// every byte the library says it handed over, and a way to pick ids and texts from the input.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fault_server.h"
#include "library.h"

namespace rxk::fuzz {

// The process-wide setting of a target, built on first use: the server listens, the SDK makes
// one attempt per call (no retry backoff can slow an execution), the library is loaded for good
// and initialised, and the checking sinks are set.
struct Session {
    test::FaultServer& server;
    test::Library& library;
};
Session& session();

// Sets the checking log and trace sinks, or silences either.
void setSinks(test::Library& library, bool log, bool trace);

// A buffer of `size` usable bytes between two fences of guard bytes. verify() aborts, naming the
// buffer, if the library wrote outside the usable bytes.
class GuardedBuffer {
public:
    GuardedBuffer(std::size_t size, const char* name);
    ~GuardedBuffer() { verify(); }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;

    char* data() { return storage_.data() + kFence; }
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(data()); }
    std::size_t size() const { return size_; }
    int32_t length() const { return static_cast<int32_t>(size_); }
    void verify() const;
    // Aborts unless a NUL lies within the usable bytes (a text the library wrote must end there).
    void expectTerminated() const;

private:
    static constexpr std::size_t kFence = 64;
    static constexpr unsigned char kGuard = 0xA5;
    std::size_t size_;
    const char* name_;
    std::vector<char> storage_;
};

// Ends the process with a message: the fuzzer reports it as a crash and keeps the input.
[[noreturn]] void fail(const char* what, const std::string& detail = {});

// Runs one export call; anything it throws is a finding (no export of a healthy library throws
// on bad input or a bad answer: only an exhausted machine or the probe Dummy may).
template <typename Call>
auto guarded(const char* exportName, Call&& call) -> decltype(call()) {
    try {
        return call();
    } catch (const std::exception& e) {
        fail(exportName, std::string("threw std::exception: ") + e.what());
    } catch (...) {
        fail(exportName, "threw an exception of another type");
    }
}

// The checking PollCallback: reads every byte the library claims to pass.
int32_t checkingPollCallback(int32_t id, const char* stream, const char* shard,
                             const char* sequenceNumber, const char* data, int32_t length);

// ---- picking arguments from the input ----

// A client or list id: one of `known` (created ones, freed ones), or -1, 0, a value just past
// them, INT32_MIN, INT32_MAX or any number.
int32_t pickId(FuzzedDataProvider& input, const std::vector<int32_t>& known);

// A text argument: null, empty, one of `vocabulary`, a random text up to ~5,000 bytes or a
// long run of one byte. `holder` keeps the bytes alive; the result points into it or is null.
const char* pickText(FuzzedDataProvider& input, std::string& holder,
                     const std::vector<std::string>& vocabulary = {});

// A buffer size: 0, 1, small, around the library's text sizes, or a few thousand bytes.
std::size_t pickBufferSize(FuzzedDataProvider& input);

// The length a caller states for a buffer of `size` bytes: the truth, less, 0, negative.
int32_t pickStatedLength(FuzzedDataProvider& input, std::size_t size);

// Record bytes for a put: from the input, or a large synthetic record.
std::string pickRecord(FuzzedDataProvider& input);

}  // namespace rxk::fuzz
