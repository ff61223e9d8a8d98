// The registry of readings: one reading per pair of names, found again byte for byte, removed
// without disturbing the others, and never confused by names that don't fit their field.
#include "reading_support.h"

#include <gtest/gtest.h>

namespace rxk::test {
namespace {

class IteratorRegistry : public ::testing::Test {
protected:
    void SetUp() override {
        connector();
        LogCapture::reset();
    }

    std::int32_t start(const std::string& stream, const std::string& shard) {
        return connector().StartShardIterator(client.id(), stream.c_str(), shard.c_str(), nullptr, 10,
                                              RXK_TRIM_HORIZON);
    }
    std::int32_t stop(const std::string& stream, const std::string& shard) {
        return connector().StopShardIterator(client.id(), stream.c_str(), shard.c_str());
    }
    std::int32_t next(const std::string& stream, const std::string& shard) {
        return connector().NextShardIterator(client.id(), stream.c_str(), shard.c_str());
    }

    FaultServer server;  // its built-in answers give empty batches
    Client client{server.endpoint()};
};

// Would catch a stop of an unknown pair that changes the list, returns another code, or loses
// one of the two lines (the lookup's, then the stop's, which stays in the error text).
TEST_F(IteratorRegistry, StopOfAPairNeverStartedReturnsMinus4WithTwoLines) {
    EXPECT_EQ(stop("orders", kShard0), RXK_NO_ITERATOR);

    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "FindIterator [orders]:[shardId-000000000000] iterator not found"));
    EXPECT_EQ(lines[1], clientLine(client.id(), "stopGetIterator [orders]:[shardId-000000000000] no iterator available"));
    EXPECT_EQ(client.lastError(), lines[1]);
    EXPECT_EQ(server.requestCount(), 0);
}

// Would catch reporting that depends on a log sink being set.
TEST_F(IteratorRegistry, WithoutLogSinkTheStopLineStillReachesTheErrorText) {
    connector().InitLogEventCallBack(nullptr, nullptr);
    EXPECT_EQ(stop("orders", kShard0), RXK_NO_ITERATOR);
    connector().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    EXPECT_EQ(client.lastError(),
              clientLine(client.id(), "stopGetIterator [orders]:[shardId-000000000000] no iterator available"));
}

// Would catch a case-insensitive or prefix comparison merging two pairs into one reading.
TEST_F(IteratorRegistry, NamesThatDifferOnlyInCaseAreTwoReadings) {
    EXPECT_EQ(start("Orders", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(start("orders", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(start("orders", "SHARDID-000000000000"), RXK_NO_RECORD);
    EXPECT_EQ(start("orders", "shardId-000000000001"), RXK_NO_RECORD);
    EXPECT_EQ(start("clicks", kShard0), RXK_NO_RECORD);

    EXPECT_EQ(stop("Orders", kShard0), RXK_OK);
    EXPECT_EQ(stop("orders", kShard0), RXK_OK);
    EXPECT_EQ(stop("orders", "SHARDID-000000000000"), RXK_OK);
    EXPECT_EQ(stop("orders", "shardId-000000000001"), RXK_OK);
    EXPECT_EQ(stop("clicks", kShard0), RXK_OK);
    EXPECT_EQ(stop("orders", kShard0), RXK_NO_ITERATOR);
}

// Would catch a restart that makes a second record for the same pair (one stop must free it).
TEST_F(IteratorRegistry, ASecondStartReusesTheReading) {
    EXPECT_EQ(start("orders", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(start("orders", kShard0), RXK_NO_RECORD);
    EXPECT_TRUE(LogCapture::traceContains(clientLine(client.id(), "FindIterator [orders]:[shardId-000000000000] iterator found size:0")));
    EXPECT_EQ(stop("orders", kShard0), RXK_OK);
    EXPECT_EQ(stop("orders", kShard0), RXK_NO_ITERATOR);
}

// Would catch a removal that shifts the wrong entry or loses the order of the others.
TEST_F(IteratorRegistry, StoppingTheMiddleOfThreeLeavesTheOtherTwo) {
    for (const char* stream : {"first", "middle", "last"}) ASSERT_EQ(start(stream, kShard0), RXK_NO_RECORD);
    EXPECT_EQ(stop("middle", kShard0), RXK_OK);
    EXPECT_EQ(next("first", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(next("last", kShard0), RXK_NO_RECORD);
    EXPECT_EQ(next("middle", kShard0), RXK_NO_ITERATOR);
    EXPECT_EQ(stop("last", kShard0), RXK_OK);
    EXPECT_EQ(stop("first", kShard0), RXK_OK);
}

// Would catch an empty name being taken for a missing one.
TEST_F(IteratorRegistry, EmptyNamesAreNamesLikeAnyOther) {
    EXPECT_EQ(start("", ""), RXK_NO_RECORD);
    EXPECT_EQ(next("", ""), RXK_NO_RECORD);
    EXPECT_EQ(next("", kShard0), RXK_NO_ITERATOR);
    EXPECT_EQ(stop("", ""), RXK_OK);
}

// Would catch a 255-character name being cut (it fits the field) or a longer one being cut and
// then answering for a different name: names beyond the field are refused at the start, so no
// reading ever holds a shortened name.
TEST_F(IteratorRegistry, NamesBeyondTheFieldAreRefusedAndNeverMatchAShorterOne) {
    const std::string longest(255, 's');
    const std::string tooLong = longest + "x";
    EXPECT_EQ(start(longest, kShard0), RXK_NO_RECORD);
    EXPECT_EQ(next(longest, kShard0), RXK_NO_RECORD);
    EXPECT_EQ(next(longest.substr(1), kShard0), RXK_NO_ITERATOR);

    LogCapture::reset();
    EXPECT_EQ(start(tooLong, kShard0), RXK_ERROR);
    EXPECT_EQ(start(longest, std::string(300, 'h')), RXK_ERROR);
    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "FindIterator [" + tooLong + "]:[shardId-000000000000] name longer than 255 characters"));
    EXPECT_NE(lines[1].find("name longer than 255 characters"), std::string::npos);
    EXPECT_EQ(server.requestCount("GetShardIterator"), 1);  // only the fitting start went out

    EXPECT_EQ(next(tooLong, kShard0), RXK_NO_ITERATOR);
    EXPECT_EQ(stop(tooLong, kShard0), RXK_NO_ITERATOR);
    EXPECT_EQ(stop(longest, kShard0), RXK_OK);
}

}  // namespace
}  // namespace rxk::test
