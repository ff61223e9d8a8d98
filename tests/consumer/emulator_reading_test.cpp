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

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
};

// Would catch the host's codes passed as the SDK's enumeration (whose order differs), a start
// value ignored where it counts, or a timestamp line with other fields, a one-based month, or
// on the trace sink.
TEST_F(EmulatorReading, EachTypeCodeStartsWhereItSays) {
    struct Case { const char* name; std::int32_t type; const char* value; std::int32_t result; const char* first; const char* stamp; };
    const Case kRows[] = {
        {"trim horizon", RXK_TRIM_HORIZON, nullptr, RXK_OK, "r0", nullptr},
        {"at sequence number", RXK_AT_SEQUENCE_NUMBER, "r2", RXK_OK, "r2", nullptr},
        {"after sequence number", RXK_AFTER_SEQUENCE_NUMBER, "r2", RXK_OK, "r3", nullptr},
        {"latest", RXK_LATEST, nullptr, RXK_NO_RECORD, nullptr, nullptr},
        {"not set: refused by the service, an empty batch", RXK_ITERATOR_NOT_SET, nullptr, RXK_NO_RECORD, nullptr, nullptr},
        {"timestamp, month zero-based", RXK_AT_TIMESTAMP, "2016-04-04T19:58:46.480Z", RXK_OK, "r0",
         "timestamp:2016-04-04T19:58:46.480Z ts:2016-03-04 19.58.46 ItTimestamp:2016-03-04 19.58.46"},
        {"timestamp that doesn't parse: the epoch", RXK_AT_TIMESTAMP, "not a time", RXK_OK, "r0",
         "timestamp:not a time ts:1970-00-01 00.00.00 ItTimestamp:1970-00-01 00.00.00"},
    };
    Reading reading = seeded({"r0", "r1", "r2", "r3"});
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        LogCapture::reset();
        const std::string value = c.value && reading.sequenceOf.count(c.value) ? reading.sequenceOf[c.value] : c.value ? c.value : "";
        EXPECT_EQ(connector().StartShardIterator(client.id(), reading.stream.c_str(), kShard0, c.value ? value.c_str() : nullptr,
                                                 10, c.type), c.result);
        runSteps(reading, std::string("g") + (c.first ? c.first : "-"));
        const std::vector<std::string> expectedLog;
        if (c.stamp) {
            ASSERT_EQ(logTexts().size(), 1u);
            EXPECT_EQ(logTexts()[0], clientLine(client.id(), "startGetIterator [" + reading.stream + "]:[" + kShard0 + "] " + c.stamp));
        } else {
            EXPECT_EQ(logTexts(), expectedLog);
        }
        EXPECT_FALSE(LogCapture::traceContains("timestamp:"));
        runSteps(reading, "x=0");
    }
}

// Would catch the cursor off by one at a batch's end, a next that fetches from the cursor
// instead of the latest answer, an empty batch that leaves the reading unusable, a restart that
// keeps anything of the old reading, or a one-shot read that moves the running one.
TEST_F(EmulatorReading, CursorBatchesAndPoll) {
    struct Case { const char* name; std::int32_t limit; const char* steps; };
    const Case kRows[] = {
        {"the call after a batch's last record fetches and hands out the next", 2, "S4=0 gr0 gr1 gr2 gr3 gr4 g-"},
        {"next drops the unread records of the batch", 2, "S4=0 gr0 n=0 gr2 gr3 n=0 n=2 g-"},
        {"an empty start and an empty next leave the reading usable", 10, "S5=2 g- n=2 +late glate"},
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

// Would catch data copied as a counted block (past an embedded NUL into the host's buffer), cut
// early on high byte values, or a length that isn't the record's own; through both reads.
TEST_F(EmulatorReading, DataIsTextUpToTheFirstNulWithTheWholeLength) {
    struct Case { std::string name, data, text; };
    std::string noNul;
    for (int value = 1; value < 256; ++value) noNul.push_back(static_cast<char>(value));
    std::vector<Case> rows = {{"no NUL: all bytes plus a NUL", noNul, noNul},
                              {"NUL first", std::string(1, '\0') + noNul, ""},
                              {"NUL at the third byte", std::string("ab\0cd", 5), "ab"}};
    for (int value = 0; value < 256; ++value)
        rows.push_back({"byte " + std::to_string(value), std::string(1, static_cast<char>(value)),
                        value ? std::string(1, static_cast<char>(value)) : ""});
    std::vector<std::string> data;
    for (const Case& c : rows) data.push_back(c.data);
    Reading reading = seeded({});
    std::vector<std::string> sequences;
    for (const std::string& d : data) sequences.push_back(kinesalite.putRecord(reading.stream, d).sequenceNumber);
    ASSERT_EQ(connector().StartShardIterator(client.id(), reading.stream.c_str(), kShard0, nullptr, 1000, RXK_TRIM_HORIZON), RXK_OK);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].name);
        GuardedBuffer iterated(1024), oneShot(1024);
        std::int32_t iteratedLength = -1, oneShotLength = -1;
        ASSERT_EQ(connector().GetRecordFromIterator(client.id(), reading.stream.c_str(), kShard0, nullptr, iterated.data(), &iteratedLength), RXK_OK);
        ASSERT_EQ(connector().GetRecord(client.id(), reading.stream.c_str(), kShard0, sequences[i].c_str(), oneShot.data(), &oneShotLength), RXK_OK);
        for (const auto& [buffer, length] : {std::pair{&iterated, iteratedLength}, std::pair{&oneShot, oneShotLength}}) {
            EXPECT_EQ(buffer->text(), rows[i].text);
            EXPECT_EQ(length, static_cast<std::int32_t>(rows[i].data.size()));
            EXPECT_TRUE(buffer->intactAfterText());
        }
    }
}

// Would catch a one-shot read without a record that reports, writes the host's buffers, or
// returns anything but -1.
TEST_F(EmulatorReading, OneShotWithoutARecordIsAQuietMinus1) {
    struct Case { const char* name; const char* stream; const char* sequence; };
    const Case kRows[] = {{"unknown stream", "no-such-stream", nullptr}, {"not a sequence number", nullptr, "not-a-number"}};
    Reading reading = seeded({"only"});
    const std::string before = client.lastError();
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        GuardedBuffer data(64);
        std::int32_t length = -777;
        EXPECT_EQ(connector().GetRecord(client.id(), c.stream ? c.stream : reading.stream.c_str(), kShard0,
                                        c.sequence ? c.sequence : reading.sequenceOf["only"].c_str(), data.data(), &length), RXK_ERROR);
        EXPECT_EQ(length, -777);
        EXPECT_TRUE(data.untouched());
    }
    EXPECT_TRUE(logTexts().empty());
    EXPECT_EQ(client.lastError(), before);
}

// Would catch a registry that compares names without case or by prefix, makes a second
// reading for a restarted pair, shifts the wrong entry on removal, takes an empty name for a
// missing one, cuts a 255-character name, or lets a longer one match a cut one. The streams
// don't exist: every start is an empty batch.
TEST_F(EmulatorReading, RegistryKeepsOneReadingPerPairOfNames) {
    struct Op { char call; std::string stream, shard; std::int32_t result; };
    struct Case { const char* name; std::vector<Op> ops; };
    const std::string s255(255, 's'), s256(256, 's'), other = "shardId-000000000001";
    const Case kRows[] = {
        {"names differing only in case are two pairs",
         {{'s', "Orders", kShard0, 2}, {'s', "orders", kShard0, 2}, {'s', "orders", "SHARDID-000000000000", 2},
          {'s', "orders", other, 2}, {'s', "clicks", kShard0, 2}, {'x', "Orders", kShard0, 0}, {'x', "orders", kShard0, 0},
          {'x', "orders", "SHARDID-000000000000", 0}, {'x', "orders", other, 0}, {'x', "clicks", kShard0, 0},
          {'x', "orders", kShard0, -4}}},
        {"a second start reuses the reading", {{'s', "a", kShard0, 2}, {'s', "a", kShard0, 2}, {'x', "a", kShard0, 0}, {'x', "a", kShard0, -4}}},
        {"stopping the middle of three keeps the others",
         {{'s', "first", kShard0, 2}, {'s', "middle", kShard0, 2}, {'s', "last", kShard0, 2}, {'x', "middle", kShard0, 0},
          {'n', "first", kShard0, 2}, {'n', "last", kShard0, 2}, {'n', "middle", kShard0, -4}, {'x', "last", kShard0, 0},
          {'x', "first", kShard0, 0}}},
        {"empty names are names", {{'s', "", "", 2}, {'n', "", "", 2}, {'n', "", kShard0, -4}, {'x', "", "", 0}}},
        {"255 characters fit and compare in full",
         {{'s', s255, kShard0, 2}, {'n', s255, kShard0, 2}, {'n', s255.substr(1), kShard0, -4}, {'x', s255, kShard0, 0}}},
        {"longer names are refused and match nothing",
         {{'s', s255, kShard0, 2}, {'s', s256, kShard0, -1}, {'s', s255, std::string(300, 'h'), -1}, {'n', s256, kShard0, -4},
          {'x', s256, kShard0, -4}, {'x', s255, kShard0, 0}}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        for (const Op& op : c.ops) {
            SCOPED_TRACE(std::string(1, op.call) + " " + op.stream.substr(0, 20) + ":" + op.shard.substr(0, 20));
            const char *stream = op.stream.c_str(), *shard = op.shard.c_str();
            EXPECT_EQ(op.call == 's'   ? connector().StartShardIterator(client.id(), stream, shard, nullptr, 10, RXK_TRIM_HORIZON)
                      : op.call == 'n' ? connector().NextShardIterator(client.id(), stream, shard)
                                       : connector().StopShardIterator(client.id(), stream, shard), op.result);
        }
    }
    LogCapture::reset();
    connector().StartShardIterator(client.id(), s256.c_str(), kShard0, nullptr, 10, RXK_TRIM_HORIZON);
    EXPECT_EQ(logTexts(), std::vector<std::string>{clientLine(client.id(), "FindIterator [" + s256 + "]:[" + kShard0 + "] name longer than 255 characters")});
}

// Would catch a -4 path with another code, a lost line of the two (the lookup's, then the
// call's, which the error text keeps), a reporting that needs a log sink, or buffers touched.
TEST_F(EmulatorReading, APairWithoutReadingGivesMinus4AndTwoLines) {
    struct Case { const char* name; const char* steps; const char* method; bool sink; };
    const Case kRows[] = {
        {"stop", "x=-4", "stopGetIterator", true},
        {"next", "n=-4", "nextGetIterator", true},
        {"get: length 0, buffers untouched", "g-", "getRecordFromIterator", true},
        {"poll: no callback", "P=-4", "poll", true},
        {"stop without a log sink: the error text still gets the line", "x=-4", "stopGetIterator", false},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        LogCapture::reset();
        Reading reading{client.id(), "never-started", 10, {}, nullptr};
        if (!c.sink) connector().InitLogEventCallBack(nullptr, nullptr);
        if (std::string(c.method) == "getRecordFromIterator") {
            GuardedBuffer data(64), sequence(64);
            std::int32_t length = -7;
            EXPECT_EQ(connector().GetRecordFromIterator(client.id(), "never-started", kShard0, sequence.data(), data.data(), &length), RXK_NO_ITERATOR);
            EXPECT_EQ(length, 0);
            EXPECT_TRUE(data.untouched() && sequence.untouched());
        } else {
            runSteps(reading, c.steps);
        }
        connector().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        const std::string pair = std::string(" [never-started]:[") + kShard0 + "] ";
        const std::string last = clientLine(client.id(), c.method + pair + "no iterator available");
        EXPECT_EQ(client.lastError(), last);
        if (c.sink) EXPECT_EQ(logTexts(), (std::vector<std::string>{clientLine(client.id(), "FindIterator" + pair + "iterator not found"), last}));
    }
}

}  // namespace
}  // namespace rxk::test
