// GetData's copy into the host's buffer, at every boundary of the declared size: whole text,
// exact fit, one short, one byte, zero and negative sizes. Guard bytes sit behind the size.
#include "fault_server.h"
#include "listing_support.h"

#include <gtest/gtest.h>

#include <algorithm>

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

// Would catch a result of 0 for a text that only just fits (the host can't tell it from a cut),
// an off-by-one that reports a cut where the text fitted with room to spare, a cut that writes
// the NUL past the declared size or reports the wrong count, and a one-byte buffer receiving a
// text byte instead of only the NUL.
TEST_F(GetDataBuffer, DeclaredSizesAroundTheTextLength) {
    const struct {
        std::int32_t declared;
        std::int32_t result;
        std::size_t textBytes;  // of kText expected before the NUL
    } cases[] = {
        {kTextLength + 2, RXK_OK, kText.size()},       {kTextLength + 1, RXK_CUT, kText.size()},
        {kTextLength, RXK_CUT, kText.size() - 1},      {6, RXK_CUT, 5},
        {2, RXK_CUT, 1},                               {1, RXK_CUT, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.declared);
        const Listing listing = streams(c.declared);
        EXPECT_EQ(listing.result, c.result);
        EXPECT_EQ(listing.text, kText.substr(0, c.textBytes));
        EXPECT_EQ(listing.bytes[c.textBytes], '\0');
        EXPECT_EQ(listing.lenBuffer, std::min(c.declared, kTextLength + 1));
        if (c.result == RXK_OK) {
            EXPECT_EQ(listing.bytes[kTextLength + 1], kListingGuard);
        }
        EXPECT_TRUE(listing.guardsIntact);
    }
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
