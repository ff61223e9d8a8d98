// PollShardIterator: the callback gets every record once, in order, from the poll's own bounded
// buffers, and the poll ends after two empty fetches in a row, a stop, or a missing reading.
#include "reading_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>

namespace rxk::test {
namespace {

struct PolledRecord {
    std::int32_t client;
    std::string stream;
    std::string shard;
    std::string sequenceNumber;
    std::string text;
    std::int32_t length;
};

// The callback is a plain function: what it saw waits here.
std::vector<PolledRecord>& polled() {
    static std::vector<PolledRecord> records;
    return records;
}

std::int32_t recordingCallback(std::int32_t id, const char* stream, const char* shard,
                               const char* sequenceNumber, const char* data, std::int32_t length) {
    polled().push_back({id, stream, shard, sequenceNumber, data, length});
    return 0;
}

std::int32_t stoppingCallback(std::int32_t id, const char* stream, const char* shard,
                              const char* sequenceNumber, const char* data, std::int32_t length) {
    recordingCallback(id, stream, shard, sequenceNumber, data, length);
    connector().StopShardIterator(id, stream, shard);
    return 0;
}

std::size_t countingCallbackCalls = 0;
std::int32_t countingCallback(std::int32_t, const char*, const char*, const char*, const char*, std::int32_t) {
    ++countingCallbackCalls;
    return 1;
}

std::vector<TestRecord> testRecords(const std::vector<std::string>& data, std::uint64_t firstSequence) {
    std::vector<TestRecord> records;
    for (std::size_t i = 0; i < data.size(); ++i)
        records.push_back({data[i], "pk", sequenceNumber(firstSequence + i)});
    return records;
}

class ScriptedPoll : public ::testing::Test {
protected:
    void SetUp() override {
        polled().clear();
        LogCapture::reset();
    }
    std::int32_t start(std::int32_t limit = 100) {
        return connector().StartShardIterator(client.id(), "polled", kShard0, nullptr, limit, RXK_TRIM_HORIZON);
    }
    std::int32_t poll(PollCallback callback = recordingCallback) {
        return connector().PollShardIterator(client.id(), "polled", kShard0, callback);
    }
    // GetRecords answers in order: each batch carries "it<n+1>" as its next iterator.
    void scriptBatches(const std::vector<std::vector<std::string>>& batches) {
        std::uint64_t sequence = 1;
        for (std::size_t i = 0; i < batches.size(); ++i) {
            server.enqueue("GetRecords", getRecordsReply(testRecords(batches[i], sequence), "it" + std::to_string(i + 1)));
            sequence += batches[i].size();
        }
    }
    std::vector<std::string> iteratorsSent() const {
        std::vector<std::string> sent;
        for (const auto& request : server.requests("GetRecords")) sent.push_back(jsonString(request.body, "ShardIterator"));
        return sent;
    }
    std::vector<std::string> polledTexts() const {
        std::vector<std::string> texts;
        for (const auto& record : polled()) texts.push_back(record.text);
        return texts;
    }

    FaultServer server;
    Client client{server.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch records out of order, a record given twice, or a poll that ends after one empty
// fetch, or runs on without a service call: the end is two empty fetches in a row.
TEST_F(ScriptedPoll, CallsBackInBatchOrderAndEndsAfterTwoEmptyFetches) {
    server.enqueue("GetShardIterator", shardIteratorReply("it0"));
    scriptBatches({{"a", "b"}, {"c"}, {}, {}});
    ASSERT_EQ(start(), RXK_OK);

    EXPECT_EQ(poll(), RXK_NO_RECORD);
    ASSERT_EQ(polled().size(), 3u);
    EXPECT_EQ(polledTexts(), (std::vector<std::string>{"a", "b", "c"}));
    for (std::size_t i = 0; i < polled().size(); ++i) {
        EXPECT_EQ(polled()[i].client, client.id());
        EXPECT_EQ(polled()[i].stream, "polled");
        EXPECT_EQ(polled()[i].shard, kShard0);
        EXPECT_EQ(polled()[i].sequenceNumber, sequenceNumber(i + 1));
        EXPECT_EQ(polled()[i].length, 1);
    }
    // Each fetch renews the iterator from the latest answer.
    EXPECT_EQ(iteratorsSent(), (std::vector<std::string>{"it0", "it1", "it2", "it3"}));
}

// Would catch a poll that hands out records of a batch fetched by its own first step.
TEST_F(ScriptedPoll, AfterAnEmptyStartThePollOnlyFetches) {
    scriptBatches({{}, {"x", "y"}});
    ASSERT_EQ(start(), RXK_NO_RECORD);
    EXPECT_EQ(poll(), RXK_OK);
    EXPECT_TRUE(polled().empty());
    EXPECT_EQ(server.requestCount("GetRecords"), 2);

    EXPECT_EQ(poll(), RXK_NO_RECORD);  // now x and y, then the built-in empty answers
    EXPECT_EQ(polledTexts(), (std::vector<std::string>{"x", "y"}));

    polled().clear();
    EXPECT_EQ(poll(), RXK_NO_RECORD);  // empty batch: one fetch, nothing to call
    EXPECT_TRUE(polled().empty());
}

// Would catch the callback's result being taken as a request to stop.
TEST_F(ScriptedPoll, TheCallbacksResultIsNotRead) {
    scriptBatches({{"1", "2", "3"}});
    ASSERT_EQ(start(), RXK_OK);
    countingCallbackCalls = 0;
    EXPECT_EQ(poll(countingCallback), RXK_NO_RECORD);
    EXPECT_EQ(countingCallbackCalls, 3u);
}

// Would catch a poll that keeps using a reading the callback has stopped.
TEST_F(ScriptedPoll, ACallbackThatStopsThePairEndsThePollWithMinus4) {
    scriptBatches({{"first", "second"}});
    ASSERT_EQ(start(), RXK_OK);
    EXPECT_EQ(poll(stoppingCallback), RXK_NO_ITERATOR);
    EXPECT_EQ(polledTexts(), (std::vector<std::string>{"first"}));
}

// Would catch a poll without reading state calling the callback or losing a line.
TEST_F(ScriptedPoll, PollWithoutReadingStateGivesMinus4AndTwoLines) {
    EXPECT_EQ(poll(), RXK_NO_ITERATOR);
    EXPECT_TRUE(polled().empty());
    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "FindIterator [polled]:[shardId-000000000000] iterator not found"));
    EXPECT_EQ(lines[1], clientLine(client.id(), "poll [polled]:[shardId-000000000000] no iterator available"));
    EXPECT_EQ(client.lastError(), lines[1]);
}

// Would catch a write past the poll's 10000-byte data buffer or its 264-byte sequence buffer:
// the text is cut and terminated, the length stays the record's own. GetRecordFromIterator,
// whose host sizes its buffers, gets everything.
TEST_F(ScriptedPoll, RecordsLongerThanThePollBuffersAreCutButKeepTheirLength) {
    const std::string longData(12000, 'L');
    const std::string longSequence(300, '7');
    const std::string fitting(9999, 'F');
    const std::string oneOver(10000, 'O');
    std::vector<TestRecord> batch = {{longData, "pk", longSequence}, {fitting, "pk", sequenceNumber(2)},
                                     {oneOver, "pk", std::string(263, '9')}};
    server.enqueue("GetRecords", getRecordsReply(batch, "next"));
    ASSERT_EQ(start(), RXK_OK);

    EXPECT_EQ(poll(), RXK_NO_RECORD);
    ASSERT_EQ(polled().size(), 3u);
    EXPECT_EQ(polled()[0].text, longData.substr(0, 9999));
    EXPECT_EQ(polled()[0].length, 12000);
    EXPECT_EQ(polled()[0].sequenceNumber, longSequence.substr(0, 263));
    EXPECT_EQ(polled()[1].text, fitting);
    EXPECT_EQ(polled()[1].length, 9999);
    EXPECT_EQ(polled()[2].text, oneOver.substr(0, 9999));
    EXPECT_EQ(polled()[2].length, 10000);
    EXPECT_EQ(polled()[2].sequenceNumber, std::string(263, '9'));

    connector().StopShardIterator(client.id(), "polled", kShard0);
    server.enqueue("GetRecords", getRecordsReply(batch, "next"));
    ASSERT_EQ(start(), RXK_OK);
    const ReadResult got = readRecord(client.id(), "polled", kShard0);
    EXPECT_EQ(got.text, longData);
    EXPECT_EQ(got.length, 12000);
    EXPECT_EQ(got.sequenceNumber, longSequence.substr(0, RXK_POLL_SEQUENCE_BYTES - 1));
    EXPECT_TRUE(got.guardsIntact);
}

// Would catch a spin at the end of a closed shard: without a next iterator every fetch still
// goes to the service (with the empty text) and comes back empty, so the poll ends.
TEST_F(ScriptedPoll, AClosedShardsEndEndsThePoll) {
    server.enqueue("GetShardIterator", shardIteratorReply("it0"));
    server.enqueue("GetRecords", getRecordsReply(testRecords({"last"}, 1), ""));
    ASSERT_EQ(start(), RXK_OK);
    EXPECT_EQ(poll(), RXK_NO_RECORD);
    EXPECT_EQ(polledTexts(), (std::vector<std::string>{"last"}));
    EXPECT_EQ(iteratorsSent(), (std::vector<std::string>{"it0", "", ""}));
    EXPECT_EQ(connector().NextShardIterator(client.id(), "polled", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(server.requestCount("GetRecords"), 4);
}

// Would catch a failed GetRecords being reported or breaking the reading: it looks like an
// empty batch, and the error text keeps what it held.
TEST_F(ScriptedPoll, AFailedGetRecordsLooksLikeAnEmptyBatch) {
    EXPECT_EQ(connector().StopShardIterator(client.id(), "none", kShard0), RXK_NO_ITERATOR);
    const std::string before = client.lastError();
    scriptBatches({{"kept"}});
    server.enqueue("GetRecords", Reply::error(400, "ExpiredIteratorException", "Iterator expired."));
    server.enqueue("GetRecords", Reply::internalFailure());
    ASSERT_EQ(start(), RXK_OK);
    LogCapture::reset();

    EXPECT_EQ(poll(), RXK_NO_RECORD);
    EXPECT_EQ(polledTexts(), (std::vector<std::string>{"kept"}));
    EXPECT_TRUE(logTexts().empty());
    EXPECT_EQ(client.lastError(), before);
    // A failed answer carries no next iterator: the following fetch sends the empty text.
    EXPECT_EQ(connector().NextShardIterator(client.id(), "polled", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(iteratorsSent().back(), "");
}

// Would catch a record without data being taken for no record.
TEST_F(ScriptedPoll, ARecordWithoutDataIsARecord) {
    scriptBatches({{""}});
    ASSERT_EQ(start(), RXK_OK);
    const ReadResult got = readRecord(client.id(), "polled", kShard0);
    EXPECT_EQ(got.result, RXK_OK);
    EXPECT_EQ(got.text, "");
    EXPECT_EQ(got.length, 0);
    EXPECT_TRUE(got.guardsIntact);
}

// Against the emulator: every record of several batches, in order, with NUL-cut texts.
class EmulatorPoll : public ::testing::Test {
protected:
    void SetUp() override { polled().clear(); }

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
    std::string stream = kinesalite.createUniqueStream("poll");
};

// Would catch records lost or repeated across batch boundaries of a real service.
TEST_F(EmulatorPoll, EveryRecordOnceInOrderAcrossBatches) {
    std::vector<std::string> data;
    for (int i = 0; i < 7; ++i) data.push_back("record-" + std::to_string(i));
    data.push_back(std::string("ab\0cd", 5));
    const auto sequences = putRecords(kinesalite, stream, data);
    ASSERT_EQ(connector().StartShardIterator(client.id(), stream.c_str(), kShard0, nullptr, 3, RXK_TRIM_HORIZON), RXK_OK);
    EXPECT_EQ(connector().PollShardIterator(client.id(), stream.c_str(), kShard0, recordingCallback), RXK_NO_RECORD);
    ASSERT_EQ(polled().size(), data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        EXPECT_EQ(polled()[i].sequenceNumber, sequences[i]);
        EXPECT_EQ(polled()[i].length, static_cast<std::int32_t>(data[i].size()));
    }
    EXPECT_EQ(polled()[0].text, "record-0");
    EXPECT_EQ(polled()[7].text, "ab");
}

// `count` records of 100 bytes that name their position, for the throughput figures.
std::vector<std::string> hundredByteRecords(int count) {
    std::vector<std::string> data;
    for (int i = 0; i < count; ++i) {
        data.push_back("rec" + std::to_string(i) + "-");
        data.back().resize(100, 'p');
    }
    return data;
}

// The figure of merit of the reading path: records per second through PollShardIterator from
// the emulator, for one batch of 10,000 records of 100 bytes.
TEST_F(EmulatorPoll, ThroughputOfTenThousandRecords) {
    constexpr int kRecords = 10000;
    const std::vector<std::string> data = hundredByteRecords(kRecords);
    putRecords(kinesalite, stream, data);
    countingCallbackCalls = 0;

    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(connector().StartShardIterator(client.id(), stream.c_str(), kShard0, nullptr, kRecords, RXK_TRIM_HORIZON), RXK_OK);
    EXPECT_EQ(connector().PollShardIterator(client.id(), stream.c_str(), kShard0, countingCallback), RXK_NO_RECORD);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();

    EXPECT_EQ(countingCallbackCalls, static_cast<std::size_t>(kRecords));
    const double perSecond = kRecords / seconds;
    RecordProperty("records_per_second", static_cast<int>(perSecond));
    std::printf("PollShardIterator: %d records in %.3f s = %.0f records/s\n", kRecords, seconds, perSecond);
}

// The library's own share of the reading path: the same 10,000 records from a prebuilt answer
// of the fault server, so the figure holds transfer, the SDK's decoding and the hand-out only.
TEST_F(ScriptedPoll, ThroughputOfTenThousandRecordsWithoutTheEmulator) {
    constexpr int kRecords = 10000;
    const std::vector<std::string> data = hundredByteRecords(kRecords);
    server.enqueue("GetRecords", getRecordsReply(testRecords(data, 1), "next"));
    countingCallbackCalls = 0;

    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(start(kRecords), RXK_OK);
    EXPECT_EQ(poll(countingCallback), RXK_NO_RECORD);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();

    EXPECT_EQ(countingCallbackCalls, static_cast<std::size_t>(kRecords));
    const double perSecond = kRecords / seconds;
    RecordProperty("records_per_second", static_cast<int>(perSecond));
    std::printf("PollShardIterator without the emulator: %d records in %.3f s = %.0f records/s\n", kRecords,
                seconds, perSecond);
}

}  // namespace
}  // namespace rxk::test
