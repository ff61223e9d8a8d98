// Raw HTTP under the library: the input's bytes after the first are sent as they are (status
// line, headers, framing, body: chunked, truncated, contradictory) in answer to one request,
// then the connection closes. Byte 0 picks the export that makes the request. Whatever comes,
// the export returns a documented code, fills only its buffers and the process goes on.
#include <cstdint>
#include <string>

#include "fuzz_support.h"

namespace {

using rxk::fuzz::GuardedBuffer;
using rxk::fuzz::guarded;

constexpr char kStream[] = "http";
constexpr char kShard[] = "shardId-000000000000";

void expect(const char* what, bool holds) {
    if (!holds) rxk::fuzz::fail(what, "unexpected result");
}

void putRecord(rxk::test::Library& lib, int32_t id) {
    const int32_t result = guarded("PutRecord", [&] { return lib.PutRecord(id, kStream, "pk", nullptr, "data", 4); });
    expect("PutRecord", result == 0 || result == -1);
    GuardedBuffer shard(RXK_ERROR_TEXT_BYTES, "shardId"), sequence(RXK_ERROR_TEXT_BYTES, "sequenceNumber"),
        error(RXK_ERROR_TEXT_BYTES, "error");
    unsigned char success = 7;
    lib.GetLastResultPutRecord(id, nullptr, shard.data(), sequence.data(), &success, nullptr, nullptr, error.data(),
                               nullptr);
}

void putRecords(rxk::test::Library& lib, int32_t id) {
    const int32_t list = lib.CreateListRecord(id);
    lib.AddRecordToList(id, list, "pk", nullptr, "one", 3);
    lib.AddRecordToList(id, list, "pk", nullptr, "two", 3);
    int32_t put = -7, failed = -7;
    const int32_t result =
        guarded("PutRecords", [&] { return lib.PutRecords(id, list, kStream, &put, &failed, nullptr, nullptr, "http"); });
    expect("PutRecords", result == 0 || result == 3 || result == -1);
    for (int32_t index = 0; index < 2; ++index) {
        GuardedBuffer shard(RXK_ERROR_TEXT_BYTES, "shardId"), error(RXK_ERROR_TEXT_BYTES, "error");
        unsigned char success = 7;
        lib.GetLastResultPutRecords(id, list, index, nullptr, shard.data(), nullptr, &success, nullptr, nullptr,
                                    error.data(), nullptr);
    }
    lib.FreeListRecord(id, list);
}

void readShard(rxk::test::Library& lib, int32_t id, std::size_t answerBytes) {
    const int32_t started = guarded("StartShardIterator", [&] {
        return lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON);
    });
    expect("StartShardIterator", started == 0 || started == 2 || started == -1);
    GuardedBuffer data(answerBytes + 1, "record data"), sequence(RXK_POLL_SEQUENCE_BYTES, "sequenceNumber");
    int32_t length = 0;
    for (std::size_t i = 0; i <= answerBytes + 2; ++i) {
        const int32_t result = guarded("GetRecordFromIterator", [&] {
            return lib.GetRecordFromIterator(id, kStream, kShard, sequence.data(), data.data(), &length);
        });
        expect("GetRecordFromIterator", result == 0 || result == 2);
        if (result != 0) break;
    }
    lib.StopShardIterator(id, kStream, kShard);
}

void listStreams(rxk::test::Library& lib, int32_t id, std::size_t answerBytes) {
    GuardedBuffer buffer(answerBytes + 64, "listing");
    int32_t stated = buffer.length();
    const int32_t result = guarded("GetListStreams", [&] { return lib.GetListStreams(id, buffer.data(), &stated); });
    expect("GetListStreams", result == 0 || result == 1 || result == -1);
}

// libcurl before 8.1.0 (Debian 12 ships 7.88.1) reads freed memory when the first header line
// after the status line is folded (begins with a blank): curl issue #11101, outside our code and
// beyond its reach (curl parses before any callback of ours). Such answers are left out until
// the platform's libcurl is fixed; the input that found it is in tests/fuzz/known-issues/.
bool foldsItsFirstHeader(const std::string& raw) {
    const std::size_t lineEnd = raw.find('\n');
    return lineEnd != std::string::npos && lineEnd + 1 < raw.size() &&
           (raw[lineEnd + 1] == ' ' || raw[lineEnd + 1] == '\t');
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rxk::fuzz::session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    static const char* const kOperations[] = {"PutRecord", "PutRecords", "GetRecords", "ListStreams"};
    const int which = data[0] % 4;
    const std::string raw(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (foldsItsFirstHeader(raw)) return 0;

    rxk::fuzz::Session& session = rxk::fuzz::session();
    session.server.resetScript();
    session.server.enqueue(kOperations[which], rxk::test::Reply::rawBytes(raw, true));
    rxk::test::Library& lib = session.library;
    const int32_t id = lib.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
    switch (which) {
    case 0: putRecord(lib, id); break;
    case 1: putRecords(lib, id); break;
    case 2: readShard(lib, id, raw.size()); break;
    default: listStreams(lib, id, raw.size()); break;
    }
    lib.FreeClient(id);
    session.server.resetScript();
    return 0;
}
