#include "fuzz_support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace rxk::fuzz {
namespace {

// Reads `length` bytes (or up to the NUL when the length is unknown) so that AddressSanitizer
// sees a length that overstates the text. Returns a value the optimiser can't drop.
volatile unsigned touchedBytes;

constexpr std::int64_t kMostShardsPerStream = 500;

void touch(const char* text, int32_t length) {
    unsigned sum = 0;
    if (length < 0) length = static_cast<int32_t>(std::strlen(text));
    for (int32_t i = 0; i < length; ++i) sum += static_cast<unsigned char>(text[i]);
    touchedBytes = touchedBytes + sum;
}

void checkSinkLine(const char* sinkName, const char* text, int32_t length) {
    if (text == nullptr) fail(sinkName, "got a null text");
    if (length < -1) fail(sinkName, "got a length below -1");
    if (length >= 0 && std::strlen(text) > static_cast<std::size_t>(length))
        fail(sinkName, "got a text longer than its stated length");
    touch(text, length);
}

void logSink(const char* text, int32_t length) { checkSinkLine("log sink", text, length); }
void traceSink(const char* text, int32_t length) { checkSinkLine("trace sink", text, length); }

// The endpoint and the SDK's retry mode are read when a client is built: set them before the
// first CreateClient, for the life of the process.
Session buildSession() {
    static test::FaultServer server;
    static test::ServiceEnvironment environment(server.endpoint(), test::ServiceEnvironment::SdkRetries::Off);
    server.setRecording(false);  // an execution never asks what came; keep memory flat
    // The library follows DescribeStream pages as long as the service says there are more (no
    // bound, by design): the tiny Kinesis keeps streams to the size a real account allows
    // instead of taking a fuzzed shard count of two billion at its word.
    server.setHandler("CreateStream", [](const test::RecordedRequest& request) {
        const std::string name = test::jsonString(request.body, "StreamName");
        const auto shards = test::jsonInt(request.body, "ShardCount", 1);
        if (shards < 1 || shards > kMostShardsPerStream)
            return test::Reply::error(400, "InvalidArgumentException", "ShardCount out of range.");
        server.addStream(name, static_cast<int>(shards));
        return test::Reply::emptyBody(200);
    });
#ifdef RXK_FUZZ_DEFAULT_LIBRARY
    setenv("RXK_LIBRARY", RXK_FUZZ_DEFAULT_LIBRARY, 0);
#endif
    test::Library& library = test::sharedLibrary();
    setSinks(library, true, true);
    library.InititializeInterface();
    return Session{server, library};
}

}  // namespace

void setSinks(test::Library& library, bool log, bool trace) {
    library.InitLogEventCallBack(log ? logSink : nullptr, trace ? traceSink : nullptr);
}

Session& session() {
    static Session built = buildSession();
    return built;
}

void fail(const char* what, const std::string& detail) {
    std::fprintf(stderr, "rxkinesis fuzz finding: %s: %s\n", what, detail.c_str());
    std::fflush(stderr);
    std::abort();
}

GuardedBuffer::GuardedBuffer(std::size_t size, const char* name)
    : size_(size), name_(name), storage_(size + 2 * kFence, static_cast<char>(kGuard)) {}

void GuardedBuffer::verify() const {
    for (std::size_t i = 0; i < kFence; ++i) {
        if (static_cast<unsigned char>(storage_[i]) != kGuard)
            fail(name_, "a byte before the buffer was written");
        if (static_cast<unsigned char>(storage_[kFence + size_ + i]) != kGuard)
            fail(name_, "a byte after the buffer was written (buffer of " + std::to_string(size_) +
                            " bytes, overrun at +" + std::to_string(i) + ")");
    }
}

void GuardedBuffer::expectTerminated() const {
    const char* begin = storage_.data() + kFence;
    if (std::find(begin, begin + size_, '\0') == begin + size_) fail(name_, "text not terminated within the buffer");
}

int32_t checkingPollCallback(int32_t, const char* stream, const char* shard, const char* sequenceNumber,
                             const char* data, int32_t length) {
    if (stream == nullptr || shard == nullptr || sequenceNumber == nullptr || data == nullptr)
        fail("PollCallback", "got a null argument");
    if (length < 0) fail("PollCallback", "got a negative length");
    if (std::strlen(sequenceNumber) >= RXK_POLL_SEQUENCE_BYTES) fail("PollCallback", "sequence number too long");
    const std::size_t textLength = std::strlen(data);
    if (textLength >= RXK_POLL_DATA_BYTES) fail("PollCallback", "data text beyond the poll buffer");
    if (textLength > static_cast<std::size_t>(length)) fail("PollCallback", "data text longer than the record");
    touch(stream, -1);
    touch(shard, -1);
    return 0;
}

int32_t pickId(FuzzedDataProvider& input, const std::vector<int32_t>& known) {
    switch (input.ConsumeIntegralInRange<int>(0, 9)) {
    case 0: return -1;
    case 1: return 0;
    case 2: return std::numeric_limits<int32_t>::min();
    case 3: return std::numeric_limits<int32_t>::max();
    case 4: return known.empty() ? 1 : *std::max_element(known.begin(), known.end()) + 1;
    case 5: return input.ConsumeIntegral<int32_t>();
    default:
        if (known.empty()) return input.ConsumeIntegralInRange<int32_t>(-2, 3);
        return known[input.ConsumeIntegralInRange<std::size_t>(0, known.size() - 1)];
    }
}

const char* pickText(FuzzedDataProvider& input, std::string& holder, const std::vector<std::string>& vocabulary) {
    switch (input.ConsumeIntegralInRange<int>(0, 7)) {
    case 0: return nullptr;
    case 1: holder.clear(); return holder.c_str();
    case 2: holder.assign(input.ConsumeIntegralInRange<std::size_t>(250, 5000), 'x'); return holder.c_str();
    case 3:
    case 4:
        if (!vocabulary.empty()) {
            holder = vocabulary[input.ConsumeIntegralInRange<std::size_t>(0, vocabulary.size() - 1)];
            return holder.c_str();
        }
        [[fallthrough]];
    default:
        holder = input.ConsumeRandomLengthString(5000);
        return holder.c_str();
    }
}

std::size_t pickBufferSize(FuzzedDataProvider& input) {
    static constexpr std::size_t kSizes[] = {0, 1, 2, 9, 10, 11, 16, 255, 256, 257,
                                            RXK_ERROR_TEXT_BYTES - 1, RXK_ERROR_TEXT_BYTES,
                                            RXK_ERROR_TEXT_BYTES + 88, 4096};
    if (input.ConsumeBool()) return input.ConsumeIntegralInRange<std::size_t>(0, 6000);
    return kSizes[input.ConsumeIntegralInRange<std::size_t>(0, std::size(kSizes) - 1)];
}

int32_t pickStatedLength(FuzzedDataProvider& input, std::size_t size) {
    const auto truth = static_cast<int32_t>(size);
    switch (input.ConsumeIntegralInRange<int>(0, 5)) {
    case 0: return 0;
    case 1: return -1;
    case 2: return std::numeric_limits<int32_t>::min();
    case 3: return truth > 0 ? input.ConsumeIntegralInRange<int32_t>(0, truth) : 0;
    default: return truth;
    }
}

std::string pickRecord(FuzzedDataProvider& input) {
    if (input.ConsumeIntegralInRange<int>(0, 15) == 0) {
        // A large record, up to the service's 1 MiB: lengths near the limits without a large input.
        const auto size = input.ConsumeIntegralInRange<std::size_t>(1, 1 << 20);
        return std::string(size, static_cast<char>(input.ConsumeIntegral<uint8_t>()));
    }
    return input.ConsumeRandomLengthString(2000);
}

}  // namespace rxk::fuzz
