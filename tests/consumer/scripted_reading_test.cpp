// Reading against the fault endpoint: what the reads put on the wire, the iterator chain, the
// poll's order and end, closed shards, failed requests and records the poll buffers can't hold.
#include "reading_steps.h"

#include "fault_endpoint.h"

#include <gtest/gtest.h>


namespace rxk::test {
namespace {

// A member of a compact JSON request body as sent: a string's text, a number's digits, "" if absent.
std::string member(const std::string& body, const std::string& name) {
    const std::string key = "\"" + name + "\":";
    const auto at = body.find(key), start = at + key.size();
    if (at == std::string::npos) return "";
    if (body[start] == '"') return body.substr(start + 1, body.find('"', start + 1) - start - 1);
    return body.substr(start, body.find_first_of(",}", start) - start);
}

// A GetRecords rule for one attempt: `records` as JSON objects, `next` as JSON (null: none).
std::string getRecords(int attempt, const std::string& records, const std::string& next) {
    return R"({"operation":"GetRecords","attempts":[)" + std::to_string(attempt) + R"(],"answer":{"records":[)" + records +
           R"(],"next_iterator":)" + next + "}}";
}

class ScriptedReading : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    FaultEndpoint endpoint;
    Client client{endpoint.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch the host's code cast to the SDK's enumeration, a start value sent where the code
// ignores it (or a null one dereferenced), a timestamp not in epoch seconds or a timestamp line
// with a one-based month, a limit "corrected" on its way, a restart that clears what only its
// own path writes, a code without meaning sent with a made-up position; records out of order or
// twice, a poll that ends after one empty fetch or spins at a closed shard's end, an iterator
// not renewed from the latest answer, a failed request reported or breaking the reading instead
// of looking like an empty batch, a record without data taken for none; a one-shot read at
// another position or limit, or one that skips GetRecords when GetShardIterator failed; a
// registry that compares names without case or by prefix, makes a second reading for a
// restarted pair, shifts the wrong entry on removal, takes an empty name for a missing one, cuts
// a 255-character name or lets a longer one match a cut one; a -4 path with another code, a
// lost line of the two, or reporting that needs a log sink.
TEST_F(ScriptedReading, StepsAgainstScriptedAnswers) {
    // wire: "Operation.Member=[value in the 1st request][in the 2nd]..."; log: the log lines of
    // the row (without "id:<id> KinesisEnv::"); error: the error text afterwards ("": unchanged).
    struct Case { const char* name; std::int32_t limit; std::string rules; const char* steps; const char* wire; std::string log, error; };
    const std::string it0 = R"({"operation":"GetShardIterator","answer":{"shard_iterator":"it0"}},)", pair = " [scripted]:[shardId-000000000000] ";
    const std::string notFound = "FindIterator" + pair + "iterator not found\n", stopLine = "stopGetIterator" + pair + "no iterator available";
    auto minus4 = [&](const std::string& method) { return notFound + method + pair + "no iterator available\n"; };
    const std::string tooLong256 = "FindIterator [" + std::string(256, 'n') + "]:[shardId-000000000000] name longer than 255 characters";
    const std::string tooLong300 = "FindIterator [" + std::string(255, 'n') + "]:[" + std::string(300, 'n') + "] name longer than 255 characters";
    const Case kRows[] = {
        {"code 0: no position, its value ignored", 10, "", "S0@12=2 n=2",
         "GetShardIterator.ShardIteratorType=[] GetShardIterator.StartingSequenceNumber=[] GetShardIterator.StreamName=[scripted] "
         "GetShardIterator.ShardId=[shardId-000000000000] GetRecords.Limit=[10][10]", "", ""},
        {"code 1 with its sequence number", 0, "", "S1@4959033827149025660855969253836157109592157598913=2 n=2",
         "GetShardIterator.ShardIteratorType=[AT_SEQUENCE_NUMBER] GetRecords.Limit=[0][0] "
         "GetShardIterator.StartingSequenceNumber=[4959033827149025660855969253836157109592157598913]", "", ""},
        {"codes 1 and 2 with null: no sequence number", -5, "", "S1=2 x=0 S2=2",
         "GetShardIterator.StartingSequenceNumber=[][] GetRecords.Limit=[-5][-5]", "", ""},
        {"code 2 with its sequence number", 1, "", "S2@12=2",
         "GetShardIterator.ShardIteratorType=[AFTER_SEQUENCE_NUMBER] GetShardIterator.StartingSequenceNumber=[12] GetRecords.Limit=[1]", "", ""},
        {"code 3 in epoch seconds, the month zero-based in the line", 20000, "", "S3@2016-04-04T19:58:46.480Z=2",
         "GetShardIterator.ShardIteratorType=[AT_TIMESTAMP] GetShardIterator.Timestamp=[1459799926.48] GetRecords.Limit=[20000]",
         "startGetIterator" + pair + "timestamp:2016-04-04T19:58:46.480Z ts:2016-03-04 19.58.46 ItTimestamp:2016-03-04 19.58.46", ""},
        {"code 3 with a text that doesn't parse: the epoch", 10, "", "S3@garbage=2", "",
         "startGetIterator" + pair + "timestamp:garbage ts:1970-00-01 00.00.00 ItTimestamp:1970-00-01 00.00.00", ""},
        {"code 3 with null: no timestamp, no line", 10000, "", "S3=2", "GetShardIterator.Timestamp=[] GetRecords.Limit=[10000]", "", ""},
        {"code 4 ignores its value", 10, "", "S4@12=2", "GetShardIterator.ShardIteratorType=[TRIM_HORIZON] GetShardIterator.StartingSequenceNumber=[]", "", ""},
        {"code 5 ignores its value", 10, "", "S5@2016-04-04T19:58:46Z=2",
         "GetShardIterator.ShardIteratorType=[LATEST] GetShardIterator.Timestamp=[] GetShardIterator.StartingSequenceNumber=[]", "", ""},
        {"a restart with 5 after 1 keeps the sequence number", 10, "", "S1@33=2 S5=2",
         "GetShardIterator.ShardIteratorType=[AT_SEQUENCE_NUMBER][LATEST] GetShardIterator.StartingSequenceNumber=[33][33]", "", ""},
        {"code 6 is refused before any request, leaving no reading", 10, "", "S6=-1 x=-4", "GetShardIterator.ShardId=",
         "startGetIterator" + pair + "unknown type:6\n" + notFound + stopLine, stopLine},
        {"codes -1 and INT32_MIN are refused", 10, "", "S-1=-1 S-2147483648=-1", "",
         "startGetIterator" + pair + "unknown type:-1\nstartGetIterator" + pair + "unknown type:-2147483648", "startGetIterator" + pair + "unknown type:-2147483648"},
        {"poll in batch order, ending after two empty fetches in a row", 10,
         it0 + getRecords(1, R"({"data":"a"},{"data":"b"})", "\"it1\"") + "," + getRecords(2, R"({"data":"c"})", "\"it2\"") + "," +
             getRecords(3, "", "\"it3\"") + "," + getRecords(4, "", "\"it4\""),
         "S4=0 Pa,b,c=2", "GetRecords.ShardIterator=[it0][it1][it2][it3]", "", ""},
        {"after an empty start the poll only fetches", 10,
         getRecords(1, "", "\"it1\"") + "," + getRecords(2, R"({"data":"x"},{"data":"y"})", "\"it2\""), "S4=2 P=0 Px,y=2 P=2", "", "", ""},
        {"a closed shard's end: the empty text goes out and the poll ends", 10, it0 + getRecords(1, R"({"data":"last"})", "null"),
         "S4=0 Plast=2 n=2", "GetRecords.ShardIterator=[it0][][][]", "", ""},
        {"failed GetRecords look like empty batches", 10,
         it0 + getRecords(1, R"({"data":"kept"})", "\"it1\"") +
             R"(,{"operation":"GetRecords","attempts":[2],"answer":{"error":"ExpiredIteratorException","message":"Iterator expired."}})"
             R"(,{"operation":"GetRecords","attempts":[3],"answer":{"error":"InternalFailure","message":"x","status":500}})",
         "S4=0 Pkept=2 n=2", "GetRecords.ShardIterator=[it0][it1][][]", "", ""},
        {"a failed GetShardIterator: GetRecords goes out with the empty text", 10,
         R"({"operation":"GetShardIterator","answer":{"error":"ResourceNotFoundException","message":"gone"}},)"
         R"({"operation":"GetRecords","answer":{"error":"ValidationException","message":"bad iterator"}})",
         "S4=2 g-", "GetRecords.ShardIterator=[][]", "", ""},
        {"fetches follow the iterator chain", 10,
         R"({"operation":"GetShardIterator","answer":{"shard_iterator":"first"}},)" + getRecords(1, "", "\"second\"") + "," +
             getRecords(2, "", "\"third\""), "S4=2 n=2 g-", "GetRecords.ShardIterator=[first][second][third]", "", ""},
        {"a record without data is a record", 10, getRecords(1, R"({"data":""})", "\"it1\""), "S4=0 g g-", "", "", ""},
        {"one-shot: AT_SEQUENCE_NUMBER, limit 1, no reading made", 10,
         R"({"operation":"GetShardIterator","answer":{"shard_iterator":"one-shot"}},)" + getRecords(1, R"({"data":"payload"})", "\"u\""),
         "opayload@99 x=-4", "GetShardIterator.ShardIteratorType=[AT_SEQUENCE_NUMBER] GetShardIterator.StartingSequenceNumber=[99] "
         "GetRecords.ShardIterator=[one-shot] GetRecords.Limit=[1]", notFound + stopLine, stopLine},
        {"one-shot after a failed GetShardIterator: GetRecords all the same, then a quiet -1", 10,
         R"({"operation":"GetShardIterator","answer":{"error":"ResourceNotFoundException","message":"gone"}})", "o-@99",
         "GetRecords.ShardIterator=[] GetRecords.Limit=[1]", "", ""},
        {"names differing only in case are two pairs", 10, "", "Orders|0|S4=2 orders|0|S4=2 orders|SHARDID-000000000000|S4=2 orders|1|S4=2 "
         "clicks|0|S4=2 Orders|0|x=0 orders|0|x=0 orders|SHARDID-000000000000|x=0 orders|1|x=0 clicks|0|x=0", "", "", ""},
        {"a second start reuses the reading", 10, "", "S4=2 S4=2 x=0 x=-4", "", notFound + stopLine, stopLine},
        {"stopping the middle of three keeps the others", 10, "",
         "first|0|S4=2 middle|0|S4=2 last|0|S4=2 middle|0|x=0 first|0|n=2 last|0|n=2 last|0|x=0 first|0|x=0", "", "", ""},
        {"empty names are names", 10, "", "||S4=2 ||n=2 ||x=0", "", "", ""},
        {"255 characters fit and compare in full", 10, "", "#255|0|S4=2 #255|0|n=2 #255|0|x=0", "", "", ""},
        {"longer names are refused and match nothing", 10, "", "#255|0|S4=2 #256|0|S4=-1 #255|#300|S4=-1 #255|0|x=0", "GetShardIterator.ShardId=[shardId-000000000000]",
         tooLong256 + "\n" + tooLong300, tooLong300},
        {"every -4 path: the lookup's line, then the call's; get leaves length 0 and the buffers, poll calls nothing", 10, "",
         "n=-4 g! P=-4 x=-4", "", minus4("nextGetIterator") + minus4("getRecordFromIterator") + minus4("poll") + notFound + stopLine, stopLine},
        {"stop without a log sink: the error text still gets the line", 10, "", "~ x=-4", "", "", stopLine},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint.load(R"({"rules":[)" + c.rules + "]}");
        endpoint.clear();
        LogCapture::reset();
        const std::string errorBefore = client.lastError();
        Reading reading{client.id(), "scripted", c.limit, {}, nullptr};
        runSteps(reading, c.steps);
        connector().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
        for (const std::string& expected : split(c.wire, ' ')) {
            const auto dot = expected.find('.'), equals = expected.find('=');
            std::string values;
            for (const SeenRequest& request : endpoint.requests(expected.substr(0, dot)))
                values += "[" + member(request.body, expected.substr(dot + 1, equals - dot - 1)) + "]";
            EXPECT_EQ(expected.substr(0, equals + 1) + values, expected);
        }
        std::string log, expectedLog;
        for (const std::string& line : logTexts()) log += line + "\n";
        for (const std::string& line : split(c.log, '\n')) expectedLog += clientLine(client.id(), line) + "\n";
        EXPECT_EQ(log, expectedLog);
        EXPECT_EQ(client.lastError(), c.error.empty() ? errorBefore : clientLine(client.id(), c.error));
        connector().StopShardIterator(client.id(), "scripted", kShard0);
    }
}

// Would catch a write past the poll's 10000-byte data buffer or its 264-byte sequence buffer
// (the text is cut and terminated, the length stays the record's own), or a cut where none is
// needed; GetRecordFromIterator, whose host sizes the buffers, gets the whole data.
TEST_F(ScriptedReading, PollCutsAtItsBufferSizes) {
    struct Case { const char* name; std::size_t dataBytes, sequenceBytes, polledData, polledSequence; };
    const Case kRows[] = {
        {"data and sequence fit exactly", 9999, 263, 9999, 263},
        {"data one byte over", 10000, 56, 9999, 56},
        {"both far over", 12000, 300, 9999, 263},
    };
    static std::string polled[2];
    static std::int32_t polledLength;
    const PollCallback keep = [](std::int32_t, const char*, const char*, const char* sequence, const char* data, std::int32_t length) {
        polled[0] = data, polled[1] = sequence, polledLength = length;
        return 0;
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const std::string data(c.dataBytes, 'd'), sequence(c.sequenceBytes, '7');
        endpoint.load(R"({"rules":[{"operation":"GetRecords","times":2,"answer":{"records":[{"data":")" + data +
                      R"(","sequence":")" + sequence + R"("}],"next_iterator":"n"}}]})");
        ASSERT_EQ(connector().StartShardIterator(client.id(), "cut", kShard0, nullptr, 10, RXK_TRIM_HORIZON), RXK_OK);
        GuardedBuffer text(c.dataBytes + 64);
        std::int32_t length = 0;
        EXPECT_EQ(connector().GetRecordFromIterator(client.id(), "cut", kShard0, nullptr, text.data(), &length), RXK_OK);
        EXPECT_TRUE(text.text() == data && text.intactAfterText());
        EXPECT_EQ(connector().PollShardIterator(client.id(), "cut", kShard0, keep), RXK_NO_RECORD);  // the second answer
        EXPECT_EQ(polled[0], data.substr(0, c.polledData));
        EXPECT_EQ(polled[1], sequence.substr(0, c.polledSequence));
        EXPECT_EQ(polledLength, static_cast<std::int32_t>(c.dataBytes));
    }
}

}  // namespace
}  // namespace rxk::test
