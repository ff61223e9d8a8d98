// The catalogue against answers the emulator never gives: a page that fails after good pages,
// an account without streams, a failed ListStreams, pages that say "more" without shards, and
// stream creation failing without a message.
#include "fault_server.h"
#include "listing_support.h"

#include <gtest/gtest.h>

namespace rxk::test {
namespace {

// A DescribeStream page of stream "s" that has no shards but says there are more.
Reply pageWithoutShardsSayingMore() {
    return Reply::json(
        R"({"StreamDescription":{"StreamName":"s","StreamARN":"arn:aws:kinesis:us-east-1:000000000000:stream/s",)"
        R"("StreamStatus":"ACTIVE","Shards":[],"HasMoreShards":true,"RetentionPeriodHours":24,)"
        R"("StreamCreationTimestamp":1767225600,"EnhancedMonitoring":[]}})");
}

class CatalogueFaults : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }
    FaultServer::Handler builtIn() {
        return [this](const RecordedRequest& request) { return server.builtInReply(request); };
    }
    std::vector<std::string> exclusiveStarts() const {
        std::vector<std::string> starts;
        for (const auto& request : server.requests("DescribeStream"))
            starts.push_back(jsonString(request.body, "ExclusiveStartShardId"));
        return starts;
    }

    FaultServer server;
    Client client{server.endpoint(), ServiceEnvironment::SdkRetries::Off};
};

// Would catch a paging loop that stops early, restarts from the first page, or sends a limit.
TEST_F(CatalogueFaults, PagesAreFollowedAfterTheLastShardOfTheList) {
    server.setHandler("DescribeStream", pagedDescribeStream("s", 250, 100));
    std::vector<std::string> ids;
    for (int i = 0; i < 250; ++i) ids.push_back(shardId(i));

    const Listing listing = listShards(client.id(), "s");
    EXPECT_EQ(listing.result, RXK_OK);
    EXPECT_EQ(listing.text, joined(ids));
    EXPECT_EQ(exclusiveStarts(), (std::vector<std::string>{"", shardId(99), shardId(199)}));
    for (const auto& request : server.requests("DescribeStream")) {
        EXPECT_EQ(jsonString(request.body, "StreamName"), "s");
        EXPECT_EQ(jsonInt(request.body, "Limit"), -1);
    }
}

// Would catch shards of good pages surviving a failed page, or the two-part report lost.
TEST_F(CatalogueFaults, AFailingPageAfterGoodPagesDropsEverything) {
    server.setHandler("DescribeStream",
                      onAttempts({3}, Reply::error(400, "LimitExceededException", "Rate exceeded for stream s."),
                                 pagedDescribeStream("s", 250, 100)));
    const Listing listing = listShards(client.id(), "s", 100);
    EXPECT_EQ(listing.result, RXK_ERROR);
    EXPECT_EQ(listing.lenBuffer, 0);
    EXPECT_EQ(listing.bytes[0], '\0');
    const std::string line = clientLine(client.id(), "getListShardOrShardDetails ERROR:");
    EXPECT_EQ(logTexts(), (std::vector<std::string>{line, "Rate exceeded for stream s.",
                                                    clientLine(client.id(), "getData no result")}));
    EXPECT_EQ(client.lastError(), line + "Rate exceeded for stream s.");
    EXPECT_EQ(server.requestCount("DescribeStream"), 3);
}

// Would catch a first page without shards that loops or lists nothing without a report.
TEST_F(CatalogueFaults, APageSayingMoreWithoutShardsEndsInNoShards) {
    server.setHandler("DescribeStream", [](const RecordedRequest&) { return pageWithoutShardsSayingMore(); });
    const Listing listing = shardDetails(client.id(), "s", shardId(0));
    EXPECT_EQ(listing.result, RXK_ERROR);
    const std::string line = clientLine(client.id(), "getListShardOrShardDetails ERROR NO SHARDS");
    EXPECT_EQ(logTexts(), (std::vector<std::string>{line, clientLine(client.id(), "getData no result")}));
    EXPECT_EQ(client.lastError(), line);
    EXPECT_EQ(server.requestCount("DescribeStream"), 1);
}

// Would catch a hang on a service that keeps saying "more" without moving on: a page that brings
// no shard past the last one ends the listing with what came.
TEST_F(CatalogueFaults, PagesThatDontMoveOnEndTheListing) {
    server.setHandler("DescribeStream", [](const RecordedRequest& request) {
        return request.attempt == 1 ? describeStreamPage(request, "s", 5, 2) : pageWithoutShardsSayingMore();
    });
    const Listing listing = listShards(client.id(), "s");
    EXPECT_EQ(listing.result, RXK_OK);
    EXPECT_EQ(listing.text, shardId(0) + ";" + shardId(1));
    EXPECT_EQ(exclusiveStarts(), (std::vector<std::string>{"", shardId(1)}));
}

// Would catch details written for a shard that doesn't match, or a closed shard's text ending
// in the delimiter.
TEST_F(CatalogueFaults, DetailsOfAClosedShardAcrossPages) {
    server.setHandler("DescribeStream", [](const RecordedRequest& request) {
        if (request.attempt == 1) return describeStreamPage(request, "s", 4, 2);
        return Reply::json(
            R"({"StreamDescription":{"StreamName":"s","StreamStatus":"ACTIVE","HasMoreShards":false,"Shards":[)"
            R"({"ShardId":"shardId-000000000002","ParentShardId":"shardId-000000000000",)"
            R"("HashKeyRange":{"StartingHashKey":"0","EndingHashKey":"99"},)"
            R"("SequenceNumberRange":{"StartingSequenceNumber":"100","EndingSequenceNumber":"200"}},)"
            R"({"ShardId":"shardId-000000000003","HashKeyRange":{"StartingHashKey":"100","EndingHashKey":"199"},)"
            R"("SequenceNumberRange":{"StartingSequenceNumber":"300"}}]}})");
    });
    EXPECT_EQ(shardDetails(client.id(), "s", shardId(2)).text, "shardId-000000000002;0;99;100;200");
    EXPECT_EQ(shardDetails(client.id(), "s", shardId(3)).text, "shardId-000000000003;100;199;300;");
}

// Would catch an account without streams being listed as success.
TEST_F(CatalogueFaults, AnEmptyStreamListIsAFailure) {
    server.setHandler("ListStreams", [](const RecordedRequest&) { return emptyListStreams(); });
    const Listing listing = listStreams(client.id(), 40);
    EXPECT_EQ(listing.result, RXK_ERROR);
    EXPECT_EQ(listing.lenBuffer, 0);
    EXPECT_EQ(listing.bytes[0], '\0');
    const std::string line = clientLine(client.id(), "getListStream error : [list streams empty]");
    EXPECT_EQ(logTexts(), (std::vector<std::string>{line, clientLine(client.id(), "getData no result")}));
    EXPECT_EQ(client.lastError(), line);
}

// Would catch a failed ListStreams without the service's message, or more than one request.
TEST_F(CatalogueFaults, AFailedStreamListCarriesTheServicesMessage) {
    server.enqueue("ListStreams", Reply::error(400, "ValidationException", "Bad request."));
    EXPECT_EQ(listStreams(client.id()).result, RXK_ERROR);
    EXPECT_EQ(client.lastError(), clientLine(client.id(), "getListStream error : [Bad request.]"));
    EXPECT_EQ(server.requestCount("ListStreams"), 1);
}

// Would catch ListStreams paging or a request with fields the listing doesn't use.
TEST_F(CatalogueFaults, OnlyTheFirstStreamListAnswerCounts) {
    server.setHandler("ListStreams", [](const RecordedRequest&) { return listStreamsReply({"a", "b"}, true); });
    EXPECT_EQ(listStreams(client.id()).text, "a;b");
    ASSERT_EQ(server.requestCount("ListStreams"), 1);
    const std::string body = server.requests("ListStreams")[0].body;
    EXPECT_EQ(body.find("Limit"), std::string::npos);
    EXPECT_EQ(body.find("ExclusiveStartStreamName"), std::string::npos);
}

// Would catch the formatted part lost when the service gives no message, a length that isn't
// the text's, or a shard count changed before it is sent.
TEST_F(CatalogueFaults, CreationFailingWithoutMessageKeepsTheTrailingBlank) {
    server.enqueue("CreateStream", Reply::error(400, "ResourceInUseException", ""));
    EXPECT_EQ(connector().CreateStream(client.id(), "s", -3), RXK_ERROR);
    const std::string text = clientLine(client.id(), "createStream [s] with -3 shard error : ");
    EXPECT_EQ(client.lastError(), text);
    ASSERT_EQ(LogCapture::logLines().size(), 1u);
    EXPECT_EQ(LogCapture::logLines()[0].text, text);
    EXPECT_EQ(LogCapture::logLines()[0].length, static_cast<std::int32_t>(text.size()));
    const auto request = server.requests("CreateStream").at(0);
    EXPECT_EQ(jsonString(request.body, "StreamName"), "s");
    EXPECT_EQ(jsonInt(request.body, "ShardCount"), -3);

    // A success afterwards leaves the failure's text in place.
    EXPECT_EQ(connector().CreateStream(client.id(), "t", 1), RXK_OK);
    EXPECT_EQ(client.lastError(), text);
}

// Would catch a failure that needs a log sink to reach the error text.
TEST_F(CatalogueFaults, CreationFailureWithoutLogSinkStillFillsTheErrorText) {
    server.enqueue("CreateStream", Reply::error(400, "ResourceInUseException", "Stream s already exists."));
    connector().InitLogEventCallBack(nullptr, nullptr);
    EXPECT_EQ(connector().CreateStream(client.id(), "s", 1), RXK_ERROR);
    connector().InitLogEventCallBack(LogCapture::logSink, LogCapture::traceSink);
    EXPECT_EQ(client.lastError(), clientLine(client.id(), "createStream [s] with 1 shard error : Stream s already exists."));
}

}  // namespace
}  // namespace rxk::test
