// The exports' argument handling without a service: only calls that answer before any request
// (ids of every kind, null, empty and long texts, stated lengths that lie, parameters, record
// lists, reads without a reading state, listings of no type or without names), up to 4 a run,
// every output fenced with guard bytes. One client lives for the whole process.
#include "fuzz_support.h"

namespace {

using namespace rxk::fuzz;
namespace test = rxk::test;
const std::vector<std::string> kParameters = {"retry", "RETRY", "retryattemptshow", "maxputrow", "maxputlen", "sessiontoken",
                                              "retryattemptPutRecords", "retryattemptFailRecords", "delimiter", "retr"};
const std::vector<std::string> kNumbers = {"0", "-1", "1", "500", "2147483647", "99999999999999999999", "abc", ""};

int32_t client(test::Library& library) {
    static const int32_t id = [&] {
        setenv("AWS_ENDPOINT_URL_KINESIS", "http://127.0.0.1:9", 1);  // never reached: nothing here sends
        setSinks(library, true, true);
        library.InititializeInterface();
        std::atexit([] { rxk::test::sharedLibrary().FreeClient(client(rxk::test::sharedLibrary())); rxk::test::sharedLibrary().CloseInterface(); });
        return library.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
    }();
    return id;
}

// Writes into a fenced buffer of a picked size through `write(buffer, statedLength)`; an error
// text is always written and terminated, a listing refused for a bad id writes nothing.
template <typename Write>
void intoBuffer(FuzzedDataProvider& in, const char* name, bool alwaysWritten, Write&& write) {
    GuardedBuffer buffer(pickBufferSize(in), name);
    const int32_t stated = pickStatedLength(in, buffer.size());
    write(buffer.data(), stated);
    if (stated > 0 && alwaysWritten) buffer.expectTerminated();
}

void readOutcome(test::Library& lib, FuzzedDataProvider& in, int32_t id, int32_t list) {
    GuardedBuffer stream(RXK_ERROR_TEXT_BYTES, "stream"), shard(RXK_ERROR_TEXT_BYTES, "shard"), sequence(RXK_ERROR_TEXT_BYTES, "sequence"),
        key(RXK_ERROR_TEXT_BYTES, "key"), hash(RXK_ERROR_TEXT_BYTES, "hash"), error(RXK_ERROR_TEXT_BYTES, "error");
    unsigned char success = 0;
    uint32_t length = 0;
    const auto mask = in.ConsumeIntegral<uint8_t>();
    const auto pick = [mask](int bit, GuardedBuffer& buffer) { return mask & (1u << bit) ? nullptr : buffer.data(); };
    if (in.ConsumeBool())
        lib.GetLastResultPutRecord(id, pick(0, stream), pick(1, shard), pick(2, sequence), mask & 8 ? nullptr : &success, pick(4, key), pick(5, hash), pick(6, error), mask & 128 ? nullptr : &length);
    else
        lib.GetLastResultPutRecords(id, list, in.ConsumeIntegral<int32_t>(), pick(0, stream), pick(1, shard), pick(2, sequence), mask & 8 ? nullptr : &success, pick(4, key), pick(5, hash), pick(6, error), mask & 128 ? nullptr : &length);
}

void readWithoutState(test::Library& lib, FuzzedDataProvider& in, int32_t id) {
    std::string stream, shard;
    const char* streamName = pickText(in, stream, {"s"});
    const char* shardId = pickText(in, shard, {"shardId-000000000000"});
    GuardedBuffer sequence(RXK_POLL_SEQUENCE_BYTES, "sequenceNumber"), data(RXK_POLL_DATA_BYTES, "data");
    int32_t length = in.ConsumeIntegral<int32_t>();
    int32_t result = -4;  // or -1 for a bad id
    switch (in.ConsumeIntegralInRange<int>(0, 3)) {
        case 0: result = lib.GetRecordFromIterator(id, streamName, shardId, sequence.data(), data.data(), &length); break;
        case 1: result = lib.NextShardIterator(id, streamName, shardId); break;
        case 2: result = lib.PollShardIterator(id, streamName, shardId, checkingPollCallback); break;
        default: result = lib.StopShardIterator(id, streamName, shardId);
    }
    expect("a read without a reading state", result == -4 || result == -1);
}

void call(test::Library& lib, FuzzedDataProvider& in, std::vector<int32_t>& lists) {
    const int32_t id = pickId(in, {client(lib)});
    const int32_t list = pickId(in, lists);
    std::string first, second;
    switch (in.ConsumeIntegralInRange<int>(0, 9)) {
        case 0: intoBuffer(in, "error text", true, [&](char* buffer, int32_t length) { lib.GetErrorStr(id, buffer, length); }); break;
        case 1: intoBuffer(in, "global error text", true, [&](char* buffer, int32_t length) { lib.GetGlobalErrorStr(buffer, length); }); break;
        case 2: lib.SetParam(id, pickText(in, first, kParameters), pickText(in, second, kNumbers)); break;
        case 3: {
            GuardedBuffer value(RXK_ERROR_TEXT_BYTES + 88, "parameter");
            if (lib.GetParam(id, pickText(in, first, kParameters), value.data()) == 0) value.expectTerminated();
            break;
        }
        case 4: lists.push_back(lib.CreateListRecord(id)); break;
        case 5: {
            const std::string record = in.ConsumeRandomLengthString(2000);
            lib.AddRecordToList(id, list, pickText(in, first, {"k"}), pickText(in, second, {"0"}), record.data(), pickStatedLength(in, record.size()));
            break;
        }
        case 6: {
            uint32_t count = 0, bytes = 0;
            lib.GetListRecordInfo(id, list, in.ConsumeBool() ? &count : nullptr, in.ConsumeBool() ? &bytes : nullptr);
            in.ConsumeBool() ? lib.ClearListRecord(id, list) : lib.FreeListRecord(id, list);
            break;
        }
        case 7: readOutcome(lib, in, id, list); break;
        case 8: readWithoutState(lib, in, id); break;
        default: {  // a listing of no type, or one lacking a name it needs: nothing is asked
            constexpr int32_t kTypes[] = {-1, 3, INT32_MIN, INT32_MAX};
            const int choice = in.ConsumeIntegralInRange<int>(0, 2);
            const int32_t type = choice == 0 ? kTypes[in.ConsumeIntegralInRange<int>(0, 3)] : choice;
            const char* stream = choice == 1 ? nullptr : pickText(in, first);
            const char* shard = choice == 0 ? pickText(in, second) : nullptr;
            intoBuffer(in, "listing", false, [&](char* buffer, int32_t length) { lib.GetData(id, type, stream, shard, buffer, &length, ';'); });
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    setenv("RXK_LIBRARY", RXK_FUZZ_DEFAULT_LIBRARY, 0);
    rxk::test::Library& lib = rxk::test::sharedLibrary();
    FuzzedDataProvider in(data, size);
    std::vector<int32_t> lists;
    for (int calls = 0; calls < 4 && in.remaining_bytes() > 0; ++calls) guarded("export", [&] { call(lib, in, lists); return 0; });
    lib.FreeListRecord(client(lib), -1);
    return 0;
}
