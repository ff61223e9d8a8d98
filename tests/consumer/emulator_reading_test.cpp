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

}  // namespace
}  // namespace rxk::test
