// What a start puts on the wire: the SDK's position for each host code, the start value only
// where the code uses it, the limit unchanged, and nothing at all for a code that has no meaning.
#include "reading_support.h"

#include <gtest/gtest.h>

namespace rxk::test {
namespace {

class IteratorRequests : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    std::int32_t start(std::int32_t type, const char* startValue, std::int32_t limit = 10) {
        return connector().StartShardIterator(client.id(), "requests", kShard0, startValue, limit, type);
    }
    RecordedRequest lastIteratorRequest() const { return server.requests("GetShardIterator").back(); }
    bool lastHas(const char* member) const { return lastIteratorRequest().body.find(member) != std::string::npos; }

    FaultServer server;
    Client client{server.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch the host's code being cast to the SDK's enumeration, whose order differs (3 is
// AT_TIMESTAMP for the host, TRIM_HORIZON for the SDK).
TEST_F(IteratorRequests, EachCodeSendsItsPosition) {
    const std::vector<std::pair<std::int32_t, std::string>> expected = {
        {RXK_ITERATOR_NOT_SET, ""},          {RXK_AT_SEQUENCE_NUMBER, "AT_SEQUENCE_NUMBER"},
        {RXK_AFTER_SEQUENCE_NUMBER, "AFTER_SEQUENCE_NUMBER"}, {RXK_AT_TIMESTAMP, "AT_TIMESTAMP"},
        {RXK_TRIM_HORIZON, "TRIM_HORIZON"}, {RXK_LATEST, "LATEST"}};
    for (const auto& [code, name] : expected) {
        connector().StopShardIterator(client.id(), "requests", kShard0);
        EXPECT_EQ(start(code, nullptr), RXK_NO_RECORD) << code;
        const auto request = lastIteratorRequest();
        EXPECT_EQ(jsonString(request.body, "ShardIteratorType"), name) << code;
        EXPECT_EQ(jsonString(request.body, "StreamName"), "requests");
        EXPECT_EQ(jsonString(request.body, "ShardId"), kShard0);
    }
}

// Would catch start values sent where the code ignores them, or null ones dereferenced.
TEST_F(IteratorRequests, StartValuesGoOnlyWithTheCodesThatUseThem) {
    EXPECT_EQ(start(RXK_AT_SEQUENCE_NUMBER, sequenceNumber(5).c_str()), RXK_NO_RECORD);
    EXPECT_EQ(jsonString(lastIteratorRequest().body, "StartingSequenceNumber"), sequenceNumber(5));
    connector().StopShardIterator(client.id(), "requests", kShard0);
    EXPECT_EQ(start(RXK_AFTER_SEQUENCE_NUMBER, sequenceNumber(6).c_str()), RXK_NO_RECORD);
    EXPECT_EQ(jsonString(lastIteratorRequest().body, "StartingSequenceNumber"), sequenceNumber(6));

    for (std::int32_t code : {RXK_ITERATOR_NOT_SET, RXK_TRIM_HORIZON, RXK_LATEST, RXK_AT_SEQUENCE_NUMBER,
                              RXK_AFTER_SEQUENCE_NUMBER, RXK_AT_TIMESTAMP}) {
        connector().StopShardIterator(client.id(), "requests", kShard0);
        const bool ignoresValue = code == RXK_ITERATOR_NOT_SET || code == RXK_TRIM_HORIZON || code == RXK_LATEST;
        EXPECT_EQ(start(code, ignoresValue ? "2016-04-04T19:58:46Z" : nullptr), RXK_NO_RECORD);
        EXPECT_FALSE(lastHas("StartingSequenceNumber")) << code;
        EXPECT_FALSE(lastHas("Timestamp")) << code;
    }
    EXPECT_FALSE(LogCapture::logContains("timestamp:"));
    EXPECT_EQ(server.requestCount("GetShardIterator"), 8);
}

// Would catch a timestamp sent as text or in milliseconds: the service wants epoch seconds.
TEST_F(IteratorRequests, TimestampGoesAsEpochSeconds) {
    EXPECT_EQ(start(RXK_AT_TIMESTAMP, "2016-04-04T19:58:46.480Z"), RXK_NO_RECORD);
    const std::string body = lastIteratorRequest().body;
    EXPECT_NE(body.find("1459799926.48"), std::string::npos) << body;
}

// Would catch a restart that clears what only its own path writes: a sequence number from an
// earlier start stays in the request.
TEST_F(IteratorRequests, ARestartKeepsTheEarlierSequenceNumber) {
    EXPECT_EQ(start(RXK_AT_SEQUENCE_NUMBER, sequenceNumber(3).c_str()), RXK_NO_RECORD);
    EXPECT_EQ(start(RXK_LATEST, nullptr), RXK_NO_RECORD);
    EXPECT_EQ(jsonString(lastIteratorRequest().body, "ShardIteratorType"), "LATEST");
    EXPECT_EQ(jsonString(lastIteratorRequest().body, "StartingSequenceNumber"), sequenceNumber(3));
}

// Would catch a limit "corrected" before it reaches the service.
TEST_F(IteratorRequests, TheLimitGoesUnchangedWithEveryFetch) {
    for (std::int32_t limit : {0, -5, 1, 10000, 20000}) {
        EXPECT_EQ(start(RXK_TRIM_HORIZON, nullptr, limit), RXK_NO_RECORD);
        EXPECT_EQ(connector().NextShardIterator(client.id(), "requests", kShard0), RXK_NO_RECORD);
        const auto reads = server.requests("GetRecords");
        ASSERT_GE(reads.size(), 2u);
        EXPECT_EQ(jsonInt(reads[reads.size() - 2].body, "Limit", 999999), limit);
        EXPECT_EQ(jsonInt(reads.back().body, "Limit", 999999), limit);
    }
}

// Would catch a code outside 0..5 being sent with a made-up position or leaving a reading behind.
TEST_F(IteratorRequests, CodesWithoutMeaningAreRefusedBeforeAnyRequest) {
    for (std::int32_t code : {6, -1, 100, INT32_MIN}) {
        LogCapture::reset();
        EXPECT_EQ(start(code, nullptr), RXK_ERROR);
        const std::string line = clientLine(client.id(), "startGetIterator [requests]:[shardId-000000000000] unknown type:" +
                                                             std::to_string(code));
        EXPECT_TRUE(LogCapture::logContains(line)) << code;
        EXPECT_EQ(client.lastError(), line);
    }
    EXPECT_EQ(server.requestCount(), 0);
    EXPECT_EQ(connector().StopShardIterator(client.id(), "requests", kShard0), RXK_NO_ITERATOR);
}

// Would catch a start that ignores the service's iterator or a fetch that doesn't renew it.
TEST_F(IteratorRequests, FetchesFollowTheIteratorChain) {
    server.enqueue("GetShardIterator", shardIteratorReply("first-iterator"));
    server.enqueue("GetRecords", getRecordsReply({}, "second-iterator"));
    server.enqueue("GetRecords", getRecordsReply({}, "third-iterator"));
    EXPECT_EQ(start(RXK_TRIM_HORIZON, nullptr), RXK_NO_RECORD);
    EXPECT_EQ(connector().NextShardIterator(client.id(), "requests", kShard0), RXK_NO_RECORD);
    const ReadResult got = readRecord(client.id(), "requests", kShard0);
    EXPECT_EQ(got.result, RXK_NO_RECORD);
    const auto reads = server.requests("GetRecords");
    ASSERT_EQ(reads.size(), 3u);
    EXPECT_EQ(jsonString(reads[0].body, "ShardIterator"), "first-iterator");
    EXPECT_EQ(jsonString(reads[1].body, "ShardIterator"), "second-iterator");
    EXPECT_EQ(jsonString(reads[2].body, "ShardIterator"), "third-iterator");
}

}  // namespace
}  // namespace rxk::test
