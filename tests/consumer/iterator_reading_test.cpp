// Reading a shard of the emulator through the exports: start positions by type code, the cursor
// over a batch and the fetches between batches, records as text, and restart after a stop.
#include "reading_support.h"

#include <gtest/gtest.h>

#include <cctype>

namespace rxk::test {
namespace {

class EmulatorReading : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    std::int32_t start(std::int32_t type, const char* startValue = nullptr, std::int32_t limit = 10,
                       const std::string& onStream = "") {
        const std::string& name = onStream.empty() ? stream : onStream;
        return connector().StartShardIterator(client.id(), name.c_str(), kShard0, startValue, limit, type);
    }
    ReadResult read(const std::string& onStream = "") {
        return readRecord(client.id(), onStream.empty() ? stream : onStream, kShard0);
    }
    std::int32_t next() { return connector().NextShardIterator(client.id(), stream.c_str(), kShard0); }
    std::int32_t stop() { return connector().StopShardIterator(client.id(), stream.c_str(), kShard0); }

    // Expects the next read to hand out record `index` of `data`/`sequences`.
    void expectRecord(const std::vector<std::string>& data, const std::vector<std::string>& sequences,
                      std::size_t index) {
        const ReadResult got = read();
        ASSERT_EQ(got.result, RXK_OK) << "record " << index;
        EXPECT_EQ(got.text, data[index]);
        EXPECT_EQ(got.length, static_cast<std::int32_t>(data[index].size()));
        EXPECT_EQ(got.sequenceNumber, sequences[index]);
        EXPECT_TRUE(got.guardsIntact);
    }
    void expectNoRecord() {
        const ReadResult got = read();
        EXPECT_EQ(got.result, RXK_NO_RECORD);
        EXPECT_EQ(got.length, 0);
        EXPECT_TRUE(got.buffersUntouched);
    }

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
    std::string stream = kinesalite.createUniqueStream("reading");
};

// Would catch the host's codes being passed as the SDK's enumeration (whose order differs) or a
// start value ignored on the path that needs it.
TEST_F(EmulatorReading, EachTypeCodeStartsWhereItSays) {
    const std::vector<std::string> data = {"r0", "r1", "r2", "r3"};
    const auto sequences = putRecords(kinesalite, stream, data);

    ASSERT_EQ(start(RXK_TRIM_HORIZON), RXK_OK);
    expectRecord(data, sequences, 0);
    ASSERT_EQ(stop(), RXK_OK);

    ASSERT_EQ(start(RXK_AT_SEQUENCE_NUMBER, sequences[2].c_str()), RXK_OK);
    expectRecord(data, sequences, 2);
    ASSERT_EQ(stop(), RXK_OK);

    ASSERT_EQ(start(RXK_AFTER_SEQUENCE_NUMBER, sequences[2].c_str()), RXK_OK);
    expectRecord(data, sequences, 3);
    ASSERT_EQ(stop(), RXK_OK);

    ASSERT_EQ(start(RXK_AT_TIMESTAMP, "2016-04-04T19:58:46.480Z"), RXK_OK);
    expectRecord(data, sequences, 0);
    ASSERT_EQ(stop(), RXK_OK);

    ASSERT_EQ(start(RXK_LATEST), RXK_NO_RECORD);
    expectNoRecord();
    const auto later = putRecords(kinesalite, stream, {"r4"});
    const std::vector<std::string> all = {"r0", "r1", "r2", "r3", "r4"};
    const std::vector<std::string> allSequences = {sequences[0], sequences[1], sequences[2], sequences[3], later[0]};
    expectRecord(all, allSequences, 4);
    ASSERT_EQ(stop(), RXK_OK);

    // NOT_SET is no position the service accepts: the failed start looks like an empty batch.
    ASSERT_EQ(start(RXK_ITERATOR_NOT_SET), RXK_NO_RECORD);
    expectNoRecord();
}

// Would catch a timestamp line with the wrong fields, a one-based month, or one on the wrong sink.
TEST_F(EmulatorReading, TimestampStartShowsTheParsedValueWithZeroBasedMonth) {
    // The emulator answers an AT_TIMESTAMP start only when some record is at or after the time.
    putRecords(kinesalite, stream, {"stamped"});
    ASSERT_EQ(start(RXK_AT_TIMESTAMP, "2016-04-04T19:58:46.480Z"), RXK_OK);
    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "startGetIterator [" + stream +
                                                    "]:[shardId-000000000000] timestamp:2016-04-04T19:58:46.480Z "
                                                    "ts:2016-03-04 19.58.46 ItTimestamp:2016-03-04 19.58.46"));
    EXPECT_FALSE(LogCapture::traceContains("timestamp:"));
    EXPECT_EQ(client.lastError(), "");

    LogCapture::reset();
    ASSERT_EQ(start(RXK_AT_TIMESTAMP, "not a time"), RXK_OK);  // the epoch: from the first record
    EXPECT_TRUE(LogCapture::logContains("timestamp:not a time ts:1970-00-01 00.00.00 ItTimestamp:1970-00-01 00.00.00"));
}

// Would catch an off-by-one at the end of a batch: the call after the last record must fetch
// and hand out the first record of the next batch in that same call.
TEST_F(EmulatorReading, CursorWalksTheBatchAndTheNextBatchComesInTheSameCall) {
    const std::vector<std::string> data = {"a0", "a1", "a2", "a3", "a4"};
    const auto sequences = putRecords(kinesalite, stream, data);
    ASSERT_EQ(start(RXK_TRIM_HORIZON, nullptr, 2), RXK_OK);
    for (std::size_t i = 0; i < data.size(); ++i) expectRecord(data, sequences, i);
    expectNoRecord();
    EXPECT_TRUE(LogCapture::traceContains(clientLine(client.id(), "getRecordFromIterator [" + stream +
                                                                      "]:[shardId-000000000000] size:2 cout:2 next iterator...")));
}

// Would catch NextShardIterator fetching from the cursor instead of from the latest answer.
TEST_F(EmulatorReading, NextDropsTheUnreadRecordsOfTheBatch) {
    const std::vector<std::string> data = {"b0", "b1", "b2", "b3", "b4"};
    const auto sequences = putRecords(kinesalite, stream, data);
    ASSERT_EQ(start(RXK_TRIM_HORIZON, nullptr, 2), RXK_OK);
    expectRecord(data, sequences, 0);
    EXPECT_EQ(next(), RXK_OK);
    expectRecord(data, sequences, 2);
    expectRecord(data, sequences, 3);
    EXPECT_EQ(next(), RXK_OK);  // b4 alone
    EXPECT_EQ(next(), RXK_NO_RECORD);
    expectNoRecord();
}

// Would catch an empty start or an empty fetch that leaves the reading unusable.
TEST_F(EmulatorReading, EmptyBatchesLeaveTheReadingUsable) {
    ASSERT_EQ(start(RXK_LATEST), RXK_NO_RECORD);
    EXPECT_EQ(next(), RXK_NO_RECORD);
    const std::vector<std::string> data = {"late"};
    const auto sequences = putRecords(kinesalite, stream, data);
    expectRecord(data, sequences, 0);
}

// Would catch a restart after stop that keeps anything of the old reading.
TEST_F(EmulatorReading, StopAndStartAgainGivesAFreshReading) {
    const std::vector<std::string> data = {"c0", "c1", "c2"};
    const auto sequences = putRecords(kinesalite, stream, data);
    ASSERT_EQ(start(RXK_TRIM_HORIZON), RXK_OK);
    expectRecord(data, sequences, 0);
    ASSERT_EQ(stop(), RXK_OK);
    ASSERT_EQ(start(RXK_LATEST), RXK_NO_RECORD);
    expectNoRecord();  // c1 and c2 of the old batch are gone
    ASSERT_EQ(stop(), RXK_OK);
    ASSERT_EQ(start(RXK_TRIM_HORIZON), RXK_OK);
    expectRecord(data, sequences, 0);  // the cursor starts at 0 again
}

// Would catch a null sequence buffer being written to or refused.
TEST_F(EmulatorReading, NullSequenceBufferStillHandsOutTheRecord) {
    putRecords(kinesalite, stream, {"only data"});
    ASSERT_EQ(start(RXK_TRIM_HORIZON), RXK_OK);
    char data[64];
    std::int32_t length = -1;
    EXPECT_EQ(connector().GetRecordFromIterator(client.id(), stream.c_str(), kShard0, nullptr, data, &length), RXK_OK);
    EXPECT_STREQ(data, "only data");
    EXPECT_EQ(length, 9);
}

// Would catch the -4 paths of next and get: wrong code, missing lines, or buffers touched.
TEST_F(EmulatorReading, ReadingAPairWithoutReadingStateGivesMinus4AndTwoLines) {
    EXPECT_EQ(next(), RXK_NO_ITERATOR);
    auto lines = logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "FindIterator [" + stream + "]:[shardId-000000000000] iterator not found"));
    EXPECT_EQ(lines[1], clientLine(client.id(), "nextGetIterator [" + stream + "]:[shardId-000000000000] no iterator available"));
    EXPECT_EQ(client.lastError(), lines[1]);

    LogCapture::reset();
    const ReadResult got = read();
    EXPECT_EQ(got.result, RXK_NO_ITERATOR);
    EXPECT_EQ(got.length, 0);
    EXPECT_TRUE(got.buffersUntouched);
    lines = logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1], clientLine(client.id(), "getRecordFromIterator [" + stream + "]:[shardId-000000000000] no iterator available"));
    EXPECT_EQ(client.lastError(), lines[1]);
}

// Would catch two streams whose names differ only in case sharing one reading.
TEST_F(EmulatorReading, StreamsWhoseNamesDifferOnlyInCaseAreReadApart) {
    const std::string upper = uniqueStreamName("CaseStream");
    std::string lower = upper;
    for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    kinesalite.createStream(upper);
    kinesalite.createStream(lower);
    putRecords(kinesalite, upper, {"from upper"});
    putRecords(kinesalite, lower, {"from lower"});

    ASSERT_EQ(start(RXK_TRIM_HORIZON, nullptr, 10, upper), RXK_OK);
    ASSERT_EQ(start(RXK_TRIM_HORIZON, nullptr, 10, lower), RXK_OK);
    EXPECT_EQ(read(lower).text, "from lower");
    EXPECT_EQ(read(upper).text, "from upper");
    EXPECT_EQ(read(upper).result, RXK_NO_RECORD);
    EXPECT_EQ(read(lower).result, RXK_NO_RECORD);
}

// Would catch a copy that treats data as a counted block (running past an embedded NUL into the
// host's buffer) or that stops early on high byte values.
TEST_F(EmulatorReading, DataIsHandedOutAsTextUpToTheFirstNul) {
    std::vector<std::string> data;
    for (int value = 0; value < 256; ++value) data.emplace_back(1, static_cast<char>(value));
    std::string withoutNul;
    for (int value = 1; value < 256; ++value) withoutNul.push_back(static_cast<char>(value));
    data.push_back(withoutNul);
    data.push_back(std::string(1, '\0') + withoutNul);
    data.push_back(std::string("ab\0cd", 5));
    putRecords(kinesalite, stream, data);

    ASSERT_EQ(start(RXK_TRIM_HORIZON, nullptr, 100), RXK_OK);
    for (int value = 0; value < 256; ++value) {
        const ReadResult got = read();
        ASSERT_EQ(got.result, RXK_OK);
        EXPECT_EQ(got.text, value == 0 ? std::string() : std::string(1, static_cast<char>(value))) << value;
        EXPECT_EQ(got.length, 1);
        EXPECT_TRUE(got.guardsIntact);
    }
    ReadResult got = read();
    EXPECT_EQ(got.text, withoutNul);
    EXPECT_EQ(got.length, 255);
    EXPECT_TRUE(got.guardsIntact);
    got = read();
    EXPECT_EQ(got.text, "");
    EXPECT_EQ(got.length, 256);
    EXPECT_TRUE(got.guardsIntact);
    got = read();
    EXPECT_EQ(got.text, "ab");
    EXPECT_EQ(got.length, 5);
    EXPECT_TRUE(got.guardsIntact);
}

}  // namespace
}  // namespace rxk::test
