// rxkcat end to end against the emulator: what goes in with -P comes out with -C and -G,
// byte for byte, from the positions asked for; listings and stream creation show what exists.
#include "rxkcat_fixture.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace rxk::test {
namespace {

// "prefix-1\nprefix-2\n..." with `count` lines.
std::string numberedLines(const std::string& prefix, int count) {
    std::string text;
    for (int i = 1; i <= count; ++i) text += prefix + "-" + std::to_string(i) + "\n";
    return text;
}

// Records holding every byte value from 1 to 255 except `delimiter`, each rotated differently
// so that no two are alike.
std::vector<std::string> allByteRecords(char delimiter, int count) {
    std::string bytes;
    for (int value = 1; value <= 255; ++value)
        if (static_cast<char>(value) != delimiter) bytes += static_cast<char>(value);
    std::vector<std::string> records;
    for (int i = 0; i < count; ++i) {
        std::string record = bytes;
        std::rotate(record.begin(), record.begin() + (i * 37) % record.size(), record.end());
        records.push_back(record);
    }
    return records;
}

std::string joined(const std::vector<std::string>& records, const std::string& delimiter) {
    std::string text;
    for (const std::string& record : records) text += record + delimiter;
    return text;
}

std::multiset<std::string> asSet(const std::vector<std::string>& lines) { return {lines.begin(), lines.end()}; }

// A file that removes itself.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& contents) {
        char pattern[] = "/tmp/rxkcat-test-XXXXXX";
        const int descriptor = mkstemp(pattern);
        path_ = pattern;
        std::ofstream(path_, std::ios::binary) << contents;
        if (descriptor >= 0) close(descriptor);
    }
    ~TemporaryFile() { std::remove(path_.c_str()); }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

// Lines: lost, reordered or altered records in the line mode, in batches or one by one.
using LineRoundTrip = RxkcatTest;

// Batches of 500 (three and a rest), single puts, and small batches under a list limit.
TEST_F(LineRoundTrip, LinesComeBackInOrderFromOneShard) {
    const struct {
        const char* prefix;
        int lines;
        std::vector<std::string> arguments;
    } cases[] = {{"line", 1200, {}}, {"single", 25, {"-1"}}, {"limited", 40, {"-b", "7", "-X", "maxputrow=3"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.prefix);
        const std::string stream = newStream(1);
        const std::string input = numberedLines(c.prefix, c.lines);
        produce(stream, input, c.arguments);
        EXPECT_EQ(consumeAll(stream), input);
    }
}

TEST_F(LineRoundTrip, EveryShardIsReadAndRandomKeysSpreadRecords) {
    const std::string stream = newStream(4);
    const std::string input = numberedLines("spread", 2000);
    produce(stream, input);
    const std::string consumed = consumeAll(stream, "%p %s\\n");
    std::set<std::string> shards;
    std::vector<std::string> records;
    for (const std::string& line : splitFields(consumed, '\n')) {
        const size_t blank = line.find(' ');
        ASSERT_NE(blank, std::string::npos) << line;
        shards.insert(line.substr(0, blank));
        records.push_back(line.substr(blank + 1));
    }
    EXPECT_EQ(asSet(records), asSet(splitFields(input, '\n')));
    EXPECT_EQ(shards.size(), 4u);
}

TEST_F(LineRoundTrip, FilesAndStandardInputAreReadInTheirOrder) {
    const std::string stream = newStream(1);
    const TemporaryFile first("first-1\nfirst-2\n");
    const TemporaryFile last("last-1\nlast-2");  // no delimiter at the end
    const RunResult result = rxkcat({"-P", "-s", stream, first.path(), "-", last.path()}, "middle\n");
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(consumeAll(stream), "first-1\nfirst-2\nmiddle\nlast-1\nlast-2\n");
}

TEST_F(LineRoundTrip, EmptyRecordsAreSkippedAndCounted) {
    const std::string stream = newStream(1);
    const RunResult result = rxkcat({"-P", "-s", stream}, "a\n\nb\n\n");
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_NE(result.err.find("2 records sent"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("2 empty records skipped"), std::string::npos) << result.err;
    EXPECT_EQ(consumeAll(stream), "a\nb\n");
}

// Delimiters: bytes mistaken for delimiters or escapes, delimiters cut across reads, the NUL cut.
using DelimiterRoundTrip = RxkcatTest;

TEST_F(DelimiterRoundTrip, NulDelimitedRecordsCarryEveryOtherByte) {
    const std::string stream = newStream(1);
    const std::vector<std::string> records = allByteRecords('\0', 12);
    produce(stream, joined(records, std::string(1, '\0')), {"-D", "\\0"});
    EXPECT_EQ(splitFields(consumeAll(stream, "%s\\0"), '\0'), records);
}

TEST_F(DelimiterRoundTrip, ByteDelimiterGivenAsHexEscape) {
    const std::string stream = newStream(1);
    const std::vector<std::string> records = allByteRecords('\x1e', 12);
    produce(stream, joined(records, "\x1e"), {"-D", "\\x1e"});
    EXPECT_EQ(splitFields(consumeAll(stream, "%s\\0"), '\0'), records);
}

TEST_F(DelimiterRoundTrip, MultiByteDelimiterSplitsOnlyOnTheWholeSequence) {
    const std::string stream = newStream(1);
    // Long records so that delimiters straddle the reader's chunks; lone halves stay inside.
    std::vector<std::string> records;
    for (int i = 0; i < 30; ++i) records.push_back(std::string(5000 + i, 'a' + i % 26) + "<x>" + std::to_string(i));
    produce(stream, joined(records, "<>"), {"-D", "<>"});
    EXPECT_EQ(splitFields(consumeAll(stream, "%s\\n"), '\n'), records);
}

TEST_F(DelimiterRoundTrip, DataIsCutAtItsFirstNulWhileTheLengthStaysWhole) {
    const std::string stream = newStream(1);
    produce(stream, std::string("ab\0cd;xyz;", 10), {"-D", ";"});
    EXPECT_EQ(consumeAll(stream, "%S:%s\\n"), "5:ab\n3:xyz\n");
}

// Keys: the partition key or hash key of the command line not reaching the records.
using Keys = RxkcatTest;

TEST_F(Keys, OnePartitionKeyKeepsRecordsInOneShard) {
    const std::string stream = newStream(4);
    produce(stream, numberedLines("keyed", 60), {"-k", "customer-42"});
    const std::vector<std::string> shards = splitFields(consumeAll(stream, "%p\\n"), '\n');
    ASSERT_EQ(shards.size(), 60u);
    EXPECT_EQ(std::set<std::string>(shards.begin(), shards.end()).size(), 1u);
}

TEST_F(Keys, ExplicitHashKeyPicksTheShard) {
    const std::string stream = newStream(4);
    produce(stream, numberedLines("hashed", 20), {"-H", "340282366920938463463374607431768211455"});
    produce(stream, numberedLines("hashed-single", 5), {"-1", "-H", "0"});
    const std::vector<std::string> shards = splitFields(consumeAll(stream, "%p\\n"), '\n');
    ASSERT_EQ(shards.size(), 25u);
    EXPECT_EQ(std::count(shards.begin(), shards.end(), "shardId-000000000003"), 20);
    EXPECT_EQ(std::count(shards.begin(), shards.end(), "shardId-000000000000"), 5);
}

// Positions: a start position, a count or a format ignored or misapplied.
class Positions : public RxkcatTest {
protected:
    void SetUp() override {
        RxkcatTest::SetUp();
        stream_ = newStream(1);
        produce(stream_, "r1\nr2\nr3\nr4\nr5\n");
        sequences_ = splitFields(consumeAll(stream_, "%o\\n"), '\n');
        ASSERT_EQ(sequences_.size(), 5u);
        shard_ = emulator().shardIds(stream_).at(0);
    }
    std::string stream_;
    std::string shard_;
    std::vector<std::string> sequences_;
};

TEST_F(Positions, EndGivesNothingOfThePast) { EXPECT_EQ(consumeAll(stream_, "%s\\n", {"-o", "end"}), ""); }

TEST_F(Positions, CountStopsEarly) {
    const RunResult result = rxkcat({"-C", "-s", stream_, "-c", "2"});
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(result.out, "r1\nr2\n");
}

TEST_F(Positions, AtAndAfterASequenceNumber) {
    EXPECT_EQ(consumeAll(stream_, "%s\\n", {"-p", shard_, "-o", "at:" + sequences_[2]}), "r3\nr4\nr5\n");
    EXPECT_EQ(consumeAll(stream_, "%s\\n", {"-p", shard_, "-o", "after:" + sequences_[2]}), "r4\nr5\n");
}

TEST_F(Positions, Timestamps) {
    EXPECT_EQ(consumeAll(stream_, "%s\\n", {"-o", "ts:2000-01-01T00:00:00Z"}), "r1\nr2\nr3\nr4\nr5\n");
    EXPECT_EQ(consumeAll(stream_, "%s\\n", {"-o", "ts:2100-01-01T00:00:00.5Z"}), "");
}

TEST_F(Positions, FormatShowsEveryField) {
    EXPECT_EQ(consumeAll(stream_, "%T|%p|%o|%S|%s|100%%\\n", {"-c", "1"}),
              stream_ + "|" + shard_ + "|" + sequences_[0] + "|2|r1|100%\n");
}

TEST_F(Positions, GetReadsOneRecordBySequenceNumber) {
    const RunResult result = rxkcat({"-G", "-s", stream_, "-p", shard_, "-q", sequences_[3], "-f", "%s %o\\n"});
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(result.out, "r4 " + sequences_[3] + "\n");
}

TEST_F(Positions, GetOfAnUnknownSequenceNumberFails) {
    const RunResult result = rxkcat({"-G", "-s", stream_, "-p", shard_, "-q", "1"});
    EXPECT_EQ(result.exitStatus, kExitFailure) << describe(result);
    EXPECT_NE(result.err.find("no record at sequence number 1"), std::string::npos) << result.err;
}

// Listings and creation: items missing from a listing, details mislabelled, a creation unchecked.
using Catalogue = RxkcatTest;

TEST_F(Catalogue, ListsStreamsShardsAndDetails) {
    const std::string stream = newStream(3);
    const RunResult streams = rxkcat({"-L"});
    ASSERT_EQ(streams.exitStatus, kExitOk) << describe(streams);
    const std::vector<std::string> names = splitFields(streams.out, '\n');
    EXPECT_NE(std::find(names.begin(), names.end(), stream), names.end()) << streams.out;

    const RunResult shards = rxkcat({"-L", "-s", stream});
    ASSERT_EQ(shards.exitStatus, kExitOk) << describe(shards);
    EXPECT_EQ(splitFields(shards.out, '\n'), emulator().shardIds(stream));

    const RunResult details = rxkcat({"-L", "-s", stream, "-p", "shardId-000000000001"});
    ASSERT_EQ(details.exitStatus, kExitOk) << describe(details);
    const std::vector<std::string> lines = splitFields(details.out, '\n');
    ASSERT_EQ(lines.size(), 5u) << details.out;
    EXPECT_EQ(lines[0], "ShardId: shardId-000000000001");
    EXPECT_EQ(lines[1].rfind("StartingHashKey: ", 0), 0u) << lines[1];
    EXPECT_EQ(lines[2].rfind("EndingHashKey: ", 0), 0u) << lines[2];
    EXPECT_EQ(lines[3].rfind("StartingSequenceNumber: ", 0), 0u) << lines[3];
    EXPECT_EQ(lines[4], "EndingSequenceNumber:");  // the shard is open
}

TEST_F(Catalogue, ListingsFollowTheGlobalDelimiter) {
    const std::string stream = newStream(2);
    const RunResult shards = rxkcat({"-L", "-s", stream, "-X", "delimiter=|"});
    ASSERT_EQ(shards.exitStatus, kExitOk) << describe(shards);
    EXPECT_EQ(shards.out, "shardId-000000000000\nshardId-000000000001\n");
}

TEST_F(Catalogue, UnknownStreamOrShardFailsWithTheLibrarysWords) {
    const RunResult stream = rxkcat({"-L", "-s", "rxkcat-no-such-stream"});
    EXPECT_EQ(stream.exitStatus, kExitFailure) << describe(stream);
    EXPECT_NE(stream.err.find("cannot list the shards of stream 'rxkcat-no-such-stream'"), std::string::npos);
    EXPECT_NE(stream.err.find("KinesisEnv::getListShardOrShardDetails"), std::string::npos) << stream.err;

    const std::string existing = newStream(1);
    const RunResult shard = rxkcat({"-C", "-s", existing, "-p", "shardId-000000000009", "-e"});
    EXPECT_EQ(shard.exitStatus, kExitFailure) << describe(shard);
    EXPECT_NE(shard.err.find("shardId-000000000009"), std::string::npos) << shard.err;
}

TEST_F(Catalogue, CreateMakesAStreamWithItsShardsAndRefusesItTwice) {
    const std::string stream = uniqueStreamName("rxkcat-created");
    const RunResult created = rxkcat({"-N", "-s", stream, "-n", "3"});
    ASSERT_EQ(created.exitStatus, kExitOk) << describe(created);
    EXPECT_EQ(emulator().shardIds(stream).size(), 3u);

    const RunResult again = rxkcat({"-N", "-s", stream});
    EXPECT_EQ(again.exitStatus, kExitFailure) << describe(again);
    EXPECT_NE(again.err.find("cannot create stream '" + stream + "'"), std::string::npos) << again.err;
}

}  // namespace
}  // namespace rxk::test
