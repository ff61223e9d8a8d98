// Every service answer the library parses. The input is
//   byte 0: the operation (PutRecord, PutRecords, GetShardIterator, GetRecords, ListStreams,
//           DescribeStream, CreateStream), byte 1: the HTTP status, byte 2: how to drive the
//           exports (records in a batch, retries, reading style, buffer size),
//   the rest: the JSON body the fault server answers that operation with.
// The exports that make that call are driven with every output buffer fenced and sized as the
// header tells a host to size it.
#include "fuzz_support.h"

namespace {

using namespace rxk::fuzz;
constexpr char kStream[] = "answers", kShard[] = "shardId-000000000000";
const char* const kOperations[] = {"PutRecord", "PutRecords", "GetShardIterator", "GetRecords", "ListStreams", "DescribeStream", "CreateStream"};

// Statuses with a body; 1xx, 204 and 304 forbid one and are left to the HTTP-layer target.
int statusOf(uint8_t selector) {
    static constexpr int kCommon[] = {200, 200, 200, 200, 400, 500, 503, 429};
    const int status = selector < 128 ? kCommon[selector % 8] : 200 + (selector - 128) * 399 / 127;
    return status == 204 || status == 205 || status == 304 ? 200 : status;
}

// listId -1: the single put's outcome.
void readBack(rxk::test::Library& lib, int32_t id, int32_t list, int32_t index) {
    GuardedBuffer stream(RXK_ERROR_TEXT_BYTES, "streamName"), shard(RXK_ERROR_TEXT_BYTES, "shardId"),
        sequence(RXK_ERROR_TEXT_BYTES, "sequenceNumber"), key(RXK_ERROR_TEXT_BYTES, "partitionKey"),
        hashKey(RXK_ERROR_TEXT_BYTES, "explicitHashKey"), error(RXK_ERROR_TEXT_BYTES, "error");
    unsigned char success = 7;
    uint32_t length = 0;
    const int32_t result = guarded("GetLastResult", [&] {
        return list < 0 ? lib.GetLastResultPutRecord(id, stream.data(), shard.data(), sequence.data(), &success, key.data(),
                                                     hashKey.data(), error.data(), &length)
                        : lib.GetLastResultPutRecords(id, list, index, stream.data(), shard.data(), sequence.data(), &success,
                                                      key.data(), hashKey.data(), error.data(), &length);
    });
    expect("GetLastResult", result == -1 || (result == 0 && (success == 0 || success == 1)));
}

// drive: bits 0-2 records in a batch - 1, bits 3-4 the retry parameter, bits 5-6 the reading
// style (record by record, poll, one-shot, next then record), bit 7 a small listing buffer.
void run(rxk::test::Library& lib, int32_t id, const std::string& operation, uint8_t drive, size_t bodyBytes) {
    const int records = 1 + (drive & 7), reading = (drive >> 5) & 3;
    if (operation == "PutRecord") {
        const int32_t result = guarded("PutRecord", [&] { return lib.PutRecord(id, kStream, "pk", nullptr, "data", 4); });
        expect("PutRecord", result == 0 || result == -1);
        readBack(lib, id, -1, 0);
    } else if (operation == "PutRecords") {
        const int32_t list = lib.CreateListRecord(id);
        for (int i = 0; i < records; ++i) lib.AddRecordToList(id, list, "pk", nullptr, "record", 6);
        int32_t put = -7, failed = -7, bytes = -7, output = -7;
        const int32_t result = guarded("PutRecords", [&] { return lib.PutRecords(id, list, kStream, &put, &failed, &bytes, &output, "fuzz"); });
        // The failed count is the answer's own FailedRecordCount, which may lie: only what the library knows is checked.
        expect("PutRecords", result == -1 || ((result == 0 || result == 3) && put == records));
        for (int index = -1; index <= records; ++index) readBack(lib, id, list, index);
        GuardedBuffer counters(RXK_ERROR_TEXT_BYTES + 88, "GetParam counters");
        for (const char* name : {"retryattemptPutRecords", "retryattemptFailRecords"}) {
            expect("GetParam counters", lib.GetParam(id, name, counters.data()) == 0);
            counters.expectTerminated();
        }
    } else if (operation == "GetShardIterator" || operation == "GetRecords") {
        // The longest record the answer can carry is shorter than the answer itself.
        GuardedBuffer data(bodyBytes + 1, "record data"), sequence(RXK_POLL_SEQUENCE_BYTES, "sequenceNumber");
        int32_t length = -7;
        if (reading == 2) {
            const int32_t result = guarded("GetRecord", [&] { return lib.GetRecord(id, kStream, kShard, "1", data.data(), &length); });
            expect("GetRecord", result == 0 || result == -1);
            if (result == 0) data.expectTerminated();
            return;
        }
        const int32_t started = guarded("StartShardIterator", [&] { return lib.StartShardIterator(id, kStream, kShard, nullptr, 10000, RXK_TRIM_HORIZON); });
        expect("StartShardIterator", started == 0 || started == 2 || started == -1);
        if (reading == 1) {
            const int32_t result = guarded("PollShardIterator", [&] { return lib.PollShardIterator(id, kStream, kShard, checkingPollCallback); });
            expect("PollShardIterator", result == 0 || result == 2);
        } else {
            const int32_t next = reading == 3 ? guarded("NextShardIterator", [&] { return lib.NextShardIterator(id, kStream, kShard); }) : 0;
            expect("NextShardIterator", next == 0 || next == 2);
            // Each answer holds fewer records than bytes: the loop ends with 2 when the answers run dry.
            for (size_t i = 0; i <= bodyBytes + 2; ++i) {
                const int32_t result = guarded("GetRecordFromIterator", [&] {
                    return lib.GetRecordFromIterator(id, kStream, kShard, sequence.data(), data.data(), &length);
                });
                expect("GetRecordFromIterator", result == 0 || result == 2);
                if (result != 0) break;
                data.expectTerminated();
                sequence.expectTerminated();
                expect("GetRecordFromIterator length", length >= 0 && std::strlen(data.data()) <= size_t(length));
            }
        }
        expect("StopShardIterator", lib.StopShardIterator(id, kStream, kShard) == 0);
    } else if (operation == "CreateStream") {
        const int32_t result = guarded("CreateStream", [&] { return lib.CreateStream(id, kStream, 2); });
        expect("CreateStream", result == 0 || result == -1);
    } else {
        for (int32_t type : {RXK_LIST_STREAMS, RXK_LIST_SHARDS, RXK_SHARD_DETAILS}) {
            if ((operation == "ListStreams") != (type == RXK_LIST_STREAMS)) continue;
            GuardedBuffer buffer(drive & 0x80 ? 16 : 2 * bodyBytes + 64, "listing buffer");
            int32_t stated = buffer.length();
            const int32_t result = guarded("GetData", [&] { return lib.GetData(id, type, kStream, kShard, buffer.data(), &stated, ';'); });
            expect("GetData", result == -1 || ((result == 0 || result == 1) && stated >= 0 && stated <= buffer.length()));
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const std::string operation = kOperations[data[0] % std::size(kOperations)], body(reinterpret_cast<const char*>(data) + 3, size - 3);
    const int status = statusOf(data[1]);
    rxk::test::FaultServer& server = session().server;
    rxk::test::Library& lib = session().library;
    server.resetScript();
    // Reading answers once (a shard that answers the same batch for ever is never dry, and poll
    // reads until it is); the others answer every attempt, retries and further pages included.
    if (operation == "GetShardIterator" || operation == "GetRecords") server.enqueue(operation, rxk::test::Reply::json(body, status));
    else server.setHandler(operation, [body, status](const rxk::test::RecordedRequest&) { return rxk::test::Reply::json(body, status); });
    const int32_t id = lib.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
    expect("CreateClient refused a valid client", id >= 0);
    const int retries = (data[2] >> 3) & 3;
    if (retries > 0) lib.SetParam(id, "retry", std::to_string(retries).c_str());
    run(lib, id, operation, data[2], body.size());
    lib.FreeClient(id);
    server.resetScript();
    return 0;
}
