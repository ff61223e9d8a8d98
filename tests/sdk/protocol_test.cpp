// The SDK layer as the host meets it through the exports. Against the fault endpoint, its
// protocol and errors: the words a failure leaves in the last-error text, which answers are
// retried, how often and after how long, timeouts, dropped and reset connections, keep-alive and
// the connection pool. Wrong numbers here mean duplicate writes, a bad request hammered for 25 s,
// a hung host thread, or a throttled write given up at once. Against the emulator, the seven
// operations it uses.
#include "fault_endpoint.h"
#include "kinesalite.h"
#include "library.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

namespace rxk::test {
namespace {

struct Call { const char* operation; int32_t (*run)(Library&, int32_t id, int32_t list); };
const Call kPut{"PutRecord", [](Library& lib, int32_t id, int32_t) { return lib.PutRecord(id, "s", "k", nullptr, "data", 4); }};
const Call kBatch{"PutRecords", [](Library& lib, int32_t id, int32_t list) {
    lib.AddRecordToList(id, list, "k", nullptr, "data", 4);
    return lib.PutRecords(id, list, "s", nullptr, nullptr, nullptr, nullptr, "pool");
}};

struct Case {
    const char* name;
    const char* script;      // "%DATE%" becomes an HTTP date two hours ahead of ours
    const char* attempts;    // nullptr: the SDK's default retries; else standard mode, AWS_MAX_ATTEMPTS
    int32_t code;
    const char* words;       // the SDK's words after "error :" (a trailing "..." : their start)
    int requests;
    long atLeastMs = 0;      // backoff the retries must have waited
    Call call = kPut;
    int calls = 1;
    bool parallel = false;   // each call on a thread of its own
    int mostConnections = 0; // 0: not checked
    bool deadPort = false;   // nothing listens
};

// A rule for any operation: RULE(attempts filter, answer).
#define RULE(attempts, answer) R"({"operation":"*",)" attempts R"("answer":)" answer "}"
#define FIRST R"("attempts":[1],)"
#define SECOND R"("attempts":[2],)"
const Case kRows[] = {
    {"service error: its message, not retried", "[" RULE("", R"({"error":"ResourceNotFoundException","message":"Stream s not found."})") "]",
     nullptr, -1, "Stream s not found.", 1},
    {"unknown name: never retried, whatever the status", "[" RULE("", R"({"error":"NewException","message":"m","status":500})") "]",
     nullptr, -1, "Unable to parse ExceptionName: NewException Message: m", 1},
    {"name after # is looked up", "[" RULE("", R"({"error":"com.amazonaws.kinesis.v20131202#ResourceNotFoundException","message":"gone"})") "]",
     nullptr, -1, "gone", 1},
    {"expired iterator is not retried", "[" RULE("", R"({"error":"ExpiredIteratorException","message":"old"})") "]", nullptr, -1, "old", 1},
    {"request expired is retried", "[" RULE(FIRST, R"({"error":"RequestExpired"})") "]", nullptr, 0, "", 2},
    {"no name, 429: retried by its status", "[" RULE(FIRST, R"({"json":{"message":"slow"},"status":429})") "]", nullptr, 0, "", 2},
    {"no name, 400: its message, not retried", "[" RULE("", R"({"json":{"message":"text"},"status":400})") "]", nullptr, -1, "text", 1},
    {"KMS throttling is not retried", "[" RULE("", R"({"error":"KMSThrottlingException","message":"kms"})") "]", nullptr, -1, "kms", 1},
    {"Message beats message", "[" RULE("", R"({"status":400,"json":{"__type":"InvalidArgumentException","message":"b","Message":"a"}})") "]",
     nullptr, -1, "a", 1},
    {"error type header beats the body", "[" RULE(FIRST, R"({"error":"ResourceNotFoundException",
     "headers":{"x-amzn-ErrorType":"LimitExceededException:http://internal/"}})") "]", nullptr, 0, "", 2},
    {"empty 403: the SDK's words", "[" RULE("", R"({"body":"","status":403})") "]", nullptr, -1, "No response body.", 1},
    {"empty 500 is retried", "[" RULE(FIRST, R"({"body":"","status":500})") "]", nullptr, 0, "", 2},
    {"HTML from a proxy: retried by its status", "[" RULE(FIRST, R"({"body":"<html>Bad Gateway</html>","status":502})") ","
     RULE(SECOND, R"({"body":"<html>Bad Request</html>","status":400})") "]", nullptr, -1, "Failed to parse error payload: ", 2},
    {"200 with broken JSON is not retried", "[" RULE("", R"({"body":"{\"ShardId\":"})") "]", nullptr, -1, nullptr, 1},
    {"three retryable errors: 0, 50 and 100 ms apart", "[" RULE(FIRST, R"({"error":"InternalFailure","status":500})") ","
     RULE(SECOND, R"({"error":"ServiceUnavailable","status":503})") "," RULE(R"("attempts":[3],)", R"({"error":"ThrottlingException"})") "]",
     nullptr, 0, "", 4, 150},
    {"throughput and limit exceeded are retried", "[" RULE(FIRST, R"({"error":"ProvisionedThroughputExceededException"})") ","
     RULE(SECOND, R"({"error":"LimitExceededException"})") "]", nullptr, 0, "", 3, 50},
    {"eleven attempts, then the last error", "[" RULE("", R"({"error":"InternalFailure","message":"boom","status":500})") "]",
     nullptr, -1, "boom", 11, 25550},
    {"standard mode stops at AWS_MAX_ATTEMPTS", "[" RULE("", R"({"body":"","status":503})") "]", "2", -1, "No response body.", 2},
    {"closed, reset and cut-off answers are retried", "[" RULE(FIRST, R"({"fault":"close"})") "," RULE(SECOND, R"({"fault":"reset"})") ","
     RULE(R"("attempts":[3],)", R"({"builtin":true,"fault":"truncate","after_bytes":5})") "]", nullptr, 0, "", 4},
    {"closed without a byte", "[" RULE("", R"({"fault":"close"})") "]", "1", -1, "curlCode: 52, ...", 1},
    {"nothing listening", "[]", "3", -1, "curlCode: 7, Couldn't connect to server", 0, 0, kPut, 1, false, 0, true},
    {"an answer after 1.5 s is in time", "[" RULE("", R"({"builtin":true,"delay_ms":1500})") "]", "1", 0, "", 1},
    {"silence for 3 s is a low-speed timeout", "[" RULE("", R"({"builtin":true,"delay_ms":6000})") "]", "1", -1, "curlCode: 28, ...", 1, 2900},
    {"server clock two hours off: re-signed with its time at once", "[" RULE(FIRST, R"({"error":"InvalidSignatureException",
     "message":"Signature expired","status":403,"date_header":false,"headers":{"Date":"%DATE%"}})") "]", nullptr, 0, "", 2},
    {"keep-alive: five calls, one connection", "[]", nullptr, 0, "", 5, 0, kPut, 5, false, 1},
    // A list of its own for each thread: the host never overlaps calls on one list.
    {"pool: thirty threads share 25 connections", "[" RULE("", R"({"builtin":true,"delay_ms":300})") "]", nullptr, 0, "", 30, 0, kBatch, 30, true, 25},
};
#undef FIRST
#undef SECOND
#undef RULE

// `when` in UTC, to the whole second, as `format` says.
std::string utcText(std::chrono::system_clock::time_point when, const char* format) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    char text[64];
    std::strftime(text, sizeof text, format, gmtime_r(&seconds, &utc));
    return text;
}

TEST(SdkProtocol, AnswersRetriesAndConnections) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultEndpoint endpoint;
    const std::string nobody = FaultEndpoint().endpoint();  // its port is free once the tool has gone
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const auto skewedNow = std::chrono::system_clock::now() + std::chrono::hours(2);
        std::string script = std::string(R"({"streams":[{"name":"s","shards":1}],"rules":)") + c.script + "}";
        const bool skewed = script.find("%DATE%") != std::string::npos;
        if (skewed) script.replace(script.find("%DATE%"), 6, utcText(skewedNow, "%a, %d %b %Y %H:%M:%S GMT"));
        endpoint.load(script);
        endpoint.clear();
        const int connectionsBefore = endpoint.connections();
        ServiceEnvironment environment(c.deadPort ? nobody : endpoint.endpoint(),
                                       c.attempts ? ServiceEnvironment::SdkRetries::Off : ServiceEnvironment::SdkRetries::Default);
        if (c.attempts) setenv("AWS_MAX_ATTEMPTS", c.attempts, 1);  // within the scope, which restores it
        const int32_t id = lib.CreateClient("us-east-1", "AKIDPROTOCOL", "protocol-secret");

        const std::string before = lib.errorText(id);
        std::vector<int32_t> codes(size_t(c.calls), 99), lists;
        while (c.parallel && lists.size() < size_t(c.calls)) lists.push_back(lib.CreateListRecord(id));
        const auto started = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (int i = 0; i < c.calls; ++i) {
            if (c.parallel) threads.emplace_back([&, i] { codes[size_t(i)] = c.call.run(lib, id, lists[size_t(i)]); });
            else codes[size_t(i)] = c.call.run(lib, id, -1);
        }
        for (auto& thread : threads) thread.join();
        EXPECT_GE(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(c.atLeastMs));

        for (int32_t code : codes) EXPECT_EQ(code, c.code);
        std::string words = lib.errorText(id), expected = c.code ? "id:" + std::to_string(id) + " KinesisEnv::putRecord [s] error :" + (c.words ? c.words : "") : before;
        if (expected.size() > 3 && expected.compare(expected.size() - 3, 3, "...") == 0) expected.resize(expected.size() - 3), words.resize(std::min(words.size(), expected.size()));
        if (c.code == 0 || c.words) { EXPECT_EQ(words, expected); }
        const auto requests = endpoint.requests(c.call.operation);
        EXPECT_EQ(int(requests.size()), c.requests);
        if (c.mostConnections) { EXPECT_LE(endpoint.connections() - connectionsBefore, c.mostConnections); }
        // One call's attempts: one invocation id (an upper-case UUID v4), numbered attempts out of
        // the strategy's maximum, after the "ttl=<date>; " of a failed answer that had a date.
        for (size_t i = 0; c.calls == 1 && i < requests.size(); ++i) {
            const std::string id = requests[i].header("amz-sdk-invocation-id"), attempt = requests[i].header("amz-sdk-request");
            EXPECT_EQ(id, requests[0].header("amz-sdk-invocation-id"));
            EXPECT_TRUE(id.size() == 36 && id[14] == '4' && std::string("89AB").find(id[19]) != std::string::npos &&
                        id.find_first_not_of("0123456789ABCDEF-") == std::string::npos) << id;
            const std::string numbered = "attempt=" + std::to_string(i + 1) + (i ? "; max=" + std::string(c.attempts ? c.attempts : "11") : "");
            const size_t tail = attempt.size() - std::min(attempt.size(), numbered.size());
            EXPECT_TRUE(attempt.compare(tail, std::string::npos, numbered) == 0 && (tail == 0 || (i > 0 && tail == 22 && attempt.rfind("ttl=", 0) == 0)))
                << attempt;
        }
        if (skewed && requests.size() == 2) {
            std::tm signedAt{};
            strptime(requests[1].header("x-amz-date").c_str(), "%Y%m%dT%H%M%SZ", &signedAt);
            const auto skew = std::chrono::system_clock::from_time_t(timegm(&signedAt)) - skewedNow;
            EXPECT_LT(std::abs(std::chrono::duration_cast<std::chrono::seconds>(skew).count()), 60) << "not signed with the server's time";
        }
        EXPECT_EQ(lib.FreeClient(id), 0);
    }
}

// The seven Kinesis operations through the exports against the emulator: what the SDK layer
// sends is understood by a real server and what comes back is read correctly (every non-NUL byte
// value, odd keys, a batch in order, a sequence number and a time as starting positions).
constexpr char kShard[] = "shardId-000000000000";

std::string listing(Library& lib, int32_t id, int32_t type, const std::string& stream, const char* shard = "") {
    std::vector<char> buffer(1 << 16);
    int32_t length = int32_t(buffer.size());
    EXPECT_EQ(lib.GetData(id, type, stream.c_str(), shard, buffer.data(), &length, ';'), 0);
    return buffer.data();
}

TEST(SdkKinesalite, SevenOperationsRoundTrip) {
    Kinesalite& emulator = sharedKinesalite();
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    ServiceEnvironment environment(emulator.endpoint(), ServiceEnvironment::SdkRetries::Off);
    const int32_t id = lib.CreateClient("us-east-1", "AKIDKINESALITE", "kinesalite-secret");

    // CreateStream, ListStreams, DescribeStream.
    const std::string created = uniqueStreamName("sdk-create");
    ASSERT_EQ(lib.CreateStream(id, created.c_str(), 3), 0);
    EXPECT_NE((";" + listing(lib, id, RXK_LIST_STREAMS, "") + ";").find(";" + created + ";"), std::string::npos);
    const std::string stream = emulator.createUniqueStream("sdk-read", 1);
    EXPECT_EQ(listing(lib, id, RXK_LIST_SHARDS, stream), kShard);
    EXPECT_EQ(listing(lib, id, RXK_SHARD_DETAILS, stream, kShard).rfind(std::string(kShard) +
                                                   ";0;340282366920938463463374607431768211455;", 0), 0u);

    // PutRecord: every byte value but NUL, twice, under an odd key.
    std::string binary;
    for (int i = 1; i < 512; ++i) binary.push_back(char(i % 256 ? i % 256 : 1));
    const char* oddKey = "key \xc3\xa9 \"quoted\" \\";
    ASSERT_EQ(lib.PutRecord(id, stream.c_str(), oddKey, nullptr, binary.data(), int32_t(binary.size())), 0);
    char shard[RXK_NAME_BYTES], first[RXK_POLL_SEQUENCE_BYTES], key[RXK_NAME_BYTES];
    unsigned char success = 0;
    ASSERT_EQ(lib.GetLastResultPutRecord(id, nullptr, shard, first, &success, key, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(std::string(shard) + " " + std::to_string(std::strlen(first)) + " " + key,
              std::string(kShard) + " 56 " + oddKey);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const std::string between = utcText(std::chrono::system_clock::now(), "%Y-%m-%dT%H:%M:%SZ");  // to the whole second: after it, before the next
    std::this_thread::sleep_for(std::chrono::milliseconds(100));

    // PutRecords: a batch, in order (a full one is the producer's round trip).
    const int32_t list = lib.CreateListRecord(id);
    for (const char* data : {"batch-0", "batch-1", "batch-2"}) ASSERT_EQ(lib.AddRecordToList(id, list, data, nullptr, data, 7), 0);
    int32_t put = 0, failed = -1;
    ASSERT_EQ(lib.PutRecords(id, list, stream.c_str(), &put, &failed, nullptr, nullptr, "sdk"), 0);
    EXPECT_EQ(put * 1000 + failed, 3000);

    // GetShardIterator and GetRecords from the starting positions that carry a value (each
    // position on its own is the reading tests').
    struct Case { const char* name; int32_t type; std::string start; std::vector<std::string> records; };
    const Case kRows[] = {
        {"trim horizon", RXK_TRIM_HORIZON, "", {binary, "batch-0", "batch-1", "batch-2"}},
        {"after its sequence number", RXK_AFTER_SEQUENCE_NUMBER, first, {"batch-0", "batch-1", "batch-2"}},
        {"at a time between", RXK_AT_TIMESTAMP, between, {"batch-0", "batch-1", "batch-2"}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(lib.StartShardIterator(id, stream.c_str(), kShard, c.start.c_str(), 10000, c.type), 0);
        std::vector<std::string> read;
        std::vector<char> data(binary.size() + 1);
        for (int32_t length = 0; lib.GetRecordFromIterator(id, stream.c_str(), kShard, nullptr, data.data(), &length) == 0;)
            read.emplace_back(data.data(), size_t(length));
        EXPECT_EQ(read, c.records);
        EXPECT_EQ(lib.StopShardIterator(id, stream.c_str(), kShard), 0);
    }
    EXPECT_EQ(lib.FreeListRecord(id, list), 0);
    EXPECT_EQ(lib.FreeClient(id), 0);
}

}  // namespace
}  // namespace rxk::test
