// What every fuzz target shares: the library loaded as the host loads it, an in-process fault
// server as its endpoint, output buffers fenced with guard bytes, sinks and callbacks that read
// every byte the library says it handed over, and ways to pick ids and texts from the input.
#pragma once

#include <algorithm>
#include <limits>
#include <vector>

#include "fast_support.h"
#include "fault_server.h"
#include "library.h"

namespace rxk::fuzz {

inline void checkSinkLine(const char* text, int32_t length) {
    if (text == nullptr || length < -1 || (length >= 0 && std::strlen(text) > size_t(length))) fail("sink", "bad line");
    touch(text, length);
}

inline void setSinks(test::Library& library, bool log, bool trace) {
    library.InitLogEventCallBack(log ? checkSinkLine : nullptr, trace ? checkSinkLine : nullptr);
}

// The process-wide setting, built on first use: the server listens, the SDK makes one attempt
// per call (no backoff slows an execution), the library is loaded for good and initialised.
struct Session {
    test::FaultServer& server;
    test::Library& library;
};
inline Session& session() {
    static Session built = [] {
        static test::FaultServer server;
        static test::ServiceEnvironment environment(server.endpoint(), test::ServiceEnvironment::SdkRetries::Off);
        server.setRecording(false);  // an execution never asks what came; keep memory flat
        // The library follows DescribeStream pages while the service says there are more: the tiny
        // Kinesis keeps streams to the size a real account allows instead of a fuzzed two billion.
        server.setHandler("CreateStream", [](const test::RecordedRequest& request) {
            const auto shards = test::jsonInt(request.body, "ShardCount", 1);
            if (shards < 1 || shards > 500) return test::Reply::error(400, "InvalidArgumentException", "ShardCount out of range.");
            server.addStream(test::jsonString(request.body, "StreamName"), int(shards));
            return test::Reply::emptyBody(200);
        });
        setenv("RXK_LIBRARY", RXK_FUZZ_DEFAULT_LIBRARY, 0);
        test::Library& library = test::sharedLibrary();
        setSinks(library, true, true);
        library.InititializeInterface();
        return Session{server, library};
    }();
    return built;
}

// Runs one export call; anything it throws is a finding (no export of a healthy library throws
// on bad input or a bad answer).
template <typename Call>
auto guarded(const char* exportName, Call&& call) -> decltype(call()) {
    try {
        return call();
    } catch (...) {
        fail(exportName, "threw");
    }
}

// `size` usable bytes between fences of guard bytes; aborts, naming the buffer, if the library
// wrote outside them.
class GuardedBuffer {
public:
    GuardedBuffer(size_t size, const char* name) : size_(size), name_(name), storage_(size + 2 * kFence, char(kGuard)) {}
    ~GuardedBuffer() {
        for (size_t i = 0; i < kFence; ++i)
            if ((unsigned char)storage_[i] != kGuard || (unsigned char)storage_[kFence + size_ + i] != kGuard)
                fail(name_, "written outside its " + std::to_string(size_) + " bytes");
    }
    GuardedBuffer(const GuardedBuffer&) = delete;
    GuardedBuffer& operator=(const GuardedBuffer&) = delete;
    char* data() { return storage_.data() + kFence; }
    size_t size() const { return size_; }
    int32_t length() const { return int32_t(size_); }
    // A text the library wrote must end within the buffer.
    void expectTerminated() { expect(name_, std::find(data(), data() + size_, '\0') != data() + size_); }

private:
    static constexpr size_t kFence = 64;
    static constexpr unsigned char kGuard = 0xA5;
    size_t size_;
    const char* name_;
    std::vector<char> storage_;
};

// The checking PollCallback: reads every byte the library claims to pass.
inline int32_t checkingPollCallback(int32_t, const char* stream, const char* shard, const char* sequenceNumber,
                                    const char* data, int32_t length) {
    if (!stream || !shard || !sequenceNumber || !data || length < 0) fail("PollCallback", "null argument or negative length");
    expect("PollCallback sequence number", std::strlen(sequenceNumber) < RXK_POLL_SEQUENCE_BYTES);
    expect("PollCallback data", std::strlen(data) < RXK_POLL_DATA_BYTES && std::strlen(data) <= size_t(length));
    touch(stream, -1);
    touch(shard, -1);
    return 0;
}

// A client or list id: a known one (created or freed), -1, 0, one past them, the extremes, any.
inline int32_t pickId(FuzzedDataProvider& input, const std::vector<int32_t>& known) {
    switch (input.ConsumeIntegralInRange<int>(0, 9)) {
    case 0: return -1;
    case 1: return 0;
    case 2: return std::numeric_limits<int32_t>::min();
    case 3: return std::numeric_limits<int32_t>::max();
    case 4: return known.empty() ? 1 : *std::max_element(known.begin(), known.end()) + 1;
    case 5: return input.ConsumeIntegral<int32_t>();
    default:
        if (known.empty()) return input.ConsumeIntegralInRange<int32_t>(-2, 3);
        return known[input.ConsumeIntegralInRange<size_t>(0, known.size() - 1)];
    }
}

// A text argument: null, empty, a word of `vocabulary`, input bytes up to ~5,000, or a long run.
inline const char* pickText(FuzzedDataProvider& input, std::string& holder, const std::vector<std::string>& vocabulary = {}) {
    switch (input.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: return nullptr;
    case 1: holder.clear(); return holder.c_str();
    case 2: holder.assign(input.ConsumeIntegralInRange<size_t>(250, 5000), 'x'); return holder.c_str();
    case 3:
    case 4:
        if (!vocabulary.empty()) return (holder = vocabulary[input.ConsumeIntegralInRange<size_t>(0, vocabulary.size() - 1)]).c_str();
        [[fallthrough]];
    default: return (holder = input.ConsumeRandomLengthString(5000)).c_str();
    }
}

// A buffer size: 0, 1, small, around the library's text sizes, or a few thousand bytes.
inline size_t pickBufferSize(FuzzedDataProvider& input) {
    static constexpr size_t kSizes[] = {0, 1, 2, 9, 10, 11, 16, 255, 256, 257, RXK_ERROR_TEXT_BYTES - 1,
                                        RXK_ERROR_TEXT_BYTES, RXK_ERROR_TEXT_BYTES + 88, 4096};
    if (input.ConsumeBool()) return input.ConsumeIntegralInRange<size_t>(0, 6000);
    return kSizes[input.ConsumeIntegralInRange<size_t>(0, std::size(kSizes) - 1)];
}

// The length a caller states for a buffer of `size` bytes: the truth, less, 0, negative.
inline int32_t pickStatedLength(FuzzedDataProvider& input, size_t size) {
    switch (input.ConsumeIntegralInRange<int>(0, 5)) {
    case 0: return 0;
    case 1: return -1;
    case 2: return std::numeric_limits<int32_t>::min();
    case 3: return size > 0 ? input.ConsumeIntegralInRange<int32_t>(0, int32_t(size)) : 0;
    default: return int32_t(size);
    }
}

// Record bytes: from the input, or now and then a large one up to the service's 1 MiB.
inline std::string pickRecord(FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange<int>(0, 15) != 0) return input.ConsumeRandomLengthString(2000);
    const auto size = input.ConsumeIntegralInRange<size_t>(1, 1 << 20);
    return std::string(size, char(input.ConsumeIntegral<uint8_t>()));
}

}  // namespace rxk::fuzz
