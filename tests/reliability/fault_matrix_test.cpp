// The fault matrix: every service call the library makes against every transport and service
// fault the fault endpoint plays. For each pair the export returns its documented code and words
// within the timeouts, the process lives on, and a batch accounts for every record: each position
// reads back as success or failure, and nothing reached the service more often than the
// library's own retries explain.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

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
    {"500 JSON", R"({"error":"InternalFailure","status":500})"},
    {"503 JSON", R"({"error":"ServiceUnavailable","status":503})"},
    {"500 empty body", R"({"body":"","status":500})"},
    {"200 empty body", R"({"body":""})", true},
    {"502 HTML body", R"({"body":"<html><body>Bad Gateway</body></html>","status":502})"},
    {"200 HTML body", R"({"body":"<html><body>OK</body></html>"})"},
    {"throttling", R"({"error":"ProvisionedThroughputExceededException","message":"Rate exceeded"})"},
    {"malformed JSON", R"({"body":"{\"ShardId\":"})"},
};

// What a call under a fault works with: its endpoint (null when nothing listens) and the
// last-error text right after the call.
struct Lane {
    const FaultEndpoint* endpoint;
    std::string words;
};

int32_t putRecords(Library& lib, int32_t id, Lane& lane) {
    const int32_t list = lib.CreateListRecord(id);
    for (const char* data : {"record-0", "record-1", "record-2"}) lib.AddRecordToList(id, list, "pk", nullptr, data, 8);
    int32_t put = -7, failed = -7, output = -7;
    const int32_t code = lib.PutRecords(id, list, kStream, &put, &failed, nullptr, &output, "matrix");
    char words[RXK_ERROR_TEXT_BYTES];
    lane.words = lib.GetErrorStr(id, words, sizeof words);  // before the read-back adds its own
    int settled = 0, failures = 0;
    for (int32_t index = 0; index < 3; ++index) {
        unsigned char success = 7;
        if (lib.GetLastResultPutRecords(id, list, index, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr, nullptr) == 0) {
            ++settled;
            failures += success == 0;
        }
    }
    EXPECT_EQ(settled, code < 0 ? 0 : 3) << "after -1 no position reads back; after 0 or 3 every one";
    EXPECT_EQ(output, code < 0 ? 0 : 3);
    if (code >= 0) {
        EXPECT_EQ(code == RXK_SOME_FAILED, failures > 0);
    }
    if (lane.endpoint) {
        const auto requests = lane.endpoint->requests("PutRecords");
        EXPECT_EQ(requests.size(), 1u) << "retries are off: one request";
        for (const auto& request : requests) EXPECT_EQ(request.records.size(), 3u);
    }
    lib.FreeListRecord(id, list);
    return code;
}

int32_t getRecordFromIterator(Library& lib, int32_t id, Lane&) {
    EXPECT_EQ(lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON), RXK_NO_RECORD);
    char data[64];
    int32_t length = -7;
    const int32_t code = lib.GetRecordFromIterator(id, kStream, kShard, nullptr, data, &length);
    if (code == RXK_NO_RECORD) {
        EXPECT_EQ(length, 0);
    }
    lib.StopShardIterator(id, kStream, kShard);
    return code;
}

int32_t listing(Library& lib, int32_t id, int32_t type) {
    char buffer[256];
    int32_t length = sizeof buffer;
    return lib.GetData(id, type, kStream, kShard, buffer, &length, ';');
}
int32_t getRecord(Library& lib, int32_t id, Lane&) {
    char data[64];
    int32_t length = -7;
    return lib.GetRecord(id, kStream, kShard, "1", data, &length);
}
int32_t startShardIterator(Library& lib, int32_t id, Lane&) {
    const int32_t code = lib.StartShardIterator(id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON);
    lib.StopShardIterator(id, kStream, kShard);
    return code;
}

struct Call {
    const char* name;
    const char* operation;  // the request that gets the fault
    int32_t failureCode, emptySuccessCode;
    const char* words;      // the last-error text after a failure (%d: the id); nullptr: left as it was
    int32_t (*run)(Library&, int32_t, Lane&);
};
const Call kCalls[] = {
    // A write answered without accounting for its records is a failed write.
    {"PutRecord", "PutRecord", -1, -1, "id:%d KinesisEnv::putRecord [matrix] error :",
     [](Library& lib, int32_t id, Lane&) { return lib.PutRecord(id, kStream, "pk", nullptr, "single", 6); }},
    {"PutRecords", "PutRecords", -1, -1, "id:%d KinesisEnv::putRecords [matrix] error:", putRecords},
    {"StartShardIterator", "GetShardIterator", 2, 2, nullptr, startShardIterator},
    {"GetRecordFromIterator", "GetRecords", 2, 2, nullptr, getRecordFromIterator},
    {"GetRecord", "GetRecords", -1, -1, nullptr, getRecord},
    {"GetListStreams", "ListStreams", -1, -1, "id:%d KinesisEnv::getListStream error : [",
     [](Library& lib, int32_t id, Lane&) { return listing(lib, id, RXK_LIST_STREAMS); }},
    {"GetListShards", "DescribeStream", -1, -1, "id:%d KinesisEnv::getListShardOrShardDetails ERROR",
     [](Library& lib, int32_t id, Lane&) { return listing(lib, id, RXK_LIST_SHARDS); }},
    {"CreateStream", "CreateStream", -1, 0, "id:%d KinesisEnv::createStream [matrix] with 2 shard error : ",
     [](Library& lib, int32_t id, Lane&) { return lib.CreateStream(id, kStream, 2); }},
};

std::string errorText(Library& lib, int32_t id) {
    char text[RXK_ERROR_TEXT_BYTES] = "";
    return lib.GetErrorStr(id, text, sizeof text);
}

// Catches: a fault that crashes or hangs the host, an undocumented code, a failure that leaves no
// words (or words from another call), a batch with positions that read back nothing, records
// sent more often than the library's own retries explain.
TEST(FaultMatrix, EveryCallUnderEveryFault) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    std::vector<std::unique_ptr<FaultEndpoint>> endpoints;  // one per call, so that the calls of a fault run at once
    for (size_t i = 0; i < std::size(kCalls); ++i) endpoints.push_back(std::make_unique<FaultEndpoint>());
    const int deadPort = FaultEndpoint().port();
    for (const Fault& fault : kFaults) {
        std::vector<int32_t> ids, codes(std::size(kCalls));
        std::vector<Lane> lanes(std::size(kCalls));
        std::vector<std::string> before;
        std::vector<long> millis(std::size(kCalls));
        for (size_t i = 0; i < std::size(kCalls); ++i) {
            // The first GetRecords of a reading belongs to StartShardIterator: only the next is faulted.
            const std::string spare = kCalls[i].run == getRecordFromIterator
                ? R"({"operation":"GetRecords","attempts":[1],"answer":{"builtin":true}},)" : "";
            if (fault.answer)
                endpoints[i]->load(std::string(R"({"streams":[{"name":"matrix","shards":2}],"rules":[)") + spare +
                                   R"({"operation":")" + kCalls[i].operation + R"(","answer":)" + fault.answer + "}]}");
            endpoints[i]->clear();
            lanes[i].endpoint = fault.answer ? endpoints[i].get() : nullptr;
            ServiceEnvironment environment(fault.answer ? endpoints[i]->endpoint() : "http://127.0.0.1:" + std::to_string(deadPort),
                                           ServiceEnvironment::SdkRetries::Off);
            ids.push_back(lib.CreateClient("us-east-1", "AKIDMATRIX", "matrix-secret"));
            EXPECT_EQ(lib.SetParam(ids.back(), "marker-of-an-earlier-failure", "1"), -1);
            before.push_back(errorText(lib, ids.back()));
        }
        std::vector<std::thread> threads;
        for (size_t i = 0; i < std::size(kCalls); ++i)
            threads.emplace_back([&, i] {
                const auto started = std::chrono::steady_clock::now();
                codes[i] = kCalls[i].run(lib, ids[i], lanes[i]);
                millis[i] = long(std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started).count());
            });
        for (auto& thread : threads) thread.join();
        for (size_t i = 0; i < std::size(kCalls); ++i) {
            const Call& call = kCalls[i];
            SCOPED_TRACE(std::string(fault.name) + " x " + call.name);
            EXPECT_EQ(codes[i], fault.emptySuccess ? call.emptySuccessCode : call.failureCode);
            EXPECT_LT(millis[i], fault.boundMs) << "the call outlasted the timeouts";
            const std::string words = lanes[i].words.empty() ? errorText(lib, ids[i]) : lanes[i].words;
            if (codes[i] < 0 && call.words) {
                char head[256];
                std::snprintf(head, sizeof head, call.words, ids[i]);
                EXPECT_EQ(words.rfind(head, 0), 0u) << words;
            } else {
                EXPECT_EQ(words, before[i]) << "a call that didn't fail, or reports no words, changed the last-error text";
            }
            EXPECT_EQ(lib.FreeClient(ids[i]), 0);
        }
    }
}

}  // namespace
}  // namespace rxk::test
