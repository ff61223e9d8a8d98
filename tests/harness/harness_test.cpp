// Self-tests of the shared test harness: if these fail, every other group's results are suspect.
#include "fault_server.h"
#include "http_client.h"
#include "kinesalite.h"
#include "library.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

namespace rxk::test {
namespace {

using Clock = std::chrono::steady_clock;

Millis elapsedSince(Clock::time_point start) {
    return std::chrono::duration_cast<Millis>(Clock::now() - start);
}

std::string putRecordsBody(int count) {
    std::string body = "{\"StreamName\":\"s\",\"Records\":[";
    for (int i = 0; i < count; ++i)
        body += std::string(i ? "," : "") + "{\"Data\":\"" + base64Encode("record" + std::to_string(i)) +
                "\",\"PartitionKey\":\"" + std::to_string(i) + "\"}";
    return body + "]}";
}

rapidjson::Document parsed(const std::string& body) {
    rapidjson::Document doc;
    doc.Parse(body.c_str());
    return doc;
}

// Sends `request` on a fresh connection and returns every byte until the server closes.
std::string rawExchange(int port, const std::string& request) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    timeval timeout{2, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    std::string received;
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(fd, request.data(), request.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(request.size())) {
        char chunk[4096];
        for (ssize_t got; (got = ::recv(fd, chunk, sizeof chunk, 0)) > 0;) received.append(chunk, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return received;
}

// Scripted replies: a test that says "answer X" must get exactly X, in order, on the right
// operation, with the attempt numbers the retry tests count on.
TEST(FaultServerScript, QueuedRepliesComeOnceInOrderThenTheBuiltInAnswer) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::throttling());
    server.enqueue("PutRecord", Reply::internalFailure());

    const auto first = kinesisPost(server.endpoint(), "PutRecord", "{}");
    const auto second = kinesisPost(server.endpoint(), "PutRecord", "{}");
    const auto third = kinesisPost(server.endpoint(), "PutRecord", "{}");

    EXPECT_EQ(first.status, 400);
    EXPECT_EQ(jsonString(first.body, "__type"), "ProvisionedThroughputExceededException");
    EXPECT_EQ(second.status, 500);
    EXPECT_EQ(jsonString(second.body, "__type"), "InternalFailure");
    EXPECT_EQ(third.status, 200);
    EXPECT_EQ(jsonString(third.body, "ShardId"), "shardId-000000000000");
    EXPECT_EQ(first.header("content-type"), "application/x-amz-json-1.1");
    EXPECT_FALSE(first.header("x-amzn-requestid").empty());
}

TEST(FaultServerScript, RecordsOperationHeadersBodyAndAttempts) {
    FaultServer server;
    kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(2));
    kinesisPost(server.endpoint(), "ListStreams", "{}");
    kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(1));

    const auto all = server.requests();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].operation, "PutRecords");
    EXPECT_EQ(all[0].attempt, 1);
    EXPECT_EQ(all[1].operation, "ListStreams");
    EXPECT_EQ(all[1].attempt, 1);
    EXPECT_EQ(all[2].attempt, 2);
    EXPECT_EQ(all[2].sequence, 3);
    EXPECT_EQ(all[0].method, "POST");
    EXPECT_EQ(all[0].header("X-Amz-Target"), "Kinesis_20131202.PutRecords");
    EXPECT_LE(all[0].arrival, all[2].arrival);
    EXPECT_EQ(server.requestCount("PutRecords"), 2);
    EXPECT_EQ(server.requests("PutRecords").size(), 2u);

    const auto entries = putRecordsEntries(all[0].body);
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[1].data, "record1");
    EXPECT_EQ(entries[1].partitionKey, "1");

    server.clearRequests();
    EXPECT_EQ(server.requestCount(), 0);
    kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(1));
    EXPECT_EQ(server.requests().at(0).attempt, 1);
}

TEST(FaultServerScript, PutRecordsFailsChosenPositionsOnChosenAttempt) {
    FaultServer server;
    server.setHandler("PutRecords", failPutRecordsPositions({{1, {1, 3}}}));

    const auto doc = parsed(kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(5)).body);
    ASSERT_TRUE(doc.IsObject());
    EXPECT_EQ(doc["FailedRecordCount"].GetInt(), 2);
    const auto& records = doc["Records"];
    ASSERT_EQ(records.Size(), 5u);
    EXPECT_TRUE(records[0].HasMember("SequenceNumber"));
    EXPECT_STREQ(records[1]["ErrorCode"].GetString(), "ProvisionedThroughputExceededException");
    EXPECT_TRUE(records[1].HasMember("ErrorMessage"));
    EXPECT_FALSE(records[1].HasMember("ShardId"));
    EXPECT_STREQ(records[3]["ErrorCode"].GetString(), "ProvisionedThroughputExceededException");

    const auto retry = parsed(kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(2)).body);
    EXPECT_EQ(retry["FailedRecordCount"].GetInt(), 0);
    EXPECT_EQ(retry["Records"].Size(), 2u);
}

TEST(FaultServerScript, OnAttemptsFallsBackForOtherAttempts) {
    FaultServer server;
    server.setHandler("GetRecords", onAttempts({2}, Reply::serviceUnavailable(),
                                               [&server](const RecordedRequest& r) { return server.builtInReply(r); }));
    EXPECT_EQ(kinesisPost(server.endpoint(), "GetRecords", "{\"ShardIterator\":\"a\"}").status, 200);
    EXPECT_EQ(kinesisPost(server.endpoint(), "GetRecords", "{\"ShardIterator\":\"a\"}").status, 503);
    EXPECT_EQ(kinesisPost(server.endpoint(), "GetRecords", "{\"ShardIterator\":\"a\"}").status, 200);
}

TEST(FaultServerScript, ThrowingHandlerAnswers500InsteadOfEndingTheProcess) {
    FaultServer server;
    server.setHandler("PutRecord", [](const RecordedRequest&) -> Reply { throw std::runtime_error("oops"); });
    const auto response = kinesisPost(server.endpoint(), "PutRecord", "{}");
    EXPECT_EQ(response.status, 500);
    EXPECT_EQ(jsonString(response.body, "message"), "oops");
}

TEST(FaultServerScript, DescribeStreamServesShardsPageByPage) {
    FaultServer server;
    server.setHandler("DescribeStream", pagedDescribeStream("paged", 5, 2));
    std::vector<std::string> ids;
    std::string after;
    for (int page = 0; page < 5; ++page) {
        const std::string body = after.empty() ? "{\"StreamName\":\"paged\"}"
                                               : "{\"StreamName\":\"paged\",\"ExclusiveStartShardId\":\"" + after + "\"}";
        const auto doc = parsed(kinesisPost(server.endpoint(), "DescribeStream", body).body);
        const auto& description = doc["StreamDescription"];
        for (const auto& shard : description["Shards"].GetArray()) ids.push_back(shard["ShardId"].GetString());
        after = ids.back();
        if (!description["HasMoreShards"].GetBool()) break;
    }
    EXPECT_EQ(ids, (std::vector<std::string>{shardId(0), shardId(1), shardId(2), shardId(3), shardId(4)}));
    EXPECT_EQ(server.requestCount("DescribeStream"), 3);
}

TEST(FaultServerScript, BuildersGiveTheShapesTheClientReads) {
    EXPECT_EQ(Reply::emptyBody(503).body, "");
    EXPECT_TRUE(parsed(Reply::malformedJson().body).HasParseError());
    EXPECT_EQ(Reply::htmlBody(502).contentType, "text/html");
    EXPECT_EQ(jsonString(emptyListStreams().body, "StreamNames"), "");
    EXPECT_EQ(parsed(emptyListStreams().body)["StreamNames"].Size(), 0u);
    EXPECT_EQ(jsonString(shardIteratorReply("it-1").body, "ShardIterator"), "it-1");

    const auto records = parsed(getRecordsReply({{"abc"}, {std::string("\0x", 2)}}, "next").body);
    EXPECT_EQ(base64Decode(records["Records"][0]["Data"].GetString()), "abc");
    EXPECT_EQ(base64Decode(records["Records"][1]["Data"].GetString()), std::string("\0x", 2));
    EXPECT_STREQ(records["NextShardIterator"].GetString(), "next");
    EXPECT_FALSE(parsed(getRecordsReply({}, "").body).HasMember("NextShardIterator"));
    EXPECT_EQ(sequenceNumber(1).size(), 56u);
    EXPECT_LT(sequenceNumber(9), sequenceNumber(10));
}

TEST(FaultServerScript, Base64RoundTripsEveryPaddingLength) {
    for (const std::string bytes : {"", "a", "ab", "abc", "abcd"}) EXPECT_EQ(base64Decode(base64Encode(bytes)), bytes);
    EXPECT_EQ(base64Encode("ab"), "YWI=");
}

// The built-in answers: a client's happy path works with nothing scripted.
TEST(FaultServerBuiltIn, BehavesLikeATinyKinesis) {
    FaultServer server;
    EXPECT_EQ(kinesisPost(server.endpoint(), "CreateStream", "{\"StreamName\":\"a\",\"ShardCount\":3}").status, 200);
    EXPECT_EQ(kinesisPost(server.endpoint(), "CreateStream", "{\"StreamName\":\"a\",\"ShardCount\":3}").status, 400);
    const auto described = parsed(kinesisPost(server.endpoint(), "DescribeStream", "{\"StreamName\":\"a\"}").body);
    EXPECT_EQ(described["StreamDescription"]["Shards"].Size(), 3u);
    EXPECT_EQ(kinesisPost(server.endpoint(), "DescribeStream", "{\"StreamName\":\"zz\"}").status, 400);
    EXPECT_EQ(parsed(kinesisPost(server.endpoint(), "ListStreams", "{}").body)["StreamNames"].Size(), 1u);

    const auto first = jsonString(kinesisPost(server.endpoint(), "PutRecord", "{}").body, "SequenceNumber");
    const auto second = jsonString(kinesisPost(server.endpoint(), "PutRecord", "{}").body, "SequenceNumber");
    EXPECT_LT(first, second);
    const auto batch = parsed(kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(3)).body);
    EXPECT_EQ(batch["FailedRecordCount"].GetInt(), 0);
    EXPECT_EQ(batch["Records"].Size(), 3u);

    const auto iterator = jsonString(
        kinesisPost(server.endpoint(), "GetShardIterator", "{\"StreamName\":\"a\",\"ShardId\":\"s\"}").body,
        "ShardIterator");
    EXPECT_FALSE(iterator.empty());
    const auto records = parsed(
        kinesisPost(server.endpoint(), "GetRecords", "{\"ShardIterator\":\"" + iterator + "\"}").body);
    EXPECT_EQ(records["Records"].Size(), 0u);
    EXPECT_STREQ(records["NextShardIterator"].GetString(), iterator.c_str());
    EXPECT_EQ(kinesisPost(server.endpoint(), "Nope", "{}").status, 400);
}

TEST(FaultServerBuiltIn, CannedAnswersCountRecordsWithoutKeepingBodies) {
    FaultServer server;
    server.useCannedAnswers({3, 10});
    const auto batch = parsed(kinesisPost(server.endpoint(), "PutRecords", putRecordsBody(4)).body);
    EXPECT_EQ(batch["Records"].Size(), 4u);
    const auto records = parsed(kinesisPost(server.endpoint(), "GetRecords", "{\"ShardIterator\":\"x\"}").body);
    ASSERT_EQ(records["Records"].Size(), 3u);
    EXPECT_EQ(base64Decode(records["Records"][2]["Data"].GetString()).size(), 10u);
    EXPECT_EQ(server.requestCount(), 2);
    EXPECT_TRUE(server.requests().empty());
}

// Transport faults: each must look to the client exactly like the failure it stands for.
TEST(FaultServerFaults, CloseWithoutReplyGivesNoAnswerAndTheNextConnectionWorks) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::closeWithoutReply());
    const auto dropped = kinesisPost(server.endpoint(), "PutRecord", "{}");
    EXPECT_EQ(dropped.status, 0);
    EXPECT_FALSE(dropped.error.empty());
    EXPECT_EQ(kinesisPost(server.endpoint(), "PutRecord", "{}").status, 200);
    EXPECT_EQ(server.connectionCount(), 2);
}

TEST(FaultServerFaults, ResetConnectionGivesNoAnswer) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::resetConnection());
    EXPECT_EQ(kinesisPost(server.endpoint(), "PutRecord", "{}").status, 0);
}

TEST(FaultServerFaults, TruncatedBodyStopsShortOfItsLength) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::truncated(putRecordReply(), 5));
    const std::string raw = rawExchange(server.port(), "POST / HTTP/1.1\r\nHost: x\r\nX-Amz-Target: "
                                                       "Kinesis_20131202.PutRecord\r\nContent-Length: 2\r\n\r\n{}");
    const auto headEnd = raw.find("\r\n\r\n");
    ASSERT_NE(headEnd, std::string::npos);
    EXPECT_EQ(raw.substr(0, 15), "HTTP/1.1 200 OK");
    EXPECT_NE(raw.find("Content-Length: " + std::to_string(putRecordReply().body.size())), std::string::npos);
    EXPECT_EQ(raw.substr(headEnd + 4), putRecordReply().body.substr(0, 5));
}

TEST(FaultServerFaults, DelayOutlastsTheClientTimeout) {
    FaultServer server;
    server.enqueue("GetRecords", Reply::json("{}").withDelay(Millis(800)));
    const auto start = Clock::now();
    EXPECT_EQ(kinesisPost(server.endpoint(), "GetRecords", "{}", Millis(200)).status, 0);
    EXPECT_GE(elapsedSince(start), Millis(180));
}

TEST(FaultServerFaults, StalledBodyArrivesWholeAfterThePause) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::stalled(putRecordReply(), 4, Millis(300)));
    const auto start = Clock::now();
    const auto response = kinesisPost(server.endpoint(), "PutRecord", "{}", Millis(2000));
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, putRecordReply().body);
    EXPECT_GE(elapsedSince(start), Millis(290));
}

TEST(FaultServerFaults, RawBytesGoOutVerbatim) {
    FaultServer server;
    const std::string raw = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\n{}\n\r\nzz\r\n";
    server.enqueue("ListStreams", Reply::rawBytes(raw));
    EXPECT_EQ(rawExchange(server.port(), "POST / HTTP/1.1\r\nX-Amz-Target: Kinesis_20131202.ListStreams\r\n"
                                         "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n"),
              raw);
    EXPECT_EQ(server.requests().at(0).body, "{}");
}

TEST(FaultServerFaults, ChunkedAnswerIsReassembled) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::chunked(200, putRecordReply().body, 7));
    const auto response = kinesisPost(server.endpoint(), "PutRecord", "{\"StreamName\":\"c\"}");
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.body, putRecordReply().body);
    EXPECT_EQ(jsonString(server.lastRequest("PutRecord").body, "StreamName"), "c");
    EXPECT_THROW(server.lastRequest("GetRecords"), std::runtime_error);
}

TEST(FaultServerFaults, StopsPromptlyWithIdleConnectionsAndPendingDelays) {
    auto server = std::make_unique<FaultServer>();
    server->enqueue("GetRecords", Reply::json("{}").withDelay(Millis(10000)));
    const int idle = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(server->port()));
    ASSERT_EQ(::connect(idle, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::thread waiting([endpoint = server->endpoint()] { kinesisPost(endpoint, "GetRecords", "{}", Millis(5000)); });
    ASSERT_TRUE(server->waitForRequests("GetRecords", 1, Millis(2000)));

    const auto start = Clock::now();
    server.reset();
    EXPECT_LT(elapsedSince(start), Millis(1000));
    waiting.join();
    ::close(idle);
}

// The emulator: tests that use it rely on a running, answering instance with streams on demand.
TEST(KinesaliteEmulator, StartsOnceAndServesStreams) {
    Kinesalite& emulator = sharedKinesalite();
    EXPECT_EQ(&emulator, &sharedKinesalite());
    EXPECT_EQ(emulator.endpoint(), "http://127.0.0.1:" + std::to_string(emulator.port()));

    const std::string stream = emulator.createUniqueStream("harness", 2);
    EXPECT_EQ(emulator.shardIds(stream).size(), 2u);
    const auto put = emulator.putRecord(stream, std::string("bin\0ary", 7));
    EXPECT_FALSE(put.sequenceNumber.empty());
    EXPECT_FALSE(put.shardId.empty());
    EXPECT_NE(uniqueStreamName(), uniqueStreamName());
}

// The loader and its helpers.
TEST(LibraryLoader, NamesTheMissingVariable) {
    EnvVar unset("RXK_LIBRARY", std::nullopt);
    try {
        Library library;
        FAIL() << "loaded without RXK_LIBRARY";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("RXK_LIBRARY"), std::string::npos);
    }
}

TEST(LibraryLoader, ResolvesEveryExport) {
    Library library(RXK_FAKE_LIBRARY);
    EXPECT_NE(library.handle(), nullptr);
    EXPECT_NE(library.InititializeInterface, nullptr);
    EXPECT_EQ(reinterpret_cast<void*>(library.Dummy), library.symbol("Dummy"));
}

TEST(LibraryLoader, NamesAMissingExport) {
    try {
        Library library(RXK_FAKE_LIBRARY_WITHOUT_DUMMY);
        FAIL() << "loaded a library without Dummy";
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("lacks the export(s): Dummy"), std::string::npos) << e.what();
    }
}

TEST(LibraryLoader, ResolvesEveryExportOfTheLinkMap) {
    std::ifstream map(std::string(RXK_HARNESS_TEST_SOURCE_DIR) + "/src/rxkinesis.map");
    ASSERT_TRUE(map) << "src/rxkinesis.map not found";
    std::stringstream content;
    content << map.rdbuf();
    std::string text = content.str();
    const auto begin = text.find("global:");
    const auto end = text.find("extern");
    ASSERT_NE(begin, std::string::npos);
    std::istringstream words(text.substr(begin + 7, end - begin - 7));
    std::vector<std::string> exported;
    for (std::string word; words >> word;) exported.push_back(word.substr(0, word.find(';')));
    EXPECT_EQ(exported, exportNames());

    const std::string path = libraryPathFromEnvironment();
    if (path.empty() || ::access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "librxkinesis.so not built yet";
    Library library;
    EXPECT_NE(library.CreateClient, nullptr);
    EXPECT_NE(library.Dummy, nullptr);
}

TEST(LibraryLoader, EnvVarRestoresThePreviousValue) {
    ::setenv("RXK_HARNESS_PROBE", "before", 1);
    {
        EnvVar changed("RXK_HARNESS_PROBE", std::string("during"));
        EXPECT_STREQ(std::getenv("RXK_HARNESS_PROBE"), "during");
        EnvVar removed("RXK_HARNESS_PROBE", std::nullopt);
        EXPECT_EQ(std::getenv("RXK_HARNESS_PROBE"), nullptr);
    }
    EXPECT_STREQ(std::getenv("RXK_HARNESS_PROBE"), "before");
    ::unsetenv("RXK_HARNESS_PROBE");
    {
        ServiceEnvironment environment("http://127.0.0.1:1", ServiceEnvironment::SdkRetries::Off);
        EXPECT_STREQ(std::getenv("AWS_ENDPOINT_URL_KINESIS"), "http://127.0.0.1:1");
        EXPECT_STREQ(std::getenv("AWS_MAX_ATTEMPTS"), "1");
    }
    EXPECT_EQ(std::getenv("AWS_MAX_ATTEMPTS"), nullptr);
}

TEST(LibraryLoader, LogCaptureKeepsTextAndLength) {
    LogCapture::reset();
    LogCapture::logSink("failure line", 12);
    LogCapture::traceSink("trace line", -1);
    LogCapture::logSink(nullptr, 0);
    ASSERT_EQ(LogCapture::logLines().size(), 2u);
    EXPECT_EQ(LogCapture::logLines()[0].text, "failure line");
    EXPECT_EQ(LogCapture::logLines()[0].length, 12);
    EXPECT_TRUE(LogCapture::logLines()[1].nullText);
    EXPECT_EQ(LogCapture::traceLines()[0].length, -1);
    EXPECT_TRUE(LogCapture::traceContains("trace"));
    EXPECT_FALSE(LogCapture::logContains("trace"));
    LogCapture::reset();
    EXPECT_TRUE(LogCapture::logTexts().empty());
}

}  // namespace
}  // namespace rxk::test
