// The SDK's protocol and errors as the host meets them through the exports, against the fault
// endpoint: the words a failure leaves in the last-error text, which answers are retried, how
// often and after how long, timeouts, dropped and reset connections, keep-alive and the
// connection pool. Wrong numbers here mean duplicate writes, a bad request hammered for 25 s, a
// hung host thread, or a throttled write given up at once.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

namespace rxk::test {
namespace {

int32_t putRecord(Library& lib, int32_t id, int32_t) { return lib.PutRecord(id, "s", "k", nullptr, "data", 4); }
int32_t putBatch(Library& lib, int32_t id, int32_t list) {
    lib.AddRecordToList(id, list, "k", nullptr, "data", 4);
    return lib.PutRecords(id, list, "s", nullptr, nullptr, nullptr, nullptr, "pool");
}
struct Call { const char* operation; int32_t (*run)(Library&, int32_t id, int32_t list); };
const Call kPut{"PutRecord", putRecord}, kBatch{"PutRecords", putBatch};

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
    const char* region = "us-east-1";
    enum Where { kFaultEndpoint, kDeadPort, kNoVariables } where = kFaultEndpoint;
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
    {"nothing listening", "[]", "3", -1, "curlCode: 7, Couldn't connect to server", 0, 0, kPut, 1, false, 0, "us-east-1", Case::kDeadPort},
    {"an answer after 1.5 s is in time", "[" RULE("", R"({"builtin":true,"delay_ms":1500})") "]", "1", 0, "", 1},
    {"silence for 3 s is a low-speed timeout", "[" RULE("", R"({"builtin":true,"delay_ms":6000})") "]", "1", -1, "curlCode: 28, ...", 1, 2900},
    {"server clock two hours off: re-signed with its time at once", "[" RULE(FIRST, R"({"error":"InvalidSignatureException",
     "message":"Signature expired","status":403,"date_header":false,"headers":{"Date":"%DATE%"}})") "]", nullptr, 0, "", 2},
    {"region unfit for a host name: refused before the network", "[]", nullptr, -1, "Invalid DNS Label found in URI host", 0, 0, kPut, 1,
     false, 0, "bad region", Case::kNoVariables},
    {"keep-alive: five calls, one connection", "[]", nullptr, 0, "", 5, 0, kPut, 5, false, 1},
    // A list of its own for each thread: the host never overlaps calls on one list.
    {"pool: thirty threads share 25 connections", "[" RULE("", R"({"builtin":true,"delay_ms":300})") "]", nullptr, 0, "", 30, 0, kBatch, 30, true, 25},
};
#undef FIRST
#undef SECOND
#undef RULE

std::string httpDate(std::chrono::system_clock::time_point when) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", gmtime_r(&seconds, &utc));
    return text;
}

std::string lastError(Library& lib, int32_t id) {
    char text[RXK_ERROR_TEXT_BYTES] = "";
    return lib.GetErrorStr(id, text, sizeof text);
}

TEST(SdkProtocol, AnswersRetriesAndConnections) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultEndpoint endpoint;
    const int deadPort = FaultEndpoint().port();
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const auto skewedNow = std::chrono::system_clock::now() + std::chrono::hours(2);
        std::string script = std::string(R"({"streams":[{"name":"s","shards":1}],"rules":)") + c.script + "}";
        const bool skewed = script.find("%DATE%") != std::string::npos;
        if (skewed) script.replace(script.find("%DATE%"), 6, httpDate(skewedNow));
        endpoint.load(script);
        endpoint.clear();
        const int connectionsBefore = endpoint.connections();
        const std::string url = c.where == Case::kDeadPort ? "http://127.0.0.1:" + std::to_string(deadPort) : endpoint.endpoint();
        ServiceEnvironment environment(url, c.attempts ? ServiceEnvironment::SdkRetries::Off : ServiceEnvironment::SdkRetries::Default);
        // Changed within the scope, which restores them.
        if (c.attempts) setenv("AWS_MAX_ATTEMPTS", c.attempts, 1);
        if (c.where == Case::kNoVariables) unsetenv("AWS_ENDPOINT_URL_KINESIS"), unsetenv("AWS_ENDPOINT_URL");
        const int32_t id = lib.CreateClient(c.region, "AKIDPROTOCOL", "protocol-secret");
        ASSERT_GE(id, 0);

        const std::string before = lastError(lib, id);
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
        const std::string words = lastError(lib, id), expected = "id:" + std::to_string(id) + " KinesisEnv::putRecord [s] error :" + (c.words ? c.words : "");
        const bool prefix = expected.compare(expected.size() - 3, 3, "...") == 0;
        if (c.code == 0 || c.words) {
            EXPECT_EQ(c.code == 0 ? before : prefix ? expected.substr(0, expected.size() - 3) : expected,
                      prefix ? words.substr(0, expected.size() - 3) : words);
        }
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

}  // namespace
}  // namespace rxk::test
