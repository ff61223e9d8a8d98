// rxkcat's behaviour when things go wrong, and its promises to scripts: the exit statuses, the
// words of each failure (the flag at fault, the library's error text), stopping on a signal,
// the help text, the library search and the exception probe.
#include "fault_server.h"
#include "rxkcat_fixture.h"

#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

using namespace std::chrono_literals;

bool contains(const std::string& text, const std::string& fragment) { return text.find(fragment) != std::string::npos; }

// A loopback port with nothing behind it: bound once to learn a free number, then closed.
int closedPort() {
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length);
    close(descriptor);
    return ntohs(address.sin_port);
}

size_t countLines(const std::string& text) { return splitFields(text, '\n').size(); }

// Usage: a wrong command line that runs on, or an error that doesn't say which flag is wrong.
using Usage = RxkcatTest;

TEST_F(Usage, BadFlagsGiveTwoAndNameTheFlag) {
    const struct {
        std::vector<std::string> arguments;
        std::string named;
    } cases[] = {
        {{"-L", "-Q"}, "'-Q'"},
        {{"-L", "--bogus"}, "'--bogus'"},
        {{"-L", "-s"}, "-s/--stream needs a value"},
        {{}, "no mode given"},
        {{"-L", "-P"}, "-P/--produce: only one mode"},
        {{"-C"}, "-C needs a stream: add -s STREAM"},
        {{"-P", "-s", "x", "-b", "0"}, "-b/--batch"},
        {{"-C", "-s", "x", "-c", "ten"}, "-c/--count"},
        {{"-N", "-s", "x", "-n", "-1"}, "-n/--shards"},
        {{"-C", "-s", "x", "-o", "sideways"}, "-o/--offset: unknown position 'sideways'"},
        {{"-C", "-s", "x", "-o", "at:12"}, "needs -p SHARD"},
        {{"-C", "-s", "x", "-o", "ts:2026-01-01 00:00:00"}, "-o ts:"},
        {{"-C", "-s", "x", "-f", "%q"}, "-f: unknown directive '%q'"},
        {{"-P", "-s", "x", "-D", "\\q"}, "-D/--delimiter: unknown escape '\\q'"},
        {{"-P", "-s", "x", "-D", ""}, "-D/--delimiter needs at least one byte"},
        {{"-G", "-s", "x", "-p", "shardId-000000000000"}, "-G needs a sequence number: add -q SEQ"},
        {{"-L", "-X", "retry"}, "-X/--set needs key=value"},
        {{"-L", "extra"}, "unexpected argument 'extra'"},
        {{"-L", "-X", "nonsense=1"}, "-X nonsense: unknown parameter"},
        {{"-L", "-X", "delimiter="}, "-X delimiter needs at least one byte"},
    };
    for (const auto& usage : cases) {
        const RunResult result = rxkcat(usage.arguments);
        EXPECT_EQ(result.exitStatus, kExitUsage) << usage.named << "\n" << describe(result);
        EXPECT_TRUE(contains(result.err, usage.named)) << usage.named << "\n" << describe(result);
        EXPECT_TRUE(contains(result.err, "rxkcat --help")) << result.err;
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(Usage, MissingRegionOrKeysAreNamed) {
    // Keys on the command line need a region there or in the environment; without keys the
    // SDK's chain finds credentials and region as the AWS CLI does.
    const RunResult noRegion = runRxkcat({"-L", "--access-key", "a", "--secret-key", "b"}, {},
                                         {"AWS_REGION=", "AWS_DEFAULT_REGION="});
    EXPECT_EQ(noRegion.exitStatus, kExitUsage) << describe(noRegion);
    EXPECT_TRUE(contains(noRegion.err, "-r REGION")) << noRegion.err;

    const RunResult noKey = runRxkcat({"-L", "-r", "us-east-1", "--secret-key", "b"}, {}, {});
    EXPECT_EQ(noKey.exitStatus, kExitUsage) << describe(noKey);
    EXPECT_TRUE(contains(noKey.err, "--access-key")) << noKey.err;
}

// Help: a mode or the exit statuses left out of the one text users read.
TEST(Help, ShowsEveryModeWithAnExampleAndTheExitStatuses) {
    const RunResult result = runRxkcat({"--help"});
    ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
    for (const char* mode : {"-L", "-P", "-C", "-G", "-N", "-Z"}) {
        EXPECT_TRUE(contains(result.out, std::string("\n  ") + mode)) << mode;
        EXPECT_TRUE(contains(result.out, std::string("rxkcat ") + mode)) << "example of " << mode;
    }
    for (const char* status : {"\n  0  ", "\n  1  ", "\n  2  ", "\n  3  "}) EXPECT_TRUE(contains(result.out, status)) << status;
    EXPECT_TRUE(contains(result.out, "NUL")) << "the NUL cut of consumed data";
    EXPECT_EQ(runRxkcat({"-P", "-h"}).exitStatus, kExitOk);
}

// Library search: a missing library that isn't named, or the build tree not searched.
using LibrarySearch = RxkcatTest;

TEST_F(LibrarySearch, MissingLibraryIsNamedWithWhatWasTried) {
    const RunResult result = rxkcat({"-L", "-l", "/nonexistent/librxkinesis.so"});
    EXPECT_EQ(result.exitStatus, kExitFailure) << describe(result);
    EXPECT_TRUE(contains(result.err, "/nonexistent/librxkinesis.so (-l): no such file")) << result.err;
    EXPECT_TRUE(contains(result.err, "RXKCAT_LIBRARY")) << result.err;
}

TEST_F(LibrarySearch, FindsTheLibraryOfItsBuildTree) {
    const RunResult result = runRxkcat({"-L", "-s", newStream(1)}, {},
                                       {"AWS_REGION=us-east-1", "AWS_ACCESS_KEY_ID=a", "AWS_SECRET_ACCESS_KEY=b",
                                        "RXKCAT_LIBRARY="});
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(result.out, "shardId-000000000000\n");
}

// Unreachable service: a hang, a wrong status, or a failure without the library's words.
using Unreachable = RxkcatTest;

TEST_F(Unreachable, ClosedPortGivesOneAndTheLibrarysTextQuickly) {
    const std::string endpoint = "http://127.0.0.1:" + std::to_string(closedPort());
    const RunResult listing = rxkcat({"-L", "--endpoint", endpoint});
    EXPECT_EQ(listing.exitStatus, kExitFailure) << describe(listing);
    EXPECT_TRUE(contains(listing.err, "cannot list the streams: ")) << listing.err;
    EXPECT_TRUE(contains(listing.err, "KinesisEnv::getListStream")) << listing.err;
    EXPECT_LT(listing.seconds, 20.0);

    const RunResult producing = rxkcat({"-P", "-s", "any", "--endpoint", endpoint}, "a\nb\n");
    EXPECT_EQ(producing.exitStatus, kExitFailure) << describe(producing);
    EXPECT_TRUE(contains(producing.err, "PutRecords failed for records 1 to 2: ")) << producing.err;
    EXPECT_TRUE(contains(producing.err, "2 failed")) << "the summary counts them";

    const RunResult single = rxkcat({"-P", "-1", "-s", "any", "--endpoint", endpoint}, "a\n");
    EXPECT_EQ(single.exitStatus, kExitFailure) << describe(single);
    EXPECT_TRUE(contains(single.err, "PutRecord failed for record 1: ")) << single.err;
}

// Record failures: refused records hidden behind status 0, or counted wrong, or the
// service's reason lost.
class RecordFailures : public RxkcatTest {
protected:
    FaultServer server_;
    std::vector<std::string> against(std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--endpoint", server_.endpoint()});
        return arguments;
    }
};

TEST_F(RecordFailures, RefusedRecordGivesThreeWithTheServicesReason) {
    server_.setHandler("PutRecords", failPutRecordsPositions({{1, {1}}}, "ProvisionedThroughputExceededException",
                                                             "Rate exceeded for shard shardId-000000000000."));
    const RunResult result = rxkcat(against({"-P", "-s", "faulty", "-X", "retry=-1"}), "a\nb\nc\n");
    EXPECT_EQ(result.exitStatus, kExitPartialFailure) << describe(result);
    EXPECT_TRUE(contains(result.err, "record 2 failed: ")) << result.err;
    EXPECT_TRUE(contains(result.err, "Rate exceeded for shard shardId-000000000000.")) << result.err;
    EXPECT_TRUE(contains(result.err, "2 records sent to stream 'faulty' (2 bytes), 1 failed")) << result.err;
    EXPECT_FALSE(contains(result.err, "record 1 failed")) << result.err;
}

TEST_F(RecordFailures, RetryResendsTheRefusedRecord) {
    server_.setHandler("PutRecords", failPutRecordsPositions({{1, {0, 2}}}));
    const RunResult result = rxkcat(against({"-P", "-s", "faulty", "-X", "retry=3"}), "a\nb\nc\n");
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_TRUE(contains(result.err, "3 records sent to stream 'faulty' (3 bytes), 0 failed")) << result.err;
    EXPECT_EQ(server_.requestCount("PutRecords"), 2);
}

TEST_F(RecordFailures, RecordTooLargeForTheListIsReportedAndTheRestSent) {
    // A random key (up to 39 digits) counts twice towards the limit, next to the data.
    const RunResult result = rxkcat(against({"-P", "-s", "faulty", "-X", "maxputlen=200"}),
                                    "small\n" + std::string(300, 'x') + "\nsmall-again\n");
    EXPECT_EQ(result.exitStatus, kExitPartialFailure) << describe(result);
    EXPECT_TRUE(contains(result.err, "record 2 failed: 300 bytes")) << result.err;
    EXPECT_TRUE(contains(result.err, "2 records sent")) << result.err;
}

TEST_F(RecordFailures, RequestRefusedAsAWholeGivesOneWithTheServicesMessage) {
    server_.setHandler("PutRecords", [](const RecordedRequest&) {
        return Reply::error(400, "ValidationException", "rxkcat-test: the request was refused");
    });
    const RunResult result = rxkcat(against({"-P", "-s", "faulty"}), "a\nb\n");
    EXPECT_EQ(result.exitStatus, kExitFailure) << describe(result);
    EXPECT_TRUE(contains(result.err, "PutRecords failed for records 1 to 2: ")) << result.err;
    EXPECT_TRUE(contains(result.err, "rxkcat-test: the request was refused")) << result.err;
}

// Listings: a listing cut at the first buffer size (a result of 1 also means an exact fit), or
// an account without streams taken for a failure.
using Listings = RecordFailures;

// `count` stream names of 20 characters (the first one `extra` longer), joined they take
// 21 * count - 1 + extra bytes.
std::vector<std::string> streamNames(int count, int extra) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        std::string name = "stream-" + std::to_string(100000 + i);
        name.resize(20 + (i == 0 ? extra : 0), 'n');
        names.push_back(name);
    }
    return names;
}

TEST_F(Listings, LongAndExactlyFittingListingsComeWhole) {
    // 4095 bytes fill the first 4096-byte buffer exactly; 6299 bytes need two more.
    for (const auto& names : {streamNames(195, 1), streamNames(300, 0)}) {
        server_.setHandler("ListStreams", [names](const RecordedRequest&) { return listStreamsReply(names); });
        const RunResult result = rxkcat(against({"-L"}));
        ASSERT_EQ(result.exitStatus, kExitOk) << describe(result);
        EXPECT_EQ(splitFields(result.out, '\n'), names);
    }
}

TEST_F(Listings, AccountWithoutStreamsListsNothing) {
    server_.setHandler("ListStreams", [](const RecordedRequest&) { return emptyListStreams(); });
    const RunResult result = rxkcat(against({"-L"}));
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(result.out, "");
}

// Signals: a follower that can't be stopped cleanly, or a producer that loses what it read.
using Signals = RxkcatTest;

TEST_F(Signals, FollowingConsumerPrintsNewRecordsAndStopsOnSigterm) {
    const std::string stream = newStream(1);
    produce(stream, "old-1\nold-2\n");
    auto follower = start({"-C", "-s", stream});
    ASSERT_TRUE(follower->waitForOutput([](const std::string& out) { return out == "old-1\nold-2\n"; }, 30s));
    emulator().putRecord(stream, "new-1");
    ASSERT_TRUE(follower->waitForOutput([](const std::string& out) { return contains(out, "new-1\n"); }, 30s));
    follower->sendSignal(SIGTERM);
    const RunResult result = follower->finish(30s);
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_EQ(result.out, "old-1\nold-2\nnew-1\n");
    EXPECT_TRUE(contains(result.err, "3 records consumed")) << result.err;
    EXPECT_TRUE(contains(result.err, "stopped by a signal")) << result.err;
}

TEST_F(Signals, InterruptedProducerSendsWhatItRead) {
    const std::string stream = newStream(1);
    auto producer = start({"-P", "-s", stream, "-b", "1", "--progress"});
    producer->write("first\n");
    // With batches of one, the first record is in the stream once the producer runs.
    bool stored = false;
    for (int attempt = 0; attempt < 100 && !stored; ++attempt) {
        producer->pumpFor(100ms);
        stored = consumeAll(stream) == "first\n";
    }
    ASSERT_TRUE(stored);
    producer->pumpFor(300ms);  // past the progress interval
    producer->write("second\n");
    producer->pumpFor(500ms);
    producer->sendSignal(SIGINT);
    const RunResult result = producer->finish(30s);
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_TRUE(contains(result.err, "2 records sent")) << result.err;
    EXPECT_TRUE(contains(result.err, "stopped by a signal")) << result.err;
    EXPECT_TRUE(contains(result.err, "\rrxkcat: ")) << "the progress line was asked for";
    EXPECT_EQ(consumeAll(stream), "first\nsecond\n");
}

TEST_F(Signals, NoProgressLineWhenStandardErrorIsNoTerminal) {
    const std::string stream = newStream(1);
    auto producer = start({"-P", "-s", stream, "-b", "1"});
    producer->write("one\n");
    producer->pumpFor(400ms);
    producer->write("two\n");
    producer->closeInput();
    const RunResult result = producer->finish(30s);
    EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
    EXPECT_FALSE(contains(result.err, "\r")) << result.err;
}

// Probe: an exception from the library that kills the host or arrives as the wrong type.
using Probe = RxkcatTest;

TEST_F(Probe, TellsWhichExceptionArrived) {
    const struct {
        const char* word;
        std::vector<std::string> fragments;
    } cases[] = {
        {"exception7", {"id:0 KinesisEnv::dummy[7] [exception7] beg => throw RX_Exception\n",
                        "delivered RX_Exception [RX_Exception: exception7]"}},
        {"exception6", {"delivered std::exception [exception6]"}},
        {"exception4", {"delivered std::exception [SE_Exception: Access Violation]"}},
        // Untranslated: the fault arrives as SE_Exception with its code.
        {"exception", {"delivered SE_Exception [SE_Exception: Access Violation] code 0xC0000005"}},
        {"nothing", {"no exception, Dummy returned 0", "last error text: id:0 KinesisEnv::dummy [nothing]"}},
    };
    for (const auto& probe : cases) {
        SCOPED_TRACE(probe.word);
        const RunResult result = rxkcat({"-Z", probe.word});
        EXPECT_EQ(result.exitStatus, kExitOk) << describe(result);
        for (const std::string& fragment : probe.fragments) EXPECT_TRUE(contains(result.out, fragment)) << result.out;
    }
}

// Verbosity: the library's own log and trace not reaching standard error.
TEST_F(Usage, VerboseShowsTheLibrarysLogAndTrace) {
    const std::string stream = newStream(1);
    const RunResult quiet = rxkcat({"-L", "-s", stream});
    EXPECT_EQ(quiet.err, "");
    const RunResult traced = rxkcat({"-L", "-s", stream, "-vv"});
    EXPECT_EQ(traced.exitStatus, kExitOk) << describe(traced);
    EXPECT_TRUE(contains(traced.err, "rxkinesis trace: rxKinesis::GetData")) << traced.err;
    const RunResult logged = rxkcat({"-L", "-s", "rxkcat-missing", "-v"});
    EXPECT_TRUE(contains(logged.err, "rxkinesis: id:0 KinesisEnv::getListShardOrShardDetails")) << logged.err;
    EXPECT_FALSE(contains(logged.err, "rxkinesis trace:")) << logged.err;
    EXPECT_EQ(countLines(quiet.out), 1u);
}

}  // namespace
}  // namespace rxk::test
