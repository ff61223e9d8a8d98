// GetRecord: one record at a sequence number, without reading state, quietly -1 when none came.
#include "reading_support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace rxk::test {
namespace {

constexpr char kGuard = static_cast<char>(0x5A);

struct OneShot {
    std::int32_t result;
    std::string text;
    std::int32_t length;
    bool guardsIntact;
    bool dataUntouched;
};

OneShot getRecord(std::int32_t client, const std::string& stream, const std::string& sequence) {
    std::vector<char> data(64 * 1024, kGuard);
    OneShot got{};
    got.length = -777;
    got.result = connector().GetRecord(client, stream.c_str(), kShard0, sequence.c_str(), data.data(), &got.length);
    got.dataUntouched = std::all_of(data.begin(), data.end(), [](char c) { return c == kGuard; });
    const auto end = std::find(data.begin(), data.end(), '\0');
    if (end != data.end()) {
        got.text.assign(data.begin(), end);
        got.guardsIntact = std::all_of(end + 1, data.end(), [](char c) { return c == kGuard; });
    }
    return got;
}

class OneShotRead : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
    std::string stream = kinesalite.createUniqueStream("oneshot");
};

// Would catch a read at the wrong position or a copy past the first NUL.
TEST_F(OneShotRead, ReadsTheRecordAtTheSequenceNumberAsText) {
    const auto sequences = putRecords(kinesalite, stream, {"first", std::string("ab\0cd", 5), "third"});
    OneShot got = getRecord(client.id(), stream, sequences[0]);
    EXPECT_EQ(got.result, RXK_OK);
    EXPECT_EQ(got.text, "first");
    EXPECT_EQ(got.length, 5);
    EXPECT_TRUE(got.guardsIntact);

    got = getRecord(client.id(), stream, sequences[1]);
    EXPECT_EQ(got.result, RXK_OK);
    EXPECT_EQ(got.text, "ab");
    EXPECT_EQ(got.length, 5);
    EXPECT_TRUE(got.guardsIntact);

    got = getRecord(client.id(), stream, sequences[2]);
    EXPECT_EQ(got.text, "third");
}

// Would catch GetRecord using or moving the reading of the same pair.
TEST_F(OneShotRead, LeavesARunningReadingOfThePairAlone) {
    const std::vector<std::string> data = {"r0", "r1", "r2"};
    const auto sequences = putRecords(kinesalite, stream, data);
    ASSERT_EQ(connector().StartShardIterator(client.id(), stream.c_str(), kShard0, nullptr, 10, RXK_TRIM_HORIZON), RXK_OK);
    EXPECT_EQ(readRecord(client.id(), stream, kShard0).text, "r0");

    EXPECT_EQ(getRecord(client.id(), stream, sequences[2]).text, "r2");

    const ReadResult next = readRecord(client.id(), stream, kShard0);
    EXPECT_EQ(next.text, "r1");
    EXPECT_EQ(next.sequenceNumber, sequences[1]);
    EXPECT_EQ(readRecord(client.id(), stream, kShard0).text, "r2");
}

// Would catch a missing record being reported, or the host's buffers written without a record.
TEST_F(OneShotRead, NoRecordGivesMinus1SilentlyAndTouchesNothing) {
    const auto sequences = putRecords(kinesalite, stream, {"only"});
    EXPECT_EQ(connector().StopShardIterator(client.id(), stream.c_str(), kShard0), RXK_NO_ITERATOR);
    const std::string before = client.lastError();
    LogCapture::reset();

    for (const auto& [onStream, sequence] : std::vector<std::pair<std::string, std::string>>{
             {"no-such-stream", sequences[0]}, {stream, "not-a-sequence-number"}}) {
        const OneShot got = getRecord(client.id(), onStream, sequence);
        EXPECT_EQ(got.result, RXK_ERROR);
        EXPECT_EQ(got.length, -777);
        EXPECT_TRUE(got.dataUntouched);
    }
    EXPECT_TRUE(logTexts().empty());
    EXPECT_EQ(client.lastError(), before);
}

// Would catch the wrong request shape: always AT_SEQUENCE_NUMBER with the host's number, and a
// GetRecords of exactly one record sent even when GetShardIterator failed.
TEST(OneShotRequests, AlwaysAtTheSequenceNumberWithLimitOne) {
    FaultServer server;
    Client client(server.endpoint(), ServiceEnvironment::SdkRetries::Off);
    server.enqueue("GetShardIterator", shardIteratorReply("one-shot-iterator"));
    server.enqueue("GetRecords", getRecordsReply({{"payload", "pk", sequenceNumber(9)}}, "unused"));
    EXPECT_EQ(getRecord(client.id(), "s", sequenceNumber(9)).text, "payload");

    server.enqueue("GetShardIterator", Reply::error(400, "ResourceNotFoundException", "Stream s not found."));
    EXPECT_EQ(getRecord(client.id(), "s", sequenceNumber(9)).result, RXK_ERROR);

    const auto iterators = server.requests("GetShardIterator");
    const auto reads = server.requests("GetRecords");
    ASSERT_EQ(iterators.size(), 2u);
    ASSERT_EQ(reads.size(), 2u);
    EXPECT_EQ(jsonString(iterators[0].body, "StreamName"), "s");
    EXPECT_EQ(jsonString(iterators[0].body, "ShardId"), kShard0);
    EXPECT_EQ(jsonString(iterators[0].body, "ShardIteratorType"), "AT_SEQUENCE_NUMBER");
    EXPECT_EQ(jsonString(iterators[0].body, "StartingSequenceNumber"), sequenceNumber(9));
    EXPECT_EQ(jsonString(reads[0].body, "ShardIterator"), "one-shot-iterator");
    EXPECT_EQ(jsonInt(reads[0].body, "Limit"), 1);
    EXPECT_EQ(jsonString(reads[1].body, "ShardIterator"), "");
    EXPECT_EQ(jsonInt(reads[1].body, "Limit"), 1);
}

}  // namespace
}  // namespace rxk::test
