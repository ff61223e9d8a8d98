// Reading shards of the emulator through the exports: start positions, the registry of
// readings, the cursor over batches, the poll, the one-shot read, and records as text.
#include "reading_steps.h"

#include "kinesalite.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <thread>

namespace rxk::test {
namespace {

class EmulatorReading : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    // A reading of a fresh one-shard stream, after `steps`.
    Reading seeded(const std::string& steps, std::int32_t limit = 10) {
        Reading reading{client.id(), kinesalite.createUniqueStream("reading"), limit, {}, &kinesalite};
        runSteps(reading, steps);
        return reading;
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
        seeded(std::string("+r0 +r1 +r2 +r3 +r4 ") + c.steps, c.limit);
    }
}

// Would catch two streams whose names differ only in case sharing one reading.
TEST_F(EmulatorReading, StreamsWhoseNamesDifferOnlyInCaseAreReadApart) {
    Reading reading = seeded("+lower");
    const std::string upper = "READING" + reading.stream.substr(7);
    kinesalite.createStream(upper);
    runSteps(reading, upper + "|0|+UPPER S4=0 " + upper + "|0|S4=0 glower " + upper + "|0|gUPPER g- " + upper + "|0|g-");
}

// Would catch data copied as a counted block (past an embedded NUL into the host's buffer), cut
// early on high byte values, or a length that isn't the record's own; through both reads.
TEST_F(EmulatorReading, DataIsTextUpToTheFirstNulWithTheWholeLength) {
    std::string noNul;
    for (int value = 1; value < 256; ++value) noNul.push_back(static_cast<char>(value));
    std::vector<std::pair<std::string, std::string>> rows = {  // data, text
        {noNul, noNul}, {std::string(1, '\0') + noNul, ""}, {std::string("ab\0cd", 5), "ab"}};
    for (int value = 0; value < 256; ++value) rows.push_back({std::string(1, static_cast<char>(value)), std::string(value > 0, static_cast<char>(value))});
    Reading reading = seeded("");
    std::vector<std::string> sequences;
    for (const auto& row : rows) sequences.push_back(kinesalite.putRecord(reading.stream, row.first));
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

// Would catch bytes cut at a NUL or at the old poll size, a record larger than the buffer consumed
// or written past it, a length, key, sequence number or arrival time not the record's own, or a
// closed shard's end taken for an empty batch; and parents missing from the lineage.
TEST_F(EmulatorReading, ReadShardRecordHandsOutCountedBytesAndTheShardEnd) {
    std::string every;
    for (int value = 0; value < 256; ++value) every.push_back(static_cast<char>(value));
    struct Case { const char* name; std::string data; std::int32_t capacity; };
    const Case kRows[] = {
        {"all 256 byte values", every, 256},
        {"one byte, a NUL", std::string(1, '\0'), 1},
        {"10,000 bytes", std::string(10000, '\xff'), 10000},
        {"1 MiB", std::string(1 << 20, 'm'), 1 << 20},
        {"a buffer one byte short keeps the record", every, 255},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const std::string stream = kinesalite.createUniqueStream("counted");
        const std::string sequence = kinesalite.putRecord(stream, c.data, std::string(256, 'k'));
        const std::int64_t putAt = static_cast<std::int64_t>(std::time(nullptr)) * 1000;
        ASSERT_EQ(connector().StartShardIterator(client.id(), stream.c_str(), kShard0, nullptr, 10, RXK_TRIM_HORIZON), RXK_OK);
        GuardedBuffer buffer(c.data.size() + 1);
        ShardRecordInfo info{};
        std::int32_t length = -1;
        std::int32_t result = connector().ReadShardRecord(client.id(), stream.c_str(), kShard0, buffer.data(), c.capacity, &length, &info, 0);
        if (c.capacity < static_cast<std::int32_t>(c.data.size())) {
            EXPECT_EQ(result, RXK_NEEDS_ROOM);
            EXPECT_TRUE(buffer.untouched());
            result = connector().ReadShardRecord(client.id(), stream.c_str(), kShard0, buffer.data(), c.capacity + 1, &length, &info, 0);
        }
        ASSERT_EQ(result, RXK_OK);
        EXPECT_EQ(length, static_cast<std::int32_t>(c.data.size()));
        EXPECT_TRUE(buffer.bytes.compare(0, c.data.size(), c.data) == 0 && buffer.guardedFrom(c.data.size()));
        EXPECT_EQ(std::string(info.sequenceNumber), sequence);
        EXPECT_EQ(std::string(info.partitionKey), std::string(256, 'k'));
        EXPECT_NEAR(static_cast<double>(info.arrivalMillis), static_cast<double>(putAt), 5000.0);
        EXPECT_EQ(info.subSequenceNumber, -1);
        EXPECT_EQ(connector().ReadShardRecord(client.id(), stream.c_str(), kShard0, nullptr, 0, &length, nullptr, 0), RXK_NO_RECORD);
    }
    const std::string stream = kinesalite.createUniqueStream("ended");
    kinesalite.putRecord(stream, "before the split");
    kinesalite.call("SplitShard", "{\"StreamName\":\"" + stream + "\",\"ShardToSplit\":\"" + kShard0 +
                                      "\",\"NewStartingHashKey\":\"170141183460469231731687303715884105728\"}");
    ASSERT_EQ(connector().StartShardIterator(client.id(), stream.c_str(), kShard0, nullptr, 10, RXK_TRIM_HORIZON), RXK_OK);
    char data[64];
    std::int32_t length = -1;
    EXPECT_EQ(connector().ReadShardRecord(client.id(), stream.c_str(), kShard0, data, sizeof data, &length, nullptr, 0), RXK_OK);
    for (int call = 0; call < 2; ++call)
        EXPECT_EQ(connector().ReadShardRecord(client.id(), stream.c_str(), kShard0, data, sizeof data, &length, nullptr, 0), RXK_SHARD_ENDED);
    char lineage[256];
    std::int32_t size = sizeof lineage;
    std::string want;
    for (int attempt = 0; attempt < 50 && want.empty(); ++attempt, size = sizeof lineage) {
        if (connector().GetShardLineage(client.id(), stream.c_str(), lineage, &size) == RXK_OK && std::strchr(lineage, ';') != nullptr) want = lineage;
        else std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_EQ(want, "shardId-000000000000,,;shardId-000000000001,shardId-000000000000,;shardId-000000000002,shardId-000000000000,");
}

// Would catch a listing that stops at the service's first page (ten names on the emulator) or
// repeats the name a page starts after.
TEST_F(EmulatorReading, AllStreamsAreListedAcrossPages) {
    std::vector<std::string> created;
    for (int i = 0; i < 40; ++i) created.push_back(kinesalite.createUniqueStream("listed"));
    std::vector<char> buffer(1 << 16);
    std::int32_t size = static_cast<std::int32_t>(buffer.size());
    ASSERT_EQ(connector().GetListAllStreams(client.id(), buffer.data(), &size), RXK_OK);
    const std::vector<std::string> names = split(buffer.data(), ';');
    for (const std::string& name : created) EXPECT_EQ(std::count(names.begin(), names.end(), name), 1) << name;
}

}  // namespace
}  // namespace rxk::test
