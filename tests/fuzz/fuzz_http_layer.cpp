// Raw HTTP under the library: the input's bytes after the first are sent as they are (status
// line, headers, framing, body: chunked, truncated, contradictory) in answer to one request, then
// the connection closes. Byte 0 picks the export that makes the request. Whatever comes, the
// export returns a documented code, fills only its buffers and the process goes on.
#include "fuzz_support.h"

namespace {

using namespace rxk::fuzz;
constexpr char kStream[] = "http", kShard[] = "shardId-000000000000";

// libcurl before 8.1.0 (Debian 12 ships 7.88.1) reads freed memory when the first header line
// after the status line is folded (begins with a blank): curl issue #11101, outside our code and
// beyond its reach. Such answers are left out until the platform's libcurl is fixed; the input
// that found it is in tests/fuzz/known-issues/.
bool foldsItsFirstHeader(const std::string& raw) {
    const size_t lineEnd = raw.find('\n');
    return lineEnd != std::string::npos && lineEnd + 1 < raw.size() && (raw[lineEnd + 1] == ' ' || raw[lineEnd + 1] == '\t');
}

void call(rxk::test::Library& lib, int32_t id, int which, size_t answerBytes) {
    GuardedBuffer shard(RXK_ERROR_TEXT_BYTES, "shardId"), text(answerBytes + 64, "text"), sequence(RXK_POLL_SEQUENCE_BYTES, "sequence");
    unsigned char success = 7;
    int32_t length = text.length();
    if (which == 0) {
        const int32_t result = guarded("PutRecord", [&] { return lib.PutRecord(id, kStream, "pk", nullptr, "data", 4); });
        expect("PutRecord", result == 0 || result == -1);
        lib.GetLastResultPutRecord(id, nullptr, shard.data(), sequence.data(), &success, nullptr, nullptr, text.data(), nullptr);
    } else if (which == 1) {
        const int32_t list = lib.CreateListRecord(id);
        lib.AddRecordToList(id, list, "pk", nullptr, "one", 3);
        lib.AddRecordToList(id, list, "pk", nullptr, "two", 3);
        const int32_t result = guarded("PutRecords", [&] { return lib.PutRecords(id, list, kStream, nullptr, nullptr, nullptr, nullptr, "http"); });
        expect("PutRecords", result == 0 || result == 3 || result == -1);
        for (int32_t index = 0; index < 2; ++index)
            lib.GetLastResultPutRecords(id, list, index, nullptr, shard.data(), nullptr, &success, nullptr, nullptr, text.data(), nullptr);
    } else if (which == 2) {
        const int32_t started = guarded("StartShardIterator", [&] { return lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON); });
        expect("StartShardIterator", started == 0 || started == 2 || started == -1);
        for (size_t i = 0, result = 0; i <= answerBytes + 2 && result == 0; ++i) {
            result = size_t(guarded("GetRecordFromIterator", [&] { return lib.GetRecordFromIterator(id, kStream, kShard, sequence.data(), text.data(), &length); }));
            expect("GetRecordFromIterator", result == 0 || result == 2);
        }
        lib.StopShardIterator(id, kStream, kShard);
    } else {
        const int32_t result = guarded("GetListStreams", [&] { return lib.GetListStreams(id, text.data(), &length); });
        expect("GetListStreams", result == 0 || result == 1 || result == -1);
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* const kOperations[] = {"PutRecord", "PutRecords", "GetRecords", "ListStreams"};
    if (size < 1) return 0;
    const std::string raw(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (foldsItsFirstHeader(raw)) return 0;
    Session& s = session();
    s.server.resetScript();
    s.server.enqueue(kOperations[data[0] % 4], rxk::test::Reply::rawBytes(raw, true));
    const int32_t id = s.library.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
    call(s.library, id, data[0] % 4, raw.size());
    s.library.FreeClient(id);
    s.server.resetScript();
    return 0;
}
