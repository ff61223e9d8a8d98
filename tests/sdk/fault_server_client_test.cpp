// The client against a scripted server: request headers, retries and their timing, error
// answers, broken connections and timeouts.
#include <aws/kinesis/KinesisClient.h>

#include <aws/core/auth/signer/AWSAuthV4Signer.h>

#include "core/encoding.h"
#include "fault_server.h"
#include "wire_test_support.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <regex>
#include <thread>

namespace {

using namespace Aws::Kinesis::Model;
using Aws::Kinesis::KinesisErrors;
using rxk::sdktest::bytesOf;
using rxk::sdktest::clientFor;
using rxk::sdktest::fastRetries;
using rxk::sdktest::textOf;
using rxk::test::FaultServer;
using rxk::test::Millis;
using rxk::test::RecordedRequest;
using rxk::test::Reply;

PutRecordRequest smallPut() {
    return PutRecordRequest().WithStreamName("s").WithPartitionKey("k").WithData(bytesOf("data"));
}

long millisBetween(const RecordedRequest& earlier, const RecordedRequest& later) {
    return static_cast<long>(std::chrono::duration_cast<Millis>(later.arrival - earlier.arrival).count());
}

// Headers the service needs to route, authenticate and deduplicate a request.
TEST(WireHeaders, EveryRequestCarriesTheProtocolHeaders) {
    FaultServer server;
    auto client = clientFor(server.endpoint());
    ASSERT_TRUE(client->PutRecord(smallPut()).IsSuccess());
    const RecordedRequest request = server.lastRequest("PutRecord");
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/");
    EXPECT_EQ(request.header("content-type"), "application/x-amz-json-1.1");
    EXPECT_EQ(request.header("x-amz-target"), "Kinesis_20131202.PutRecord");
    EXPECT_EQ(request.header("host"), "127.0.0.1:" + std::to_string(server.port()));
    EXPECT_EQ(request.header("content-length"), std::to_string(request.body.size()));
    EXPECT_TRUE(std::regex_match(request.header("amz-sdk-invocation-id"),
                                 std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << request.header("amz-sdk-invocation-id");
    EXPECT_EQ(request.header("amz-sdk-request"), "attempt=1");
    EXPECT_EQ(request.header("user-agent").rfind("aws-sdk-cpp/", 0), 0u) << request.header("user-agent");
    EXPECT_TRUE(std::regex_match(request.header("x-amz-date"), std::regex("\\d{8}T\\d{6}Z")));
    EXPECT_EQ(request.header("x-amz-content-sha256"), Aws::Client::SigV4::HashPayload(request.body.data(), request.body.size()));
    const std::string date = request.header("x-amz-date").substr(0, 8);
    EXPECT_EQ(request.header("authorization").rfind("AWS4-HMAC-SHA256 Credential=AKIDEXAMPLE/" + date +
                                                        "/us-east-1/kinesis/aws4_request, SignedHeaders=amz-sdk-invocation-id;"
                                                        "amz-sdk-request;content-length;content-type;host;x-amz-content-sha256;"
                                                        "x-amz-date;x-amz-target, Signature=",
                                                    0),
              0u)
        << request.header("authorization");
    EXPECT_EQ(request.header("expect"), "");
    EXPECT_EQ(rxk::test::jsonString(request.body, "StreamName"), "s");
}

TEST(WireHeaders, ConfiguredUserAgentSessionTokenAndAnonymousRequests) {
    FaultServer server;
    auto custom = clientFor(server.endpoint(), [](Aws::Client::ClientConfiguration& c) { c.userAgent = "my-agent/1"; },
                            Aws::Auth::AWSCredentials("AKID", "SECRET", "TOKEN"));
    ASSERT_TRUE(custom->PutRecord(smallPut()).IsSuccess());
    RecordedRequest request = server.lastRequest("PutRecord");
    EXPECT_EQ(request.header("user-agent"), "my-agent/1");
    EXPECT_EQ(request.header("x-amz-security-token"), "TOKEN");
    EXPECT_NE(request.header("authorization").find("x-amz-security-token"), std::string::npos);

    auto anonymous = clientFor(server.endpoint(), {}, Aws::Auth::AWSCredentials("", ""));
    ASSERT_TRUE(anonymous->PutRecord(smallPut()).IsSuccess());
    request = server.lastRequest("PutRecord");
    EXPECT_EQ(request.header("authorization"), "");
    EXPECT_EQ(request.header("x-amz-date"), "");
}

// Names with quotes, backslashes, control and non-ASCII bytes reach the server unchanged.
TEST(WireHeaders, HostileNamesArriveIntact) {
    FaultServer server;
    auto client = clientFor(server.endpoint());
    const std::string name = "a\"b\\c\n\x01\xc3\xa9}\",\"StreamName\":\"x";
    ASSERT_TRUE(client->PutRecord(smallPut().WithStreamName(name).WithPartitionKey(name)).IsSuccess());
    const RecordedRequest request = server.lastRequest("PutRecord");
    EXPECT_EQ(rxk::test::jsonString(request.body, "StreamName"), name);
    EXPECT_EQ(rxk::test::jsonString(request.body, "PartitionKey"), name);
    EXPECT_EQ(rxk::test::base64Decode(rxk::test::jsonString(request.body, "Data")), "data");
}

// Retries: same invocation id, numbered attempts, 0 ms then doubling delays, the count in the
// outcome. Wrong numbers here mean duplicate writes or hammering a struggling service.
TEST(Retries, RetryableErrorsAreRetriedWithTheDocumentedBackoff) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::internalFailure());
    server.enqueue("PutRecord", Reply::serviceUnavailable());
    server.enqueue("PutRecord", Reply::throttling());
    auto client = clientFor(server.endpoint());
    const auto outcome = client->PutRecord(smallPut());
    ASSERT_TRUE(outcome.IsSuccess()) << outcome.GetError().GetMessage();
    EXPECT_EQ(outcome.GetRetryCount(), 3u);
    const auto requests = server.requests("PutRecord");
    ASSERT_EQ(requests.size(), 4u);
    for (const auto& request : requests) {
        EXPECT_EQ(request.header("amz-sdk-invocation-id"), requests[0].header("amz-sdk-invocation-id"));
        EXPECT_EQ(request.body, requests[0].body);
    }
    EXPECT_EQ(requests[0].header("amz-sdk-request"), "attempt=1");
    EXPECT_TRUE(std::regex_match(requests[1].header("amz-sdk-request"), std::regex("ttl=\\d{8}T\\d{6}Z; attempt=2; max=11")))
        << requests[1].header("amz-sdk-request");
    EXPECT_TRUE(std::regex_match(requests[3].header("amz-sdk-request"), std::regex("ttl=\\d{8}T\\d{6}Z; attempt=4; max=11")));
    EXPECT_LT(millisBetween(requests[0], requests[1]), 45);
    EXPECT_GE(millisBetween(requests[1], requests[2]), 50);
    EXPECT_GE(millisBetween(requests[2], requests[3]), 100);
    EXPECT_LT(millisBetween(requests[2], requests[3]), 1000);
}

TEST(Retries, ElevenAttemptsThenTheLastError) {
    FaultServer server;
    server.setHandler("PutRecords", [](const RecordedRequest&) { return Reply::error(500, "InternalFailure", "boom"); });
    auto client = clientFor(server.endpoint(), fastRetries());
    const auto outcome = client->PutRecords(PutRecordsRequest().WithStreamName("s"));
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetRetryCount(), 10u);
    EXPECT_EQ(server.requestCount("PutRecords"), 11);
    EXPECT_EQ(outcome.GetError().GetErrorType(), KinesisErrors::INTERNAL_FAILURE);
    EXPECT_EQ(outcome.GetError().GetMessage(), "boom");
    EXPECT_EQ(outcome.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::INTERNAL_SERVER_ERROR);
    EXPECT_FALSE(outcome.GetError().GetRequestId().empty());
}

TEST(Retries, StandardModeFromEnvironmentStopsAtMaxAttempts) {
    FaultServer server;
    server.setHandler("PutRecord", [](const RecordedRequest&) { return Reply::emptyBody(503); });
    std::unique_ptr<Aws::Kinesis::KinesisClient> client;
    {
        rxk::sdktest::ScopedEnv env{{"AWS_RETRY_MODE", "standard"}, {"AWS_MAX_ATTEMPTS", "2"}};
        Aws::Client::ClientConfiguration config;
        rxk::sdktest::ScopedEnv endpoint{{"AWS_ENDPOINT_URL_KINESIS", server.endpoint()}};
        client = std::make_unique<Aws::Kinesis::KinesisClient>(Aws::Auth::AWSCredentials("a", "b"), config);
    }
    const auto outcome = client->PutRecord(smallPut());
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(server.requestCount("PutRecord"), 2);
    EXPECT_EQ(outcome.GetRetryCount(), 1u);
    EXPECT_EQ(server.requests("PutRecord")[1].header("amz-sdk-request").substr(
                  server.requests("PutRecord")[1].header("amz-sdk-request").find("attempt")),
              "attempt=2; max=2");
}

// Answers that say the request itself is wrong are not retried.
TEST(Retries, PermanentErrorsAreNotRetried) {
    struct Case {
        Reply reply;
        KinesisErrors type;
        const char* message;
    };
    const std::vector<Case> cases = {
        {Reply::resourceNotFound("s"), KinesisErrors::RESOURCE_NOT_FOUND, nullptr},
        {Reply::error(500, "SomethingNewException", "m"), KinesisErrors::UNKNOWN,
         "Unable to parse ExceptionName: SomethingNewException Message: m"},
        {Reply::error(400, "KMSThrottlingException", "kms"), KinesisErrors::K_M_S_THROTTLING, "kms"},
        {Reply::malformedJson(200), KinesisErrors::UNKNOWN, nullptr},
        {Reply::emptyBody(403), KinesisErrors::ACCESS_DENIED, "No response body."},
    };
    for (const Case& c : cases) {
        FaultServer server;
        server.enqueue("GetRecords", c.reply);
        auto client = clientFor(server.endpoint(), fastRetries());
        const auto outcome = client->GetRecords(GetRecordsRequest().WithShardIterator("it"));
        ASSERT_FALSE(outcome.IsSuccess());
        EXPECT_EQ(outcome.GetError().GetErrorType(), c.type) << outcome.GetError().GetMessage();
        if (c.message) {
            EXPECT_EQ(outcome.GetError().GetMessage(), c.message);
        }
        EXPECT_EQ(outcome.GetRetryCount(), 0u);
        EXPECT_EQ(server.requestCount("GetRecords"), 1);
    }
}

TEST(ErrorAnswers, SuccessStatusWithBrokenJsonIsAParserError) {
    FaultServer server;
    server.enqueue("GetShardIterator", Reply::malformedJson(200));
    auto client = clientFor(server.endpoint());
    const auto outcome = client->GetShardIterator(GetShardIteratorRequest().WithStreamName("s"));
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetExceptionName(), "Json Parser Error");
    EXPECT_EQ(outcome.GetError().GetErrorType(), KinesisErrors::UNKNOWN);
    EXPECT_FALSE(outcome.GetError().ShouldRetry());
    EXPECT_EQ(outcome.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::OK);
}

TEST(ErrorAnswers, HtmlFromAProxyIsRetriedByStatus) {
    FaultServer server;
    server.enqueue("ListStreams", Reply::htmlBody(502));
    server.enqueue("ListStreams", Reply::htmlBody(400));
    auto client = clientFor(server.endpoint(), fastRetries());
    const auto outcome = client->ListStreams(ListStreamsRequest());
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetMessage(), "Failed to parse error payload: ");
    EXPECT_EQ(outcome.GetRetryCount(), 1u);
    EXPECT_EQ(outcome.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::BAD_REQUEST);
}

// Transport failures: a dropped, reset or cut-off connection is a retryable network error
// with curl's code in the text, and the next attempt gets a fresh connection.
TEST(TransportFailures, DroppedConnectionsAreRetriedNetworkErrors) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::closeWithoutReply());
    server.enqueue("PutRecord", Reply::resetConnection());
    server.enqueue("PutRecord", Reply::truncated(rxk::test::putRecordReply(), 5));
    auto client = clientFor(server.endpoint(), fastRetries());
    const auto outcome = client->PutRecord(smallPut());
    ASSERT_TRUE(outcome.IsSuccess()) << outcome.GetError().GetMessage();
    EXPECT_EQ(outcome.GetRetryCount(), 3u);
    EXPECT_EQ(server.requestCount("PutRecord"), 4);

    server.setHandler("PutRecord", [](const RecordedRequest&) { return Reply::closeWithoutReply(); });
    auto noRetry = clientFor(server.endpoint(), fastRetries(0));
    const auto failed = noRetry->PutRecord(smallPut());
    ASSERT_FALSE(failed.IsSuccess());
    EXPECT_EQ(failed.GetError().GetErrorType(), KinesisErrors::NETWORK_CONNECTION);
    EXPECT_EQ(failed.GetError().GetMessage().rfind("curlCode: 52, ", 0), 0u) << failed.GetError().GetMessage();
    EXPECT_EQ(failed.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::REQUEST_NOT_MADE);
    EXPECT_TRUE(failed.GetError().ShouldRetry());
}

TEST(TransportFailures, NothingListeningIsConnectionRefused) {
    int port = 0;
    {
        FaultServer server;
        port = server.port();
    }
    auto client = clientFor("http://127.0.0.1:" + std::to_string(port), fastRetries(2));
    const auto outcome = client->ListStreams(ListStreamsRequest());
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetMessage().rfind("curlCode: 7, ", 0), 0u) << outcome.GetError().GetMessage();
    EXPECT_EQ(outcome.GetRetryCount(), 2u);
}

// A silent server must not hang a call: the low-speed limit ends each attempt after about
// requestTimeoutMs, and httpRequestTimeoutMs caps an attempt in total.
TEST(Timeouts, SlowAnswerHitsTheLowSpeedTimeout) {
    FaultServer server;
    server.enqueue("PutRecord", rxk::test::putRecordReply().withDelay(Millis(5000)));
    auto client = clientFor(server.endpoint(), [](Aws::Client::ClientConfiguration& c) {
        c.requestTimeoutMs = 1000;
        c.retryStrategy = std::make_shared<Aws::Client::DefaultRetryStrategy>(0, 1);
    });
    const auto start = std::chrono::steady_clock::now();
    const auto outcome = client->PutRecord(smallPut());
    const auto elapsed = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - start).count();
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetErrorType(), KinesisErrors::NETWORK_CONNECTION);
    EXPECT_EQ(outcome.GetError().GetMessage().rfind("curlCode: 28, ", 0), 0u) << outcome.GetError().GetMessage();
    EXPECT_GE(elapsed, 900);
    EXPECT_LT(elapsed, 2800);
}

// The default 3 s low-speed timeout: an answer after 5 s is too late, one after 1 s is not.
TEST(Timeouts, DefaultLowSpeedTimeoutIsAboutThreeSeconds) {
    FaultServer server;
    server.enqueue("ListStreams", rxk::test::emptyListStreams().withDelay(Millis(1500)));
    server.enqueue("ListStreams", rxk::test::emptyListStreams().withDelay(Millis(5000)));
    auto client = clientFor(server.endpoint(), fastRetries(0));
    EXPECT_TRUE(client->ListStreams(ListStreamsRequest()).IsSuccess());
    const auto start = std::chrono::steady_clock::now();
    const auto outcome = client->ListStreams(ListStreamsRequest());
    const auto elapsed = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - start).count();
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetMessage().rfind("curlCode: 28, ", 0), 0u) << outcome.GetError().GetMessage();
    EXPECT_GE(elapsed, 2900);
    EXPECT_LT(elapsed, 4500);
}

TEST(Timeouts, StalledBodyHitsTheTotalTimeout) {
    FaultServer server;
    server.enqueue("GetRecords", Reply::stalled(rxk::test::getRecordsReply({{"abc"}}, "next"), 10, Millis(3000)));
    auto client = clientFor(server.endpoint(), [](Aws::Client::ClientConfiguration& c) {
        c.requestTimeoutMs = 0;
        c.httpRequestTimeoutMs = 600;
        c.retryStrategy = std::make_shared<Aws::Client::DefaultRetryStrategy>(0, 1);
    });
    const auto start = std::chrono::steady_clock::now();
    const auto outcome = client->GetRecords(GetRecordsRequest().WithShardIterator("it"));
    const auto elapsed = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - start).count();
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetMessage().rfind("curlCode: 28, ", 0), 0u) << outcome.GetError().GetMessage();
    EXPECT_LT(elapsed, 2000);
}

// Keep-alive: sequential calls reuse one connection; the pool never opens more than
// maxConnections, even with many threads.
TEST(ConnectionPool, SequentialCallsReuseOneConnection) {
    FaultServer server;
    auto client = clientFor(server.endpoint());
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(client->PutRecord(smallPut()).IsSuccess());
    EXPECT_EQ(server.connectionCount(), 1);
}

TEST(ConnectionPool, ThreadsWaitForAFreeConnection) {
    FaultServer server;
    server.setHandler("PutRecord", [](const RecordedRequest&) { return rxk::test::putRecordReply().withDelay(Millis(10)); });
    auto client = clientFor(server.endpoint(), [](Aws::Client::ClientConfiguration& c) { c.maxConnections = 2; });
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 10; ++i) {
                if (!client->PutRecord(smallPut()).IsSuccess()) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(server.requestCount("PutRecord"), 80);
    EXPECT_LE(server.connectionCount(), 2);
}

// Results: a big GetRecords answer is read whole, and moving a result out keeps the payloads.
TEST(Results, TenThousandRecordsAreReadWhole) {
    FaultServer server;
    std::vector<rxk::test::TestRecord> records;
    for (int i = 0; i < 10000; ++i) records.emplace_back("payload-" + std::to_string(i), "key-" + std::to_string(i));
    server.enqueue("GetRecords", rxk::test::getRecordsReply(records, "next-iterator", 42));
    auto client = clientFor(server.endpoint());
    auto outcome = client->GetRecords(GetRecordsRequest().WithShardIterator("it"));
    ASSERT_TRUE(outcome.IsSuccess()) << outcome.GetError().GetMessage();
    const GetRecordsResult result = outcome.GetResultWithOwnership();
    ASSERT_EQ(result.GetRecords().size(), 10000u);
    EXPECT_EQ(textOf(result.GetRecords()[9999].GetData()), "payload-9999");
    EXPECT_EQ(result.GetRecords()[9999].GetPartitionKey(), "key-9999");
    EXPECT_EQ(result.GetRecords()[0].GetApproximateArrivalTimestamp().Millis(), 1767225600123);
    EXPECT_EQ(result.GetNextShardIterator(), "next-iterator");
    EXPECT_EQ(result.GetMillisBehindLatest(), 42);
}

TEST(Results, PartialBatchFailureIsASuccessOutcome) {
    FaultServer server;
    server.setHandler("PutRecords", [](const RecordedRequest& r) { return rxk::test::putRecordsReply(r, {1}); });
    auto client = clientFor(server.endpoint());
    PutRecordsRequest request;
    request.SetStreamName("s");
    for (int i = 0; i < 3; ++i) request.AddRecords(PutRecordsRequestEntry().WithPartitionKey("k").WithData(bytesOf("d")));
    const auto outcome = client->PutRecords(request);
    ASSERT_TRUE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetRetryCount(), 0u);
    EXPECT_EQ(outcome.GetResult().GetFailedRecordCount(), 1);
    ASSERT_EQ(outcome.GetResult().GetRecords().size(), 3u);
    EXPECT_EQ(outcome.GetResult().GetRecords()[1].GetErrorCode(), "ProvisionedThroughputExceededException");
    EXPECT_FALSE(outcome.GetResult().GetRecords()[2].GetSequenceNumber().empty());
    EXPECT_EQ(server.requestCount("PutRecords"), 1);
}

// A server clock far from ours: the signer adopts its time and retries at once.
TEST(ClockSkew, FarOffServerDateCorrectsTheSigningTime) {
    FaultServer server;
    const Aws::Utils::DateTime serverNow = Aws::Utils::DateTime::Now() + std::chrono::hours(2);
    Reply refused = Reply::error(403, "InvalidSignatureException", "Signature expired");
    refused.dateHeader = false;
    refused.withHeader("Date", serverNow.ToGmtString(Aws::Utils::DateFormat::RFC822));
    server.enqueue("PutRecord", refused);
    auto client = clientFor(server.endpoint());
    const auto outcome = client->PutRecord(smallPut());
    ASSERT_TRUE(outcome.IsSuccess()) << outcome.GetError().GetMessage();
    const auto requests = server.requests("PutRecord");
    ASSERT_EQ(requests.size(), 2u);
    const Aws::Utils::DateTime resigned(requests[1].header("x-amz-date"), Aws::Utils::DateFormat::ISO_8601_BASIC);
    EXPECT_LT(std::abs(Aws::Utils::DateTime::Diff(resigned, serverNow).count()), 60000);
}

// A write to a socket the peer closed must not kill the process with SIGPIPE.
TEST(SigPipe, PeerClosingDuringUploadDoesNotKillTheProcess) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 4), 0);
    socklen_t length = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::atomic<bool> stop{false};
    std::thread closer([&] {
        while (!stop) {
            const int connection = accept(listener, nullptr, nullptr);
            if (connection < 0) break;
            char buffer[1024];
            (void)!read(connection, buffer, sizeof buffer);
            close(connection);
        }
    });
    struct sigaction previous {};
    struct sigaction fatal {};
    fatal.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &fatal, &previous);

    auto client = clientFor("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)), fastRetries(2));
    const auto outcome = client->PutRecord(smallPut().WithData(bytesOf(std::string(8 * 1024 * 1024, 'x'))));
    EXPECT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetErrorType(), KinesisErrors::NETWORK_CONNECTION);

    sigaction(SIGPIPE, &previous, nullptr);
    stop = true;
    shutdown(listener, SHUT_RDWR);
    close(listener);
    closer.join();
}

}  // namespace

namespace {

// Paging parameters reach the server and each page is read in full.
TEST(Results, DescribeStreamPagesThroughAllShards) {
    FaultServer server;
    server.setHandler("DescribeStream", rxk::test::pagedDescribeStream("paged", 7, 3));
    auto client = clientFor(server.endpoint());
    std::vector<std::string> shardIds;
    DescribeStreamRequest request;
    request.SetStreamName("paged");
    request.SetLimit(3);
    for (int page = 0; page < 5; ++page) {
        const auto outcome = client->DescribeStream(request);
        ASSERT_TRUE(outcome.IsSuccess()) << outcome.GetError().GetMessage();
        const StreamDescription& description = outcome.GetResult().GetStreamDescription();
        for (const Shard& shard : description.GetShards()) shardIds.push_back(shard.GetShardId());
        if (!description.GetHasMoreShards()) break;
        request.SetExclusiveStartShardId(description.GetShards().back().GetShardId());
    }
    ASSERT_EQ(shardIds.size(), 7u);
    EXPECT_EQ(shardIds.front(), rxk::test::shardId(0));
    EXPECT_EQ(shardIds.back(), rxk::test::shardId(6));
    EXPECT_EQ(rxk::test::jsonInt(server.lastRequest("DescribeStream").body, "Limit"), 3);
}

}  // namespace
