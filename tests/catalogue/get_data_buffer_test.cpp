// GetData's copy into the host's buffer, at every boundary of the declared size: whole text,
// exact fit, one short, one byte, zero and negative sizes. Guard bytes sit behind the size.
#include "fault_server.h"
#include "listing_support.h"

#include <gtest/gtest.h>

namespace rxk::test {
namespace {

const std::string kText = "alpha;beta;gamma";
const auto kTextLength = static_cast<std::int32_t>(kText.size());

class GetDataBuffer : public ::testing::Test {
protected:
    void SetUp() override {
        server.setHandler("ListStreams", [](const RecordedRequest&) {
            return listStreamsReply({"alpha", "beta", "gamma"});
        });
        LogCapture::reset();
    }
    Listing streams(std::int32_t declared) { return getData(client.id(), RXK_LIST_STREAMS, nullptr, nullptr, declared); }

    FaultServer server;
    Client client{server.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch a result of 0 for a text that only just fits (the host can't tell it from a cut).
TEST_F(GetDataBuffer, RoomForTextAndNulIsAnExactFitAndReturns1) {
    const Listing listing = streams(kTextLength + 1);
    EXPECT_EQ(listing.result, RXK_CUT);
    EXPECT_EQ(listing.text, kText);
    EXPECT_EQ(listing.lenBuffer, kTextLength + 1);
    EXPECT_TRUE(listing.guardsIntact);
}

// Would catch an off-by-one that reports a cut where the text fitted with room to spare.
TEST_F(GetDataBuffer, OneByteMoreReturns0) {
    const Listing listing = streams(kTextLength + 2);
    EXPECT_EQ(listing.result, RXK_OK);
    EXPECT_EQ(listing.text, kText);
    EXPECT_EQ(listing.lenBuffer, kTextLength + 1);
    EXPECT_EQ(listing.bytes[kTextLength + 1], kListingGuard);
    EXPECT_TRUE(listing.guardsIntact);
}

// Would catch a cut that writes the NUL past the declared size or reports the wrong count.
TEST_F(GetDataBuffer, ATooSmallBufferGetsTheFirstBytesTerminated) {
    for (std::int32_t declared : {kTextLength, 6, 2}) {
        const Listing listing = streams(declared);
        EXPECT_EQ(listing.result, RXK_CUT) << declared;
        EXPECT_EQ(listing.text, kText.substr(0, static_cast<std::size_t>(declared - 1)));
        EXPECT_EQ(listing.lenBuffer, declared);
        EXPECT_TRUE(listing.guardsIntact) << declared;
    }
}

// Would catch a one-byte buffer receiving a text byte instead of only the NUL.
TEST_F(GetDataBuffer, OneByteHoldsTheEmptyText) {
    const Listing listing = streams(1);
    EXPECT_EQ(listing.result, RXK_CUT);
    EXPECT_EQ(listing.bytes[0], '\0');
    EXPECT_EQ(listing.lenBuffer, 1);
    EXPECT_TRUE(listing.guardsIntact);
}

// Would catch a write into a buffer declared empty or negative: the service is asked, then the
// call fails with "buffer NULL" and the buffer and its size stay as they were.
TEST_F(GetDataBuffer, ZeroOrNegativeSizeFailsAfterTheQueryWithoutTouchingTheBuffer) {
    for (std::int32_t declared : {0, -1, -100}) {
        LogCapture::reset();
        const Listing listing = streams(declared);
        EXPECT_EQ(listing.result, RXK_ERROR);
        EXPECT_TRUE(listing.untouched);
        EXPECT_EQ(listing.lenBuffer, declared);
        const std::string line = clientLine(client.id(), "getData buffer NULL");
        EXPECT_EQ(logTexts(), std::vector<std::string>{line});
        EXPECT_EQ(client.lastError(), line);
    }
    EXPECT_EQ(server.requestCount("ListStreams"), 3);
}

// Would catch an unknown type reaching the service, or "no result" leaving an old text behind.
TEST_F(GetDataBuffer, TypesWithoutListingEndInNoResultWithoutARequest) {
    for (std::int32_t type : {3, -1}) {
        LogCapture::reset();
        Listing listing = getData(client.id(), type, "s", "shardId-000000000000", 50);
        EXPECT_EQ(listing.result, RXK_ERROR);
        EXPECT_EQ(listing.bytes[0], '\0');
        EXPECT_EQ(listing.lenBuffer, 0);
        EXPECT_EQ(logTexts(), std::vector<std::string>{clientLine(client.id(), "getData no result")});

        listing = getData(client.id(), type, "s", nullptr, 0);
        EXPECT_EQ(listing.result, RXK_ERROR);
        EXPECT_EQ(listing.lenBuffer, 0);
        EXPECT_TRUE(listing.untouched);
    }
    EXPECT_EQ(server.requestCount(), 0);
}

// Would catch a missing name being sent to the service or reported without "no result".
TEST_F(GetDataBuffer, MissingNamesAreReportedThenNoResult) {
    Listing listing = getData(client.id(), RXK_LIST_SHARDS, nullptr, "ignored", 50);
    EXPECT_EQ(listing.result, RXK_ERROR);
    EXPECT_EQ(logTexts(), (std::vector<std::string>{clientLine(client.id(), "getData missing stream name"),
                                                    clientLine(client.id(), "getData no result")}));
    EXPECT_EQ(client.lastError(), clientLine(client.id(), "getData missing stream name"));

    for (const auto& [stream, shard] : std::vector<std::pair<const char*, const char*>>{
             {"s", nullptr}, {nullptr, "shardId-000000000000"}, {nullptr, nullptr}}) {
        LogCapture::reset();
        listing = getData(client.id(), RXK_SHARD_DETAILS, stream, shard, 50);
        EXPECT_EQ(listing.result, RXK_ERROR);
        EXPECT_EQ(logTexts(), (std::vector<std::string>{clientLine(client.id(), "getData missing stream name or shard id"),
                                                        clientLine(client.id(), "getData no result")}));
    }
    EXPECT_EQ(server.requestCount(), 0);
}

// Would catch a cached answer: every call asks the service again and copies from the start.
TEST_F(GetDataBuffer, EveryCallQueriesAgainFromTheFirstByte) {
    EXPECT_EQ(streams(6).text, "alpha");
    EXPECT_EQ(streams(100).text, kText);
    EXPECT_EQ(server.requestCount("ListStreams"), 2);
}

}  // namespace
}  // namespace rxk::test
