// The fault matrix: every service call the library makes, against every transport and service
// fault the fault server can play. For each pair the export returns its documented code and
// words within the configured timeouts, the process lives on, and a batch accounts for every
// record: each position reads back as success or failure, and nothing reached the server more
// often than the library's own retries explain. The table (fault x call -> code, time,
// records) is printed at the end of the run.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <ostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "fault_server.h"
#include "library.h"

namespace rxk::test {
namespace {

using Clock = std::chrono::steady_clock;

// The SDK's low-speed timeout (requestTimeoutMs 3000) ends a stalled answer; a quick fault has
// nothing to wait for.
// curl measures the speed over a window of the last five seconds, so after a first burst of
// bytes a stalled answer is given up some 8 s later.
constexpr Millis kQuickBound{2000};
constexpr Millis kStallBound{15000};
constexpr Millis kStall{30000};

constexpr char kStream[] = "matrix";
constexpr char kShard[] = "shardId-000000000000";
const std::vector<std::string> kBatch = {"record-0", "record-1", "record-2"};
constexpr char kMarker[] = "marker-of-an-earlier-failure";

// ---- the table ----

struct Row {
    std::string fault, call;
    int32_t code;
    long millis;
    std::string records;
    std::string words;
};

class MatrixTable : public ::testing::Environment {
public:
    static void add(Row row) {
        std::lock_guard<std::mutex> lock(mutex());
        rows().push_back(std::move(row));
    }
    void TearDown() override {
        std::lock_guard<std::mutex> lock(mutex());
        if (rows().empty()) return;
        std::printf("\n| fault | call | code | ms | records | words (last-error text) |\n|---|---|---|---|---|---|\n");
        for (const Row& row : rows())
            std::printf("| %s | %s | %d | %ld | %s | %s |\n", row.fault.c_str(), row.call.c_str(), row.code, row.millis,
                        row.records.c_str(), row.words.c_str());
        std::fflush(stdout);
    }

private:
    static std::vector<Row>& rows() {
        static std::vector<Row> all;
        return all;
    }
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
};
[[maybe_unused]] const auto* const kTable = ::testing::AddGlobalTestEnvironment(new MatrixTable);

// ---- faults ----

struct Fault {
    std::string name;
    // The answer for a request whose valid answer would be `valid`.
    std::function<Reply(const Reply& valid)> reply;
    Millis bound = kQuickBound;
    bool refusedConnection = false;
    bool emptySuccess = false;  // a 2xx without a body: the SDK hands out an empty result
};

// Names the fault in test names and messages (instead of its bytes).
void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }

std::vector<Fault> allFaults() {
    return {
        {"connection refused", nullptr, kQuickBound, true},
        {"reset before answer", [](const Reply&) { return Reply::resetConnection(); }},
        // curl takes a status line cut short by the close for a complete 200 without a body.
        {"closed in headers", [](const Reply&) { return Reply::rawBytes("HTTP/1.1 200 OK\r\nContent-Len", true); },
         kQuickBound, false, true},
        {"truncated body", [](const Reply& valid) { return Reply::truncated(valid, valid.body.size() / 2); }},
        {"stall past timeout", [](const Reply& valid) { return Reply::stalled(valid, valid.body.size() / 2, kStall); }, kStallBound},
        {"500 JSON", [](const Reply&) { return Reply::internalFailure(); }},
        {"503 JSON", [](const Reply&) { return Reply::serviceUnavailable(); }},
        {"500 empty body", [](const Reply&) { return Reply::emptyBody(500); }},
        {"200 empty body", [](const Reply&) { return Reply::emptyBody(200); }, kQuickBound, false, true},
        {"502 HTML body", [](const Reply&) { return Reply::htmlBody(502); }},
        {"200 HTML body", [](const Reply&) { return Reply::htmlBody(200); }},
        {"throttling", [](const Reply&) { return Reply::throttling(); }},
        {"malformed JSON", [](const Reply&) { return Reply::malformedJson(200); }},
    };
}

// A port on which nothing listens.
int closedPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(fd);
    return ntohs(address.sin_port);
}

// ---- calls ----

std::string errorText(Library& lib, int32_t id) {
    char buffer[RXK_ERROR_TEXT_BYTES];
    lib.GetErrorStr(id, buffer, sizeof buffer);
    return buffer;
}

struct Context {
    Library& lib;
    FaultServer& server;
    int32_t id;
    bool refused;
};

struct Outcome {
    int32_t code = 0;
    std::string records = "-";
    std::string words;  // the last-error text right after the call
    long millis = 0;
};

struct Call {
    std::string name;
    std::string operation;  // the request that gets the fault
    Reply valid;             // what a healthy service would answer to it
    int32_t failureCode;     // the export's documented code when the request fails
    std::string wordsPrefix; // the last-error text after a failure ("" : left as it was); %d: id
    int32_t emptySuccessCode;
    std::function<Outcome(Context&)> run;
};

Outcome putRecord(Context& context) {
    Outcome outcome;
    outcome.code = context.lib.PutRecord(context.id, kStream, "pk", nullptr, "single", 6);
    return outcome;
}

// The batch: every position must read back as success or failure after 0 or 3, and after -1
// the list holds no results at all (the host learns the whole batch failed). The server must
// have seen each record at most once per request that the library sent.
Outcome putRecords(Context& context) {
    Library& lib = context.lib;
    const int32_t list = lib.CreateListRecord(context.id);
    for (const auto& data : kBatch)
        EXPECT_EQ(lib.AddRecordToList(context.id, list, "pk", nullptr, data.data(), int32_t(data.size())), 0);
    int32_t put = -7, failed = -7, bytes = -7, output = -7;
    Outcome outcome;
    outcome.code = lib.PutRecords(context.id, list, kStream, &put, &failed, &bytes, &output, "matrix");
    outcome.words = errorText(lib, context.id);  // before the read-back adds its own words
    int succeeded = 0, failedPositions = 0, missing = 0;
    for (int32_t index = 0; index < int32_t(kBatch.size()); ++index) {
        unsigned char success = 7;
        char error[RXK_ERROR_TEXT_BYTES];
        const int32_t read = lib.GetLastResultPutRecords(context.id, list, index, nullptr, nullptr, nullptr, &success,
                                                         nullptr, nullptr, error, nullptr);
        if (read != 0) ++missing;
        else if (success == 1) ++succeeded;
        else ++failedPositions;
    }
    outcome.records = std::to_string(succeeded) + " ok, " + std::to_string(failedPositions) + " failed, " +
                      std::to_string(missing) + " without result";
    if (outcome.code == RXK_ERROR) {
        EXPECT_EQ(output, 0);
        EXPECT_EQ(missing, int(kBatch.size()));
    } else if (outcome.code == RXK_OK || outcome.code == RXK_SOME_FAILED) {
        EXPECT_EQ(put, int32_t(kBatch.size()));
        EXPECT_EQ(output, int32_t(kBatch.size()));
        EXPECT_EQ(missing, 0) << "a position reads back neither success nor failure";
        EXPECT_EQ(outcome.code == RXK_SOME_FAILED, failedPositions > 0);
    }
    if (!context.refused) {
        const auto requests = context.server.requests("PutRecords");
        for (const auto& request : requests) EXPECT_EQ(countPutRecordsEntries(request.body), int(kBatch.size()));
        EXPECT_EQ(requests.size(), 1u) << "retries are off: one request, each record once";
    }
    lib.FreeListRecord(context.id, list);
    return outcome;
}

Outcome startShardIterator(Context& context) {
    Outcome outcome;
    outcome.code = context.lib.StartShardIterator(context.id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON);
    context.lib.StopShardIterator(context.id, kStream, kShard);
    return outcome;
}

// The reading starts healthy (the first GetRecords is answered by the tiny Kinesis); the fault
// hits the fetch that GetRecordFromIterator makes.
Outcome getRecordFromIterator(Context& context) {
    Outcome outcome;
    const int32_t started = context.lib.StartShardIterator(context.id, kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON);
    EXPECT_EQ(started, RXK_NO_RECORD);
    char data[64], sequence[RXK_POLL_SEQUENCE_BYTES];
    int32_t length = -7;
    outcome.code = context.lib.GetRecordFromIterator(context.id, kStream, kShard, sequence, data, &length);
    if (outcome.code == RXK_NO_RECORD) {
        EXPECT_EQ(length, 0);
    }
    context.lib.StopShardIterator(context.id, kStream, kShard);
    return outcome;
}

Outcome getRecord(Context& context) {
    char data[64];
    int32_t length = -7;
    Outcome outcome;
    outcome.code = context.lib.GetRecord(context.id, kStream, kShard, sequenceNumber(1).c_str(), data, &length);
    return outcome;
}

Outcome getListStreams(Context& context) {
    char buffer[256];
    int32_t length = sizeof buffer;
    Outcome outcome;
    outcome.code = context.lib.GetListStreams(context.id, buffer, &length);
    return outcome;
}

Outcome getListShards(Context& context) {
    char buffer[256];
    int32_t length = sizeof buffer;
    Outcome outcome;
    outcome.code = context.lib.GetListShards(context.id, kStream, buffer, &length);
    return outcome;
}

Outcome createStream(Context& context) {
    Outcome outcome;
    outcome.code = context.lib.CreateStream(context.id, kStream, 2);
    return outcome;
}

std::vector<Call> allCalls() {
    const std::string stream = kStream;
    RecordedRequest describe;
    describe.body = "{}";
    return {
        // A write answered without accounting for its records is a failed write: nothing is
        // reported as written that the service never confirmed.
        {"PutRecord", "PutRecord", putRecordReply(), RXK_ERROR, "id:%d KinesisEnv::putRecord [" + stream + "] error :",
         RXK_ERROR, putRecord},
        {"PutRecords", "PutRecords", putRecordsReply(int(kBatch.size())), RXK_ERROR,
         "id:%d KinesisEnv::putRecords [" + stream + "] error:", RXK_ERROR, putRecords},
        {"StartShardIterator", "GetShardIterator", shardIteratorReply("iterator"), RXK_NO_RECORD, "", RXK_NO_RECORD,
         startShardIterator},
        {"GetRecordFromIterator", "GetRecords", getRecordsReply({TestRecord("x")}, "next"), RXK_NO_RECORD, "",
         RXK_NO_RECORD, getRecordFromIterator},
        {"GetRecord", "GetRecords", getRecordsReply({TestRecord("x")}, "next"), RXK_ERROR, "", RXK_ERROR, getRecord},
        {"GetListStreams", "ListStreams", listStreamsReply({stream}), RXK_ERROR,
         "id:%d KinesisEnv::getListStream error : [", RXK_ERROR, getListStreams},
        {"GetListShards", "DescribeStream", describeStreamPage(describe, stream, 2, 10), RXK_ERROR,
         "id:%d KinesisEnv::getListShardOrShardDetails ERROR", RXK_ERROR, getListShards},
        {"CreateStream", "CreateStream", Reply::json("{}"), RXK_ERROR,
         "id:%d KinesisEnv::createStream [" + stream + "] with 2 shard error : ", RXK_OK, createStream},
    };
}

std::string withId(const std::string& format, int32_t id) {
    char text[512];
    std::snprintf(text, sizeof text, format.c_str(), id);
    return text;
}

class FaultMatrix : public ::testing::TestWithParam<Fault> {
protected:
    FaultMatrix() : lib_(sharedLibrary()) {
        lib_.InitLogEventCallBack(LogCapture::logSink, nullptr);
        lib_.InititializeInterface();
    }
    Library& lib_;
};

// One call under the fault: its own server and client, so that all calls of a fault run at
// once (a stalled answer costs its timeout once per fault, not once per call).
struct Lane {
    Call call;
    std::unique_ptr<FaultServer> server;
    int32_t id = -1;
    std::string before;
    Outcome outcome;
};

// Catches: a fault that crashes or hangs the host, an undocumented code, a failure that leaves
// no words (or words from another call), a batch with positions that read back nothing, and
// records sent more often than the library's own retries explain.
TEST_P(FaultMatrix, EveryCallReturnsItsDocumentedCodeInTime) {
    const Fault& fault = GetParam();
    const std::string refusedEndpoint = "http://127.0.0.1:" + std::to_string(closedPort());

    // Clients find their endpoint when they are created: set each lane up in turn.
    std::vector<Lane> lanes;
    for (Call& call : allCalls()) {
        Lane lane;
        lane.call = call;
        lane.server = std::make_unique<FaultServer>();
        FaultServer& server = *lane.server;
        if (!fault.refusedConnection) {
            const Reply faulty = fault.reply(call.valid);
            // Only the second GetRecords of an iterator reading is faulted: the first belongs to
            // StartShardIterator.
            const bool spareFirst = call.name == "GetRecordFromIterator";
            server.setHandler(call.operation, [&server, faulty, spareFirst](const RecordedRequest& request) {
                return spareFirst && request.attempt == 1 ? server.builtInReply(request) : faulty;
            });
        }
        ServiceEnvironment environment(fault.refusedConnection ? refusedEndpoint : server.endpoint(),
                                       ServiceEnvironment::SdkRetries::Off);
        lane.id = lib_.CreateClient("us-east-1", "AKIDMATRIX", "matrix-secret");
        ASSERT_GE(lane.id, 0);
        EXPECT_EQ(lib_.SetParam(lane.id, kMarker, "1"), RXK_ERROR);  // leaves a known last-error text
        lane.before = errorText(lib_, lane.id);
        lanes.push_back(std::move(lane));
    }

    std::vector<std::thread> threads;
    for (Lane& lane : lanes) {
        threads.emplace_back([&] {
            Context context{lib_, *lane.server, lane.id, fault.refusedConnection};
            const auto started = Clock::now();
            lane.outcome = lane.call.run(context);
            lane.outcome.millis = long(std::chrono::duration_cast<Millis>(Clock::now() - started).count());
            if (lane.outcome.words.empty()) lane.outcome.words = errorText(lib_, lane.id);
        });
    }
    for (auto& thread : threads) thread.join();

    for (Lane& lane : lanes) {
        const Call& call = lane.call;
        const Outcome& outcome = lane.outcome;
        SCOPED_TRACE(fault.name + " x " + call.name);
        const int32_t expected = fault.emptySuccess ? call.emptySuccessCode : call.failureCode;
        EXPECT_EQ(outcome.code, expected);
        EXPECT_LT(outcome.millis, long(fault.bound.count())) << "the call outlasted the timeouts";
        const std::string& words = outcome.words;
        if (outcome.code == call.failureCode && call.failureCode < 0 && !call.wordsPrefix.empty()) {
            EXPECT_EQ(words.rfind(withId(call.wordsPrefix, lane.id), 0), 0u) << words;
        } else if (outcome.code >= 0) {
            EXPECT_EQ(words, lane.before) << "a call that didn't fail changed the last-error text";
        } else if (call.wordsPrefix.empty()) {
            EXPECT_EQ(words, lane.before) << "this call reports no words of its own";
        }
        MatrixTable::add({fault.name, call.name, outcome.code, outcome.millis, outcome.records,
                          words == lane.before ? "(unchanged)" : words.substr(0, 90)});
        EXPECT_EQ(lib_.FreeClient(lane.id), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultMatrix, ::testing::ValuesIn(allFaults()),
                         [](const ::testing::TestParamInfo<Fault>& info) {
                             std::string name;
                             for (char c : info.param.name) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

// Catches: a batch whose failed positions don't read back as failures with the service's
// words, and a retry that sends again records that had already been accepted.
TEST(FaultMatrixPartialFailure, FailedPositionsReadBackAndOnlyTheyAreSentAgain) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultServer server;
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    for (const int retries : {-1, 2}) {
        SCOPED_TRACE("retry " + std::to_string(retries));
        server.clearRequests();
        // Attempt 1 fails positions 0 and 2, attempt 2 (the retry with those two) fails its
        // position 1, i.e. record 2 again; attempt 3 accepts it.
        server.setHandler("PutRecords", failPutRecordsPositions({{1, {0, 2}}, {2, {1}}}));
        const int32_t id = lib.CreateClient("us-east-1", "AKIDMATRIX", "matrix-secret");
        ASSERT_EQ(lib.SetParam(id, "retry", std::to_string(retries).c_str()), 0);
        const int32_t list = lib.CreateListRecord(id);
        for (const auto& data : kBatch) lib.AddRecordToList(id, list, "pk", nullptr, data.data(), int32_t(data.size()));
        int32_t put = -7, failed = -7;
        const auto started = Clock::now();
        const int32_t code = lib.PutRecords(id, list, kStream, &put, &failed, nullptr, nullptr, "partial");
        const long millis = long(std::chrono::duration_cast<Millis>(Clock::now() - started).count());

        std::map<std::string, int> sent;
        for (const auto& request : server.requests("PutRecords"))
            for (const auto& entry : putRecordsEntries(request.body)) ++sent[entry.data];
        int ok = 0, bad = 0;
        for (int32_t index = 0; index < 3; ++index) {
            unsigned char success = 7;
            char error[RXK_ERROR_TEXT_BYTES] = "";
            ASSERT_EQ(lib.GetLastResultPutRecords(id, list, index, nullptr, nullptr, nullptr, &success, nullptr,
                                                  nullptr, error, nullptr),
                      0);
            (success == 1 ? ok : bad)++;
            if (success == 0) EXPECT_STREQ(error, "Rate exceeded for shard shardId-000000000000.");
            else EXPECT_STREQ(error, "");
        }
        if (retries < 0) {
            EXPECT_EQ(code, RXK_SOME_FAILED);
            EXPECT_EQ(failed, 2);
            EXPECT_EQ(bad, 2);
            EXPECT_EQ(sent, (std::map<std::string, int>{{"record-0", 1}, {"record-1", 1}, {"record-2", 1}}));
        } else {
            EXPECT_EQ(code, RXK_OK);
            EXPECT_EQ(bad, 0);
            // Accepted records are never sent again; each failure explains one more sending.
            EXPECT_EQ(sent, (std::map<std::string, int>{{"record-0", 2}, {"record-1", 1}, {"record-2", 3}}));
        }
        MatrixTable::add({"partial failure, retry " + std::to_string(retries), "PutRecords", code, millis,
                          std::to_string(ok) + " ok, " + std::to_string(bad) + " failed, 0 without result",
                          "sent: r0 x" + std::to_string(sent["record-0"]) + ", r1 x" +
                              std::to_string(sent["record-1"]) + ", r2 x" + std::to_string(sent["record-2"])});
        lib.FreeListRecord(id, list);
        lib.FreeClient(id);
    }
}

// Catches: an unbounded wait under the SDK's default retry strategy. With 503 on every attempt
// the default strategy makes 11 attempts with 25.55 s of backoff in all: long, but bounded.
TEST(FaultMatrixDefaultRetries, ServiceUnavailableEndsWithinTheStrategysTotal) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultServer server;
    ServiceEnvironment environment(server.endpoint(), ServiceEnvironment::SdkRetries::Default);
    server.setHandler("PutRecord", [](const RecordedRequest&) { return Reply::serviceUnavailable(); });
    const int32_t id = lib.CreateClient("us-east-1", "AKIDMATRIX", "matrix-secret");
    const auto started = Clock::now();
    const int32_t code = lib.PutRecord(id, kStream, "pk", nullptr, "single", 6);
    const auto millis = std::chrono::duration_cast<Millis>(Clock::now() - started);
    EXPECT_EQ(code, RXK_ERROR);
    EXPECT_EQ(server.requestCount("PutRecord"), 11);
    EXPECT_GE(millis.count(), 25550);
    EXPECT_LT(millis.count(), 25550 + 11 * int(kQuickBound.count()));
    MatrixTable::add({"503 JSON, default SDK retries", "PutRecord", code, long(millis.count()), "-",
                      "11 attempts: " + errorText(lib, id).substr(0, 70)});
    lib.FreeClient(id);
}

}  // namespace
}  // namespace rxk::test
