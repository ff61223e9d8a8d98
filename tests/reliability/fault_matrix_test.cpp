// The fault matrix: every service call the library makes against every transport and service
// fault the fault endpoint plays, with the SDK's retries off. For each pair the export returns its
// documented code within the timeouts, leaves its own words in the last-error text (or leaves the
// text alone) and the process lives on. Retries and read-back after a failure are the producer's
// table, the SDK's words and retries the SDK protocol table.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

namespace rxk::test {
namespace {

constexpr char kStream[] = "matrix", kShard[] = "shardId-000000000000";

struct Fault {
    const char* name;
    const char* answer;        // nullptr: nothing listens
    bool emptySuccess = false; // curl takes it for a 2xx without a body
    long boundMs = 2000;       // a stalled answer waits for curl's low-speed window
};
const Fault kFaults[] = {
    {"connection refused", nullptr},
    {"reset before answer", R"({"fault":"reset"})"},
    {"closed in headers", R"({"raw":"HTTP/1.1 200 OK\r\nContent-Len"})", true},
    {"truncated body", R"({"builtin":true,"fault":"truncate","after_bytes":1})"},
    {"stall past timeout", R"({"builtin":true,"fault":"stall","after_bytes":1,"stall_ms":30000})", false, 15000},
    {"503 JSON", R"({"error":"ServiceUnavailable","status":503})"},
    {"200 empty body", R"({"body":""})", true},
    {"200 HTML body", R"({"body":"<html><body>OK</body></html>"})"},
    {"throttling", R"({"error":"ProvisionedThroughputExceededException","message":"Rate exceeded"})"},
};

// What the calls write into (they run one at a time).
char gData[256];
int32_t gLength;

struct Call {
    const char* name;
    const char* rule;       // the request that gets the fault
    int32_t failureCode, emptySuccessCode;
    const char* words;      // the last-error text after a failure (%d: the id); nullptr: left as it was
    int32_t (*run)(Library&, int32_t);
};
// A write answered without accounting for its records is a failed write.
const Call kCalls[] = {
    {"PutRecord", R"("operation":"PutRecord")", -1, -1, "id:%d KinesisEnv::putRecord [matrix] error :",
     [](Library& lib, int32_t id) { return lib.PutRecord(id, kStream, "pk", nullptr, "single", 6); }},
    {"PutRecords", R"("operation":"PutRecords")", -1, -1, "id:%d KinesisEnv::putRecords [matrix] error:", [](Library& lib, int32_t id) {
         const int32_t list = lib.CreateListRecord(id);
         for (const char* data : {"record-0", "record-1", "record-2"}) lib.AddRecordToList(id, list, "pk", nullptr, data, 8);
         return lib.PutRecords(id, list, kStream, nullptr, nullptr, nullptr, nullptr, "matrix");
     }},
    {"StartShardIterator", R"("operation":"GetShardIterator")", 2, 2, nullptr,
     [](Library& lib, int32_t id) { return lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON); }},
    // The first GetRecords of a reading belongs to StartShardIterator: the second gets the fault.
    {"GetRecordFromIterator", R"("operation":"GetRecords","attempts":[2])", 2, 2, nullptr, [](Library& lib, int32_t id) {
         EXPECT_EQ(lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON), RXK_NO_RECORD);
         const int32_t code = lib.GetRecordFromIterator(id, kStream, kShard, nullptr, gData, &(gLength = -7));
         return code == RXK_NO_RECORD && gLength != 0 ? 99 : code;
     }},
    {"GetRecord", R"("operation":"GetRecords")", -1, -1, nullptr,
     [](Library& lib, int32_t id) { return lib.GetRecord(id, kStream, kShard, "1", gData, &(gLength = -7)); }},
    {"GetListStreams", R"("operation":"ListStreams")", -1, -1, "id:%d KinesisEnv::getListStream error : [",
     [](Library& lib, int32_t id) { return lib.GetData(id, RXK_LIST_STREAMS, kStream, kShard, gData, &(gLength = sizeof gData), ';'); }},
    {"GetListShards", R"("operation":"DescribeStream")", -1, -1, "id:%d KinesisEnv::getListShardOrShardDetails ERROR",
     [](Library& lib, int32_t id) { return lib.GetData(id, RXK_LIST_SHARDS, kStream, kShard, gData, &(gLength = sizeof gData), ';'); }},
    {"CreateStream", R"("operation":"CreateStream")", -1, 0, "id:%d KinesisEnv::createStream [matrix] with 2 shard error : ",
     [](Library& lib, int32_t id) { return lib.CreateStream(id, kStream, 2); }},
};

// Catches: a fault that crashes or hangs the host, an undocumented code, a failure that leaves no
// words (or words from another call), a reading that hands out a length with no record.
TEST(FaultMatrix, EveryCallUnderEveryFault) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultEndpoint endpoint;
    const std::string nobody = FaultEndpoint().endpoint();  // its port is free once the tool has gone
    for (const Fault& fault : kFaults)
        for (const Call& call : kCalls) {
            SCOPED_TRACE(std::string(fault.name) + " x " + call.name);
            if (fault.answer)
                endpoint.load(std::string(R"({"streams":[{"name":"matrix","shards":2}],"rules":[{)") + call.rule + R"(,"answer":)" +
                              fault.answer + "}]}");
            ServiceEnvironment environment(fault.answer ? endpoint.endpoint() : nobody, ServiceEnvironment::SdkRetries::Off);
            const int32_t id = lib.CreateClient("us-east-1", "AKIDMATRIX", "matrix-secret");
            EXPECT_EQ(lib.SetParam(id, "marker-of-an-earlier-failure", "1"), -1);
            const std::string before = lib.errorText(id);
            const auto started = std::chrono::steady_clock::now();
            const int32_t code = call.run(lib, id);
            EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(fault.boundMs)) << "the call outlasted the timeouts";
            EXPECT_EQ(code, fault.emptySuccess ? call.emptySuccessCode : call.failureCode);
            const std::string words = lib.errorText(id);
            if (code < 0 && call.words) {
                char head[256];
                std::snprintf(head, sizeof head, call.words, id);
                EXPECT_EQ(words.substr(0, std::strlen(head)), head);
            } else {
                EXPECT_EQ(words, before) << "a call that didn't fail, or reports no words, changed the last-error text";
            }
            EXPECT_EQ(lib.FreeClient(id), 0);
        }
}

}  // namespace
}  // namespace rxk::test
