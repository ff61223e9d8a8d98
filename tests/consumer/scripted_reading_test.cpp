// Reading against the fault endpoint: what a start puts on the wire, the iterator chain, the
// poll's order and end, closed shards, failed requests and records the poll buffers can't hold.
#include "reading_steps.h"

#include "fault_endpoint.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <climits>

namespace rxk::test {
namespace {

// A member of a JSON request body as text ("" for a string member that is absent).
std::string member(const std::string& body, const char* name) {
    rapidjson::Document document;
    document.Parse(body.c_str());
    if (document.HasParseError() || !document.IsObject() || !document.HasMember(name)) return "";
    const auto& value = document[name];
    return value.IsString() ? value.GetString() : value.IsInt64() ? std::to_string(value.GetInt64()) : "?";
}

std::string getRecords(int attempt, const std::string& records, const std::string& next) {
    return R"({"operation":"GetRecords","attempts":[)" + std::to_string(attempt) + R"(],"answer":{"records":[)" +
           records + R"(],"next_iterator":)" + next + "}}";
}

class ScriptedReading : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    std::vector<std::string> sent(const std::string& operation, const char* name) const {
        std::vector<std::string> values;
        for (const SeenRequest& request : endpoint.requests(operation)) values.push_back(member(request.body, name));
        return values;
    }

    FaultEndpoint endpoint;
    Client client{endpoint.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch records out of order or twice, a poll that ends after one empty fetch or spins
// at a closed shard's end, an iterator not renewed from the latest answer, a failed request
// that is reported or breaks the reading instead of looking like an empty batch, or a record
// without data taken for none.
TEST_F(ScriptedReading, StepsAgainstScriptedAnswers) {
    struct Case { const char* name; std::string rules; const char* steps; std::vector<std::string> iterators; };
    const std::string it0 = R"({"operation":"GetShardIterator","answer":{"shard_iterator":"it0"}},)";
    const Case kRows[] = {
        {"poll in batch order, ending after two empty fetches in a row",
         it0 + getRecords(1, R"({"data":"a"},{"data":"b"})", "\"it1\"") + "," + getRecords(2, R"({"data":"c"})", "\"it2\"") +
             "," + getRecords(3, "", "\"it3\"") + "," + getRecords(4, "", "\"it4\""),
         "S4=0 Pa,b,c=2", {"it0", "it1", "it2", "it3"}},
        {"after an empty start the poll only fetches",
         getRecords(1, "", "\"it1\"") + "," + getRecords(2, R"({"data":"x"},{"data":"y"})", "\"it2\""), "S4=2 P=0 Px,y=2 P=2", {}},
        {"a closed shard's end: the empty text goes out and the poll ends",
         it0 + getRecords(1, R"({"data":"last"})", "null"), "S4=0 Plast=2 n=2", {"it0", "", "", ""}},
        {"failed GetRecords look like empty batches",
         it0 + getRecords(1, R"({"data":"kept"})", "\"it1\"") +
             R"(,{"operation":"GetRecords","attempts":[2],"answer":{"error":"ExpiredIteratorException","message":"Iterator expired."}})"
             R"(,{"operation":"GetRecords","attempts":[3],"answer":{"error":"InternalFailure","message":"x","status":500}})",
         "S4=0 Pkept=2 n=2", {"it0", "it1", "", ""}},
        {"a failed GetShardIterator: GetRecords goes out with the empty text",
         R"({"operation":"GetShardIterator","answer":{"error":"ResourceNotFoundException","message":"gone"}},)"
         R"({"operation":"GetRecords","answer":{"error":"ValidationException","message":"bad iterator"}})", "S4=2 g-", {"", ""}},
        {"fetches follow the iterator chain",
         R"({"operation":"GetShardIterator","answer":{"shard_iterator":"first"}},)" + getRecords(1, "", "\"second\"") + "," +
             getRecords(2, "", "\"third\""), "S4=2 n=2 g-", {"first", "second", "third"}},
        {"a record without data is a record", getRecords(1, R"({"data":""})", "\"it1\""), "S4=0 g g-", {}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        endpoint.load(R"({"rules":[)" + c.rules + "]}");
        endpoint.clear();
        LogCapture::reset();
        Reading reading{client.id(), "scripted", 100, {}, nullptr};
        runSteps(reading, c.steps);
        EXPECT_EQ(c.iterators.empty() ? c.iterators : sent("GetRecords", "ShardIterator"), c.iterators);
        EXPECT_TRUE(logTexts().empty());
        EXPECT_EQ(client.lastError(), "");
        connector().StopShardIterator(client.id(), "scripted", kShard0);
    }
}

// Would catch the host's code cast to the SDK's enumeration, a start value sent where the code
// ignores it (or a null one dereferenced), a timestamp not in epoch seconds, a limit "corrected"
// on its way, a restart that clears what only its own path writes, or a code without meaning
// sent with a made-up position.
TEST_F(ScriptedReading, WhatAStartPutsOnTheWire) {
    struct Case { const char* name; std::int32_t type; const char* value; std::int32_t limit; const char* earlier; const char* wire[3]; };
    const Case kRows[] = {  // wire: ShardIteratorType, StartingSequenceNumber, a fragment of the Timestamp member
        {"0: no position, value ignored", 0, "2016-04-04T19:58:46Z", 10, nullptr, {"", "", nullptr}},
        {"1 with its sequence number", 1, "4959033827149025660855969253836157109592157598913", 0, nullptr,
         {"AT_SEQUENCE_NUMBER", "4959033827149025660855969253836157109592157598913", nullptr}},
        {"1 with null: no sequence number", 1, nullptr, -5, nullptr, {"AT_SEQUENCE_NUMBER", "", nullptr}},
        {"2 with its sequence number", 2, "12", 1, nullptr, {"AFTER_SEQUENCE_NUMBER", "12", nullptr}},
        {"2 with null", 2, nullptr, 10000, nullptr, {"AFTER_SEQUENCE_NUMBER", "", nullptr}},
        {"3 in epoch seconds", 3, "2016-04-04T19:58:46.480Z", 20000, nullptr, {"AT_TIMESTAMP", "", "\"Timestamp\":1459799926.48"}},
        {"3 with null: no timestamp and no timestamp line", 3, nullptr, 10, nullptr, {"AT_TIMESTAMP", "", nullptr}},
        {"4 ignores its value", 4, "12", 10, nullptr, {"TRIM_HORIZON", "", nullptr}},
        {"5 ignores its value", 5, "2016-04-04T19:58:46Z", 10, nullptr, {"LATEST", "", nullptr}},
        {"a restart with 5 after 1 keeps the sequence number", 5, nullptr, 10, "33", {"LATEST", "33", nullptr}},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        connector().StopShardIterator(client.id(), "requests", kShard0);
        if (c.earlier) connector().StartShardIterator(client.id(), "requests", kShard0, c.earlier, 10, RXK_AT_SEQUENCE_NUMBER);
        endpoint.clear();
        LogCapture::reset();
        EXPECT_EQ(connector().StartShardIterator(client.id(), "requests", kShard0, c.value, c.limit, c.type), RXK_NO_RECORD);
        EXPECT_EQ(connector().NextShardIterator(client.id(), "requests", kShard0), RXK_NO_RECORD);
        const auto starts = endpoint.requests("GetShardIterator");
        ASSERT_EQ(starts.size(), 1u);
        EXPECT_EQ(member(starts[0].body, "StreamName") + " " + member(starts[0].body, "ShardId"), std::string("requests ") + kShard0);
        EXPECT_EQ(member(starts[0].body, "ShardIteratorType"), c.wire[0]);
        EXPECT_EQ(member(starts[0].body, "StartingSequenceNumber"), c.wire[1]);
        EXPECT_EQ(starts[0].body.find(c.wire[2] ? c.wire[2] : "Timestamp") != std::string::npos, c.wire[2] != nullptr) << starts[0].body;
        EXPECT_EQ(sent("GetRecords", "Limit"), std::vector<std::string>(2, std::to_string(c.limit)));
        EXPECT_EQ(LogCapture::logContains("timestamp:"), c.wire[2] != nullptr);
    }
    for (std::int32_t type : {6, -1, INT32_MIN}) {
        SCOPED_TRACE(type);
        LogCapture::reset();
        EXPECT_EQ(connector().StartShardIterator(client.id(), "unknown", kShard0, nullptr, 10, type), RXK_ERROR);
        const std::string line = clientLine(client.id(), "startGetIterator [unknown]:[shardId-000000000000] unknown type:" + std::to_string(type));
        EXPECT_EQ(logTexts(), std::vector<std::string>{line});
        EXPECT_EQ(client.lastError(), line);
    }
    EXPECT_EQ(endpoint.count("GetShardIterator"), 1) << "only the last start of the table";
    EXPECT_EQ(connector().StopShardIterator(client.id(), "unknown", kShard0), RXK_NO_ITERATOR);
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
        GuardedBuffer text(c.dataBytes + 64), number(RXK_POLL_SEQUENCE_BYTES + 64);
        std::int32_t length = 0;
        EXPECT_EQ(connector().GetRecordFromIterator(client.id(), "cut", kShard0, number.data(), text.data(), &length), RXK_OK);
        EXPECT_EQ(text.text(), data);
        EXPECT_EQ(number.text(), sequence.substr(0, RXK_POLL_SEQUENCE_BYTES - 1));
        EXPECT_TRUE(text.intactAfterText() && number.intactAfterText());
        EXPECT_EQ(connector().PollShardIterator(client.id(), "cut", kShard0, keep), RXK_NO_RECORD);  // the second answer
        EXPECT_EQ(polled[0], data.substr(0, c.polledData));
        EXPECT_EQ(polled[1], sequence.substr(0, c.polledSequence));
        EXPECT_EQ(polledLength, static_cast<std::int32_t>(c.dataBytes));
    }
}

// Would catch a one-shot read at another position than AT_SEQUENCE_NUMBER, with a limit other
// than 1, one that skips GetRecords when GetShardIterator failed, or writes without a record.
TEST_F(ScriptedReading, OneShotRequests) {
    struct Case { const char* name; const char* iteratorAnswer; std::int32_t result; const char* text; const char* iterator; };
    const Case kRows[] = {
        {"a record", R"({"shard_iterator":"one-shot"})", RXK_OK, "payload", "one-shot"},
        {"a failed GetShardIterator: GetRecords all the same, then a quiet -1",
         R"({"error":"ResourceNotFoundException","message":"gone"})", RXK_ERROR, nullptr, ""},
    };
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.name);
        const std::string records = c.text ? R"(,{"operation":"GetRecords","answer":{"records":[{"data":"payload"}],"next_iterator":"u"}})" : "";
        endpoint.load(std::string(R"({"rules":[{"operation":"GetShardIterator","answer":)") + c.iteratorAnswer + "}" + records + "]}");
        endpoint.clear();
        LogCapture::reset();
        GuardedBuffer data(64);
        std::int32_t length = -1;
        EXPECT_EQ(connector().GetRecord(client.id(), "s", kShard0, "99", data.data(), &length), c.result);
        EXPECT_TRUE(c.text ? data.text() == c.text && length == 7 : data.untouched() && length == -1);
        EXPECT_EQ(sent("GetShardIterator", "ShardIteratorType"), std::vector<std::string>{"AT_SEQUENCE_NUMBER"});
        EXPECT_EQ(sent("GetShardIterator", "StartingSequenceNumber"), std::vector<std::string>{"99"});
        EXPECT_EQ(sent("GetRecords", "ShardIterator"), std::vector<std::string>{c.iterator});
        EXPECT_EQ(sent("GetRecords", "Limit"), std::vector<std::string>{"1"});
        EXPECT_TRUE(logTexts().empty());
    }
}

}  // namespace
}  // namespace rxk::test
