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
#include <regex>
#include <thread>

namespace rxk::test {
namespace {

int32_t putRecord(Library& lib, int32_t id) { return lib.PutRecord(id, "s", "k", nullptr, "data", 4); }
int32_t listStreams(Library& lib, int32_t id) {
    char buffer[256];
    int32_t length = sizeof buffer;
    return lib.GetListStreams(id, buffer, &length);
}
struct Call { const char* operation; int32_t (*run)(Library&, int32_t); };
const Call kPut{"PutRecord", putRecord}, kList{"ListStreams", listStreams};

struct Case {
    const char* name;
    const char* script;      // "%DATE%" becomes an HTTP date two hours ahead of ours
    const char* attempts;    // nullptr: the SDK's default retries; else standard mode, AWS_MAX_ATTEMPTS
    int32_t code;
    const char* words;       // the SDK's words after "error :" (a trailing "..." : their start)
    int requests;
    long atLeastMs = 0;      // backoff the retries must have waited
    Call call = kPut;
    int threads = 1, callsPerThread = 1;
    int mostConnections = 0; // 0: not checked
    const char* region = "us-east-1";
    enum Where { kFaultEndpoint, kDeadPort, kNoEndpointVariables } where = kFaultEndpoint;
};

#define RULE(attempts, answer) R"({"operation":"*",)" attempts R"("answer":)" answer "}"
const Case kRows[] = {
    {"service error: its message, not retried",
     "[" RULE("", R"({"error":"ResourceNotFoundException","message":"Stream s under account 000000000000 not found."})") "]",
     nullptr, -1, "Stream s under account 000000000000 not found.", 1},
    {"unknown name: never retried, whatever the status",
     "[" RULE("", R"({"error":"SomethingNewException","message":"m","status":500})") "]", nullptr, -1,
     "Unable to parse ExceptionName: SomethingNewException Message: m", 1},
    {"name after # is looked up",
     "[" RULE("", R"({"error":"com.amazonaws.kinesis.v20131202#ResourceNotFoundException","message":"gone"})") "]",
     nullptr, -1, "gone", 1},
    {"KMS throttling is not retried", "[" RULE("", R"({"error":"KMSThrottlingException","message":"kms"})") "]",
     nullptr, -1, "kms", 1},
    {"Message beats message",
     "[" RULE("", R"({"status":400,"json":{"__type":"InvalidArgumentException","message":"b","Message":"a"}})") "]",
     nullptr, -1, "a", 1},
    {"error type header beats the body",
     "[" RULE(R"("attempts":[1],)", R"({"error":"ResourceNotFoundException","headers":{"x-amzn-ErrorType":"LimitExceededException:http://internal/"}})") "]",
     nullptr, 0, "", 2},
    {"empty 403: no words but the SDK's", "[" RULE("", R"({"body":"","status":403})") "]", nullptr, -1,
     "No response body.", 1},
    {"empty 500 is retried", "[" RULE(R"("attempts":[1],)", R"({"body":"","status":500})") "]", nullptr, 0, "", 2},
    {"HTML from a proxy: retried by its status",
     "[" RULE(R"("attempts":[1],)", R"({"body":"<html>Bad Gateway</html>","status":502})") ","
         RULE(R"("attempts":[2],)", R"({"body":"<html>Bad Request</html>","status":400})") "]",
     nullptr, -1, "Failed to parse error payload: ", 2},
    {"200 with broken JSON is not retried", "[" RULE("", R"({"body":"{\"ShardId\":"})") "]", nullptr, -1, nullptr, 1},
    {"three retryable errors: 0, 50 and 100 ms apart",
     "[" RULE(R"("attempts":[1],)", R"({"error":"InternalFailure","status":500})") ","
         RULE(R"("attempts":[2],)", R"({"error":"ServiceUnavailable","status":503})") ","
         RULE(R"("attempts":[3],)", R"({"error":"ThrottlingException"})") "]",
     nullptr, 0, "", 4, 150},
    {"throughput and limit exceeded are retried",
     "[" RULE(R"("attempts":[1],)", R"({"error":"ProvisionedThroughputExceededException"})") ","
         RULE(R"("attempts":[2],)", R"({"error":"LimitExceededException"})") "]",
     nullptr, 0, "", 3, 50},
    {"eleven attempts, then the last error", "[" RULE("", R"({"error":"InternalFailure","message":"boom","status":500})") "]",
     nullptr, -1, "boom", 11, 25550},
    {"standard mode stops at AWS_MAX_ATTEMPTS", "[" RULE("", R"({"body":"","status":503})") "]", "2", -1,
     "No response body.", 2},
    {"closed, reset and cut-off answers are retried",
     "[" RULE(R"("attempts":[1],)", R"({"fault":"close"})") "," RULE(R"("attempts":[2],)", R"({"fault":"reset"})") ","
         RULE(R"("attempts":[3],)", R"({"builtin":true,"fault":"truncate","after_bytes":5})") "]",
     nullptr, 0, "", 4},
    {"closed without a byte", "[" RULE("", R"({"fault":"close"})") "]", "1", -1, "curlCode: 52, ...", 1},
    {"nothing listening", "[]", "3", -1, "curlCode: 7, Couldn't connect to server", 0, 0, kPut, 1, 1, 0, "us-east-1", Case::kDeadPort},
    {"an answer after 1.5 s is in time", "[" RULE("", R"({"builtin":true,"delay_ms":1500})") "]", "1", 0, "", 1},
    {"silence for 3 s is a low-speed timeout", "[" RULE("", R"({"builtin":true,"delay_ms":6000})") "]", "1", -1,
     "curlCode: 28, ...", 1, 2900},
    {"server clock two hours off: re-signed with its time at once",
     "[" RULE(R"("attempts":[1],)", R"({"error":"InvalidSignatureException","message":"Signature expired","status":403,"date_header":false,"headers":{"Date":"%DATE%"}})") "]",
     nullptr, 0, "", 2},
    {"region unfit for a host name: refused before the network", "[]", nullptr, -1,
     "Invalid DNS Label found in URI host", 0, 0, kPut, 1, 1, 0, "bad region", Case::kNoEndpointVariables},
    {"keep-alive: five calls, one connection", "[]", nullptr, 0, "", 5, 0, kPut, 1, 5, 1},
    {"pool: thirty threads wait for 25 connections",
     "[" RULE("", R"({"builtin":true,"delay_ms":300})") "]", nullptr, 0, "", 30, 0, kList, 30, 1, 25},
};
#undef RULE

std::string httpDate(std::chrono::system_clock::time_point when) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

std::string lastError(Library& lib, int32_t id) {
    char text[RXK_ERROR_TEXT_BYTES] = "";
    lib.GetErrorStr(id, text, sizeof text);
    return text;
}

TEST(SdkProtocol, AnswersRetriesAndConnections) {
    Library& lib = sharedLibrary();
    lib.InititializeInterface();
    FaultEndpoint endpoint;
    int deadPort = 0;
    { deadPort = FaultEndpoint().port(); }
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const auto skewedNow = std::chrono::system_clock::now() + std::chrono::hours(2);
        std::string script = std::string(R"({"rules":)") + c.script + "}";
        if (script.find("%DATE%") != std::string::npos) script.replace(script.find("%DATE%"), 6, httpDate(skewedNow));
        endpoint.load(script);
        endpoint.clear();
        const int connectionsBefore = endpoint.connections();
        const std::string url = c.where == Case::kDeadPort ? "http://127.0.0.1:" + std::to_string(deadPort) : endpoint.endpoint();
        ServiceEnvironment environment(url, c.attempts ? ServiceEnvironment::SdkRetries::Off
                                                        : ServiceEnvironment::SdkRetries::Default);
        EnvVar attempts("AWS_MAX_ATTEMPTS", c.attempts ? std::optional<std::string>(c.attempts) : std::nullopt);
        const bool unset = c.where == Case::kNoEndpointVariables;
        EnvVar kinesisUrl("AWS_ENDPOINT_URL_KINESIS", unset ? std::nullopt : std::optional<std::string>(url));
        EnvVar genericUrl("AWS_ENDPOINT_URL", unset ? std::nullopt : std::optional<std::string>(url));
        const int32_t id = lib.CreateClient(c.region, "AKIDPROTOCOL", "protocol-secret");
        ASSERT_GE(id, 0);

        const std::string before = lastError(lib, id);
        std::vector<int32_t> codes(size_t(c.threads * c.callsPerThread), 99);
        const auto started = std::chrono::steady_clock::now();
        std::vector<std::thread> threads;
        for (int t = 0; t < c.threads; ++t)
            threads.emplace_back([&, t] {
                for (int i = 0; i < c.callsPerThread; ++i) codes[size_t(t * c.callsPerThread + i)] = c.call.run(lib, id);
            });
        for (auto& thread : threads) thread.join();
        const long millis = long(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now() - started).count());

        for (int32_t code : codes) EXPECT_EQ(code, c.code);
        const std::string words = lastError(lib, id);
        if (c.code == 0) EXPECT_EQ(words, before) << "a success changed the last-error text";
        if (c.words && c.code < 0) {
            const std::string head = "id:" + std::to_string(id) + " KinesisEnv::putRecord [s] error :";
            const std::string expected = head + c.words;
            if (expected.size() > 3 && expected.compare(expected.size() - 3, 3, "...") == 0)
                EXPECT_EQ(words.rfind(expected.substr(0, expected.size() - 3), 0), 0u) << words;
            else
                EXPECT_EQ(words, expected);
        }
        EXPECT_GE(millis, c.atLeastMs);
        const auto requests = endpoint.requests(c.call.operation);
        EXPECT_EQ(int(requests.size()), c.requests);
        if (c.mostConnections == 1) EXPECT_EQ(endpoint.connections() - connectionsBefore, 1);
        if (c.mostConnections > 1) EXPECT_LE(endpoint.connections() - connectionsBefore, c.mostConnections);
        // One call's attempts: one invocation id, numbered attempts out of the strategy's maximum.
        const std::string most = c.attempts ? c.attempts : "11";
        for (size_t i = 0; c.callsPerThread * c.threads == 1 && i < requests.size(); ++i) {
            EXPECT_EQ(requests[i].header("amz-sdk-invocation-id"), requests[0].header("amz-sdk-invocation-id"));
            const std::string attempt = requests[i].header("amz-sdk-request");
            if (i == 0) EXPECT_EQ(attempt, "attempt=1");
            else EXPECT_TRUE(std::regex_match(attempt, std::regex("(ttl=\\d{8}T\\d{6}Z; )?attempt=" +
                                                                  std::to_string(i + 1) + "; max=" + most)))
                << attempt;
        }
        if (std::string(c.script).find("%DATE%") != std::string::npos && requests.size() == 2) {
            std::tm signedAt{};
            strptime(requests[1].header("x-amz-date").c_str(), "%Y%m%dT%H%M%SZ", &signedAt);
            const auto skew = std::chrono::system_clock::from_time_t(timegm(&signedAt)) - skewedNow;
            EXPECT_LT(std::abs(std::chrono::duration_cast<std::chrono::seconds>(skew).count()), 60);
        }
        EXPECT_EQ(lib.FreeClient(id), 0);
    }
}

}  // namespace
}  // namespace rxk::test
