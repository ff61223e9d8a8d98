// Every service answer the library parses. The input is
//   byte 0: the operation (PutRecord, PutRecords, GetShardIterator, GetRecords, ListStreams,
//           DescribeStream, CreateStream), byte 1: the HTTP status, byte 2: how to drive the
//           exports (records in a batch, retries, reading style, buffer size),
//   the rest: the JSON body the fault server answers every request of that operation with.
// The library is driven through the exports that make that call, and every output buffer is
// fenced and sized as the header tells a host to size it.
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz_support.h"

namespace {

using rxk::fuzz::GuardedBuffer;
using rxk::fuzz::guarded;

const char* const kOperations[] = {"PutRecord", "PutRecords", "GetShardIterator", "GetRecords",
                                   "ListStreams", "DescribeStream", "CreateStream"};
constexpr int kOperationCount = sizeof kOperations / sizeof kOperations[0];

constexpr char kStream[] = "answers";
constexpr char kShard[] = "shardId-000000000000";

// Statuses with a body; 1xx, 204 and 304 forbid one and are left to the HTTP-layer target.
int statusOf(uint8_t selector) {
    static constexpr int kCommon[] = {200, 200, 200, 200, 400, 500, 503, 429};
    if (selector < 128) return kCommon[selector % 8];
    const int status = 200 + (selector - 128) * 399 / 127;
    return status == 204 || status == 205 || status == 304 ? 200 : status;
}

struct Drive {
    int records;    // 1..8 records in a batch
    int retries;    // 0..3: the client's "retry" parameter (0 means none)
    int reading;    // 0: record by record, 1: poll, 2: one-shot read, 3: next then record
    bool smallBuffer;
};

Drive driveOf(uint8_t byte) {
    return Drive{1 + (byte & 7), (byte >> 3) & 3, (byte >> 5) & 3, (byte & 0x80) != 0};
}

class AnswerRun {
public:
    AnswerRun(const std::string& body, const Drive& drive)
        : lib_(rxk::fuzz::session().library), body_(body), drive_(drive) {
        id_ = lib_.CreateClient("us-east-1", "AKIDFUZZ", "fuzz-secret");
        if (id_ < 0) rxk::fuzz::fail("CreateClient", "refused a valid client");
        if (drive_.retries > 0) lib_.SetParam(id_, "retry", std::to_string(drive_.retries).c_str());
    }
    ~AnswerRun() { lib_.FreeClient(id_); }

    void run(const std::string& operation) {
        if (operation == "PutRecord") putRecord();
        else if (operation == "PutRecords") putRecords();
        else if (operation == "GetShardIterator" || operation == "GetRecords") read();
        else if (operation == "ListStreams") listing(RXK_LIST_STREAMS);
        else if (operation == "DescribeStream") describe();
        else createStream();
    }

private:
    void putRecord() {
        const int32_t result =
            guarded("PutRecord", [&] { return lib_.PutRecord(id_, kStream, "pk", nullptr, "data", 4); });
        expect("PutRecord", result == 0 || result == -1);
        readBack(-1, 0);
    }

    void putRecords() {
        const int32_t list = lib_.CreateListRecord(id_);
        for (int i = 0; i < drive_.records; ++i) lib_.AddRecordToList(id_, list, "pk", nullptr, "record", 6);
        int32_t put = -7, failed = -7, bytes = -7, output = -7;
        const int32_t result = guarded("PutRecords", [&] {
            return lib_.PutRecords(id_, list, kStream, &put, &failed, &bytes, &output, "fuzz");
        });
        expect("PutRecords", result == 0 || result == 3 || result == -1);
        // The failed count is the service's own FailedRecordCount, which an answer may misstate:
        // only what the library itself knows is checked.
        if (result == 0 || result == 3) expect("PutRecords put", put == drive_.records);
        for (int index = -1; index <= drive_.records; ++index) readBack(list, index);
        GuardedBuffer counters(RXK_ERROR_TEXT_BYTES + 88, "GetParam counters");
        for (const char* name : {"retryattemptPutRecords", "retryattemptFailRecords"}) {
            expect("GetParam counters", lib_.GetParam(id_, name, counters.data()) == 0);
            counters.expectTerminated();
        }
        lib_.FreeListRecord(id_, list);
    }

    // listId -1: the single put's outcome.
    void readBack(int32_t list, int32_t index) {
        GuardedBuffer stream(RXK_ERROR_TEXT_BYTES, "read-back streamName");
        GuardedBuffer shard(RXK_ERROR_TEXT_BYTES, "read-back shardId");
        GuardedBuffer sequence(RXK_ERROR_TEXT_BYTES, "read-back sequenceNumber");
        GuardedBuffer key(RXK_ERROR_TEXT_BYTES, "read-back partitionKey");
        GuardedBuffer hashKey(RXK_ERROR_TEXT_BYTES, "read-back explicitHashKey");
        GuardedBuffer error(RXK_ERROR_TEXT_BYTES, "read-back error");
        unsigned char success = 7;
        uint32_t length = 0;
        const int32_t result = guarded("GetLastResultPutRecords", [&] {
            return list < 0 ? lib_.GetLastResultPutRecord(id_, stream.data(), shard.data(), sequence.data(),
                                                          &success, key.data(), hashKey.data(), error.data(),
                                                          &length)
                            : lib_.GetLastResultPutRecords(id_, list, index, stream.data(), shard.data(),
                                                           sequence.data(), &success, key.data(), hashKey.data(),
                                                           error.data(), &length);
        });
        expect("GetLastResult", result == 0 || result == -1);
        if (result == 0) expect("GetLastResult success flag", success == 0 || success == 1);
    }

    void read() {
        // The longest record the answer can carry is shorter than the answer itself.
        GuardedBuffer data(body_.size() + 1, "record data");
        GuardedBuffer sequence(RXK_POLL_SEQUENCE_BYTES, "record sequenceNumber");
        int32_t length = -7;
        if (drive_.reading == 2) {
            const int32_t result = guarded("GetRecord", [&] {
                return lib_.GetRecord(id_, kStream, kShard, "1", data.data(), &length);
            });
            expect("GetRecord", result == 0 || result == -1);
            if (result == 0) data.expectTerminated();
            return;
        }
        const int32_t started = guarded("StartShardIterator", [&] {
            return lib_.StartShardIterator(id_, kStream, kShard, nullptr, 10000, RXK_TRIM_HORIZON);
        });
        expect("StartShardIterator", started == 0 || started == 2 || started == -1);
        if (drive_.reading == 1) {
            const int32_t result = guarded("PollShardIterator", [&] {
                return lib_.PollShardIterator(id_, kStream, kShard, rxk::fuzz::checkingPollCallback);
            });
            expect("PollShardIterator", result == 0 || result == 2);
        } else {
            if (drive_.reading == 3) {
                const int32_t next = guarded("NextShardIterator", [&] { return lib_.NextShardIterator(id_, kStream, kShard); });
                expect("NextShardIterator", next == 0 || next == 2);
            }
            // Each answer holds fewer records than bytes; the loop ends with 2 at the latest when
            // the answers run dry, which every bounded answer does.
            for (std::size_t i = 0; i <= body_.size() + 2; ++i) {
                const int32_t result = guarded("GetRecordFromIterator", [&] {
                    return lib_.GetRecordFromIterator(id_, kStream, kShard, sequence.data(), data.data(), &length);
                });
                expect("GetRecordFromIterator", result == 0 || result == 2);
                if (result != 0) break;
                data.expectTerminated();
                sequence.expectTerminated();
                expect("GetRecordFromIterator length", length >= 0 && std::strlen(data.data()) <= std::size_t(length));
            }
        }
        expect("StopShardIterator", lib_.StopShardIterator(id_, kStream, kShard) == 0);
    }

    void listing(int32_t type) {
        GuardedBuffer buffer(drive_.smallBuffer ? 16 : 2 * body_.size() + 64, "listing buffer");
        int32_t stated = buffer.length();
        const int32_t result = guarded("GetData", [&] {
            return lib_.GetData(id_, type, kStream, kShard, buffer.data(), &stated, ';');
        });
        expect("GetData", result == 0 || result == 1 || result == -1);
        if (result >= 0) expect("GetData length", stated >= 0 && stated <= buffer.length());
    }

    void describe() {
        listing(RXK_LIST_SHARDS);
        listing(RXK_SHARD_DETAILS);
    }

    void createStream() {
        const int32_t result = guarded("CreateStream", [&] { return lib_.CreateStream(id_, kStream, 2); });
        expect("CreateStream", result == 0 || result == -1);
    }

    static void expect(const char* what, bool holds) {
        if (!holds) rxk::fuzz::fail(what, "unexpected result");
    }

    rxk::test::Library& lib_;
    const std::string& body_;
    Drive drive_;
    int32_t id_ = -1;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    rxk::fuzz::session();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const std::string operation = kOperations[data[0] % kOperationCount];
    const int status = statusOf(data[1]);
    const Drive drive = driveOf(data[2]);
    const std::string body(reinterpret_cast<const char*>(data) + 3, size - 3);

    rxk::test::FaultServer& server = rxk::fuzz::session().server;
    server.resetScript();
    // Reading answers once (a shard that answers the same batch for ever is never dry, and poll
    // reads until it is); the others answer every attempt, retries and further pages included.
    if (operation == "GetShardIterator" || operation == "GetRecords") {
        server.enqueue(operation, rxk::test::Reply::json(body, status));
    } else {
        server.setHandler(operation, [body, status](const rxk::test::RecordedRequest&) {
            return rxk::test::Reply::json(body, status);
        });
    }
    AnswerRun(body, drive).run(operation);
    server.resetScript();
    return 0;
}
