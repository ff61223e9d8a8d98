// Reading shards of the emulator through the exports: start positions, the registry of
// readings, the cursor over batches, the poll, the one-shot read, and records as text.
#include "reading_steps.h"

#include "kinesalite.h"

#include <gtest/gtest.h>

namespace rxk::test {
namespace {

class EmulatorReading : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    // A fresh one-shard stream holding `data`, in order; the reading knows their sequence numbers.
    Reading seeded(const std::vector<std::string>& data, std::int32_t limit = 10) {
        Reading reading{client.id(), kinesalite.createUniqueStream("reading"), limit, {}, nullptr};
        reading.put = [this, &reading](const std::string& text) {
            reading.sequenceOf[text] = kinesalite.putRecord(reading.stream, text).sequenceNumber;
        };
        for (const std::string& text : data) reading.put(text);
        return reading;
    }
    std::string pairLine(const std::string& method, const std::string& stream, const std::string& rest) {
        return clientLine(client.id(), method + " [" + stream + "]:[" + kShard0 + "] " + rest);
    }

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
};

// Would catch the host's codes passed as the SDK's enumeration (whose order differs), a start
// value ignored where it counts, the cursor off by one at a batch's end, a next that fetches
// from the cursor instead of the latest answer, an empty batch that leaves the reading
// unusable, a restart that keeps anything of the old reading, a one-shot read that moves the
// running one, or a poll that repeats, reorders, or ends before two empty fetches in a row.
TEST_F(EmulatorReading, StartsCursorAndPoll) {
    struct Case { const char* name; std::int32_t limit; const char* steps; };
    const Case kRows[] = {
        {"code 4, trim horizon", 10, "S4=0 gr0"},
        {"code 1 at a sequence number", 10, "S1@r2=0 gr2"},
        {"code 2 after a sequence number", 10, "S2@r2=0 gr3"},
        {"code 3 at a timestamp", 10, "S3@2016-04-04T19:58:46.480Z=0 gr0"},
        {"code 5, latest", 10, "S5=2 g- +late glate"},
        {"code 0, no position: the service refuses, an empty batch", 10, "S0=2 g-"},
        {"the call after a batch's last record fetches and hands out the next", 2, "S4=0 gr0 gr1 gr2 gr3 gr4 g-"},
        {"next drops the unread records of the batch", 2, "S4=0 gr0 n=0 gr2 gr3 n=0 n=2 g-"},
        {"an empty next leaves the reading usable", 10, "S5=2 n=2 +late glate"},
        {"stop and start again is a fresh reading", 10, "S4=0 gr0 x=0 S5=2 g- x=0 S4=0 Gr0 gr1"},
        {"a one-shot read leaves the running reading alone; no start needed", 10, "or3 S4=0 gr0 or4 gr1 or0 gr2"},
        {"poll: every record once, in order, across batches, then two empty fetches", 2, "S4=0 gr0 Pr1,r2,r3,r4=2 P=2"},
        {"poll right after an empty start only fetches", 10, "S5=2 +late P=0 Plate=2"},
        {"a callback that stops the pair ends the poll", 10, "S4=0 Qr0=-4 x=-4"},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        Reading reading = seeded({"r0", "r1", "r2", "r3", "r4"}, c.limit);
        runSteps(reading, c.steps);
    }
}

// Would catch a timestamp line with other fields, a one-based month, or on the trace sink.
TEST_F(EmulatorReading, TimestampLineHasTheZeroBasedMonth) {
    const std::pair<const char*, const char*> kRows[] = {
        {"2016-04-04T19:58:46.480Z", "ts:2016-03-04 19.58.46 ItTimestamp:2016-03-04 19.58.46"},
        {"not a time", "ts:1970-00-01 00.00.00 ItTimestamp:1970-00-01 00.00.00"}};
    Reading reading = seeded({"r0"});
    for (const auto& [value, parsed] : kRows) {
        SCOPED_TRACE(value);
        LogCapture::reset();
        connector().StartShardIterator(client.id(), reading.stream.c_str(), kShard0, value, 10, RXK_AT_TIMESTAMP);
        EXPECT_EQ(logTexts(), std::vector<std::string>{pairLine("startGetIterator", reading.stream, std::string("timestamp:") + value + " " + parsed)});
        EXPECT_FALSE(LogCapture::traceContains("timestamp:"));
    }
}

// Would catch data copied as a counted block (past an embedded NUL into the host's buffer), cut
// early on high byte values, or a length that isn't the record's own; through both reads.
TEST_F(EmulatorReading, DataIsTextUpToTheFirstNulWithTheWholeLength) {
    std::string noNul;
    for (int value = 1; value < 256; ++value) noNul.push_back(static_cast<char>(value));
    std::vector<std::pair<std::string, std::string>> rows = {  // data, text
        {noNul, noNul}, {std::string(1, '\0') + noNul, ""}, {std::string("ab\0cd", 5), "ab"}};
    for (int value = 0; value < 256; ++value) rows.push_back({std::string(1, static_cast<char>(value)), std::string(value > 0, static_cast<char>(value))});
    Reading reading = seeded({});
    std::vector<std::string> sequences;
    for (const auto& row : rows) sequences.push_back(kinesalite.putRecord(reading.stream, row.first).sequenceNumber);
    const char* stream = reading.stream.c_str();
    ASSERT_EQ(connector().StartShardIterator(client.id(), stream, kShard0, nullptr, 1000, RXK_TRIM_HORIZON), RXK_OK);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE("row " + std::to_string(i));
        GuardedBuffer iterated(1024), oneShot(1024);
        std::int32_t iteratedLength = -1, oneShotLength = -1;
        ASSERT_EQ(connector().GetRecordFromIterator(client.id(), stream, kShard0, nullptr, iterated.data(), &iteratedLength), RXK_OK);
        ASSERT_EQ(connector().GetRecord(client.id(), stream, kShard0, sequences[i].c_str(), oneShot.data(), &oneShotLength), RXK_OK);
        for (const auto& [buffer, length] : {std::pair{&iterated, iteratedLength}, std::pair{&oneShot, oneShotLength}}) {
            EXPECT_EQ(buffer->text(), rows[i].second);
            EXPECT_EQ(length, static_cast<std::int32_t>(rows[i].first.size()));
            EXPECT_TRUE(buffer->intactAfterText());
        }
    }
}

// Would catch a registry that compares names without case or by prefix, makes a second
// reading for a restarted pair, shifts the wrong entry on removal, takes an empty name for a
// missing one, cuts a 255-character name, or lets a longer one match a cut one. The streams
// don't exist, so every start is an empty batch.
TEST_F(EmulatorReading, RegistryKeepsOneReadingPerPairOfNames) {
    struct Op { char call; std::string stream, shard; std::int32_t result; };
    const std::string s255(255, 's'), s256(256, 's'), sh0 = kShard0, sh1 = "shardId-000000000001", upper = "SHARDID-000000000000";
    const std::pair<const char*, std::vector<Op>> kRows[] = {
        {"names differing only in case are two pairs",
         {{'s', "Orders", sh0, 2}, {'s', "orders", sh0, 2}, {'s', "orders", upper, 2}, {'s', "orders", sh1, 2}, {'s', "clicks", sh0, 2},
          {'x', "Orders", sh0, 0}, {'x', "orders", sh0, 0}, {'x', "orders", upper, 0}, {'x', "orders", sh1, 0}, {'x', "clicks", sh0, 0},
          {'x', "orders", sh0, -4}}},
        {"a second start reuses the reading", {{'s', "a", sh0, 2}, {'s', "a", sh0, 2}, {'x', "a", sh0, 0}, {'x', "a", sh0, -4}}},
        {"stopping the middle of three keeps the others",
         {{'s', "first", sh0, 2}, {'s', "middle", sh0, 2}, {'s', "last", sh0, 2}, {'x', "middle", sh0, 0}, {'n', "first", sh0, 2},
          {'n', "last", sh0, 2}, {'n', "middle", sh0, -4}, {'x', "last", sh0, 0}, {'x', "first", sh0, 0}}},
        {"empty names are names", {{'s', "", "", 2}, {'n', "", "", 2}, {'n', "", sh0, -4}, {'x', "", "", 0}}},
        {"255 characters fit and compare in full", {{'s', s255, sh0, 2}, {'n', s255, sh0, 2}, {'n', s255.substr(1), sh0, -4}, {'x', s255, sh0, 0}}},
        {"longer names are refused and match nothing",
         {{'s', s255, sh0, 2}, {'s', s256, sh0, -1}, {'s', s255, std::string(300, 'h'), -1}, {'n', s256, sh0, -4}, {'x', s256, sh0, -4},
          {'x', s255, sh0, 0}}},
    };
    for (const auto& [name, ops] : kRows) {
        SCOPED_TRACE(name);
        for (const Op& op : ops) {
            const char *stream = op.stream.c_str(), *shard = op.shard.c_str();
            EXPECT_EQ(op.call == 's'   ? connector().StartShardIterator(client.id(), stream, shard, nullptr, 10, RXK_TRIM_HORIZON)
                      : op.call == 'n' ? connector().NextShardIterator(client.id(), stream, shard)
                                       : connector().StopShardIterator(client.id(), stream, shard), op.result)
                << op.call << " " << op.stream.substr(0, 20) << ":" << op.shard.substr(0, 20);
        }
    }
    LogCapture::reset();
    connector().StartShardIterator(client.id(), s256.c_str(), kShard0, nullptr, 10, RXK_TRIM_HORIZON);
    EXPECT_EQ(logTexts(), std::vector<std::string>{pairLine("FindIterator", s256, "name longer than 255 characters")});
}

// Would catch a -4 path with another code, a lost line of the two (the lookup's, then the
// call's, which the error text keeps), reporting that needs a log sink, or buffers touched.
TEST_F(EmulatorReading, APairWithoutReadingGivesMinus4AndTwoLines) {
    struct Case { const char* name; const char* step; const char* method; bool sink; };
    const Case kRows[] = {
        {"stop", "x=-4", "stopGetIterator", true},
        {"next", "n=-4", "nextGetIterator", true},
        {"get: length 0, buffers untouched", "g!", "getRecordFromIterator", true},
        {"poll: no callback", "P=-4", "poll", true},
        {"stop without a log sink: the error text still gets the line", "x=-4", "stopGetIterator", false},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        LogCapture::reset();
        Reading reading{client.id(), "never-started", 10, {}, nullptr};
        if (!c.sink) connector().InitLogEventCallBack(nullptr, nullptr);
        runSteps(reading, c.step);
        connector().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        const std::string last = pairLine(c.method, reading.stream, "no iterator available");
        EXPECT_EQ(client.lastError(), last);
        const std::vector<std::string> bothLines{pairLine("FindIterator", reading.stream, "iterator not found"), last};
        EXPECT_EQ(logTexts(), c.sink ? bothLines : std::vector<std::string>{});
    }
}

}  // namespace
}  // namespace rxk::test
