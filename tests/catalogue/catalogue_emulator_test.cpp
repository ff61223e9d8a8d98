// The catalogue against the emulator: stream names, the shard ids of streams of one, three and
// many shards (several DescribeStream pages), shard details, and streams the library created.
#include "listing_support.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cstring>

namespace rxk::test {
namespace {

class EmulatorCatalogue : public ::testing::Test {
protected:
    void SetUp() override { LogCapture::reset(); }

    std::vector<std::string> emulatorStreamNames() const {
        const auto response = kinesalite.call("ListStreams", "{}");
        rapidjson::Document doc;
        doc.Parse(response.body.c_str());
        std::vector<std::string> names;
        for (const auto& name : doc["StreamNames"].GetArray()) names.emplace_back(name.GetString());
        return names;
    }

    Kinesalite& kinesalite = sharedKinesalite();
    Client client{kinesalite.endpoint()};
};

// Would catch names dropped, reordered, or delimited before the first / after the last.
TEST_F(EmulatorCatalogue, StreamNamesComeInTheServicesOrder) {
    const std::string first = kinesalite.createUniqueStream("names-b");
    const std::string second = kinesalite.createUniqueStream("names-a");
    const Listing listing = listStreams(client.id());
    EXPECT_EQ(listing.result, RXK_OK);
    EXPECT_EQ(listing.text, joined(emulatorStreamNames()));
    EXPECT_NE(listing.text.find(first), std::string::npos);
    EXPECT_NE(listing.text.find(second), std::string::npos);
    EXPECT_EQ(listing.lenBuffer, static_cast<std::int32_t>(listing.text.size() + 1));
}

// Would catch paging that stops after the first DescribeStream page (the emulator pages at 100
// shards), repeats a page, or loses the order.
TEST_F(EmulatorCatalogue, ShardIdsOfStreamsOfOneThreeAndManyShards) {
    for (int shards : {1, 3, 250}) {
        const std::string stream = kinesalite.createUniqueStream("shards", shards);
        const Listing listing = listShards(client.id(), stream);
        EXPECT_EQ(listing.result, RXK_OK) << shards;
        const auto expected = kinesalite.shardIds(stream);
        ASSERT_EQ(expected.size(), static_cast<std::size_t>(shards));
        EXPECT_EQ(listing.text, joined(expected)) << shards;
        EXPECT_TRUE(listing.guardsIntact);
    }
}

// Would catch fields in the wrong order, a missing empty field, or the parent ids written.
TEST_F(EmulatorCatalogue, DetailsOfAnOpenShardEndInTheDelimiter) {
    const std::string stream = kinesalite.createUniqueStream("details", 3);
    const std::string shard = "shardId-000000000001";
    const Listing listing = shardDetails(client.id(), stream, shard);
    EXPECT_EQ(listing.result, RXK_OK);
    const auto fields = emulatorShardFields(kinesalite, stream, shard);
    ASSERT_TRUE(fields[4].empty());  // open
    EXPECT_EQ(listing.text, joined(fields));
    EXPECT_EQ(listing.text.back(), ';');
    EXPECT_EQ(std::count(listing.text.begin(), listing.text.end(), ';'), 4);
}

// Would catch an unknown shard id being reported as a failure of its own: only "no result",
// and the error text keeps what it held.
TEST_F(EmulatorCatalogue, AShardIdNoShardHasGivesOnlyNoResult) {
    const std::string stream = kinesalite.createUniqueStream("noshard", 2);
    ASSERT_EQ(getData(client.id(), RXK_LIST_SHARDS, nullptr, nullptr, 100).result, RXK_ERROR);
    const std::string before = client.lastError();
    LogCapture::reset();

    const Listing listing = shardDetails(client.id(), stream, "shardId-000000000007");
    EXPECT_EQ(listing.result, RXK_ERROR);
    EXPECT_EQ(listing.lenBuffer, 0);
    EXPECT_EQ(listing.bytes[0], '\0');
    EXPECT_EQ(logTexts(), std::vector<std::string>{clientLine(client.id(), "getData no result")});
    EXPECT_EQ(client.lastError(), before);
}

// Would catch a created stream that doesn't show, or a shard count not sent as given.
TEST_F(EmulatorCatalogue, CreateThenList) {
    const std::string stream = uniqueStreamName("created");
    EXPECT_EQ(connector().CreateStream(client.id(), stream.c_str(), 2), RXK_OK);
    EXPECT_TRUE(LogCapture::traceContains(clientLine(client.id(), "createStream [" + stream + "] with 2 shard")));
    EXPECT_TRUE(logTexts().empty());
    EXPECT_NE(listStreams(client.id()).text.find(stream), std::string::npos);
    EXPECT_EQ(listShards(client.id(), stream).text, "shardId-000000000000;shardId-000000000001");
}

// Would catch a failed creation without the service's words, or one that isn't a failure.
TEST_F(EmulatorCatalogue, CreatingAnExistingStreamFailsWithTheServicesMessage) {
    const std::string stream = kinesalite.createUniqueStream("twice");
    EXPECT_EQ(connector().CreateStream(client.id(), stream.c_str(), 1), RXK_ERROR);
    const std::string prefix = clientLine(client.id(), "createStream [" + stream + "] with 1 shard error : ");
    const std::string error = client.lastError();
    EXPECT_EQ(error.rfind(prefix, 0), 0u) << error;
    EXPECT_GT(error.size(), prefix.size());
    ASSERT_EQ(LogCapture::logLines().size(), 1u);
    EXPECT_EQ(LogCapture::logLines()[0].text, error);
    EXPECT_EQ(LogCapture::logLines()[0].length, static_cast<std::int32_t>(error.size()));

    EXPECT_EQ(connector().CreateStream(client.id(), uniqueStreamName("zero").c_str(), 0), RXK_ERROR);
    EXPECT_NE(client.lastError().find("with 0 shard error : "), std::string::npos);
}

// Would catch a stream name "" taken for a missing one: it goes to the service, whose refusal
// comes back as a failed page.
TEST_F(EmulatorCatalogue, AnEmptyStreamNameIsAskedForAndRefusedByTheService) {
    const Listing listing = listShards(client.id(), "");
    EXPECT_EQ(listing.result, RXK_ERROR);
    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], clientLine(client.id(), "getListShardOrShardDetails ERROR:"));
    EXPECT_FALSE(lines[1].empty());
    EXPECT_EQ(lines[2], clientLine(client.id(), "getData no result"));
    EXPECT_EQ(client.lastError(), lines[0] + lines[1]);
}

// Would catch the per-call delimiter leaking into the global one, or the global one ignored.
TEST_F(EmulatorCatalogue, DelimiterOfOneCallAndTheGlobalOne) {
    const std::string stream = kinesalite.createUniqueStream("delimiter", 3);
    const auto ids = kinesalite.shardIds(stream);
    EXPECT_EQ(getData(client.id(), RXK_LIST_SHARDS, stream.c_str(), nullptr, 1000, '|').text, joined(ids, '|'));
    EXPECT_EQ(listShards(client.id(), stream).text, joined(ids, ';'));

    ASSERT_EQ(connector().SetGlobalParam("delimiter", "#"), RXK_OK);
    EXPECT_EQ(listShards(client.id(), stream).text, joined(ids, '#'));
    ASSERT_EQ(connector().SetGlobalParam("delimiter", ";"), RXK_OK);
}

// Would catch a NUL delimiter counted wrong: the copy stops at the first NUL, the rest of the
// copied span is NUL, and lenBuffer still says the whole text plus one.
TEST_F(EmulatorCatalogue, AnEmptyGlobalDelimiterSeparatesWithNul) {
    const std::string stream = kinesalite.createUniqueStream("nul", 3);
    const auto ids = kinesalite.shardIds(stream);
    ASSERT_EQ(connector().SetGlobalParam("delimiter", ""), RXK_OK);
    const Listing listing = listShards(client.id(), stream, 200);
    ASSERT_EQ(connector().SetGlobalParam("delimiter", ";"), RXK_OK);

    const std::string full = joined(ids, '\0');
    EXPECT_EQ(listing.result, RXK_OK);
    EXPECT_EQ(listing.text, ids[0]);
    EXPECT_EQ(listing.lenBuffer, static_cast<std::int32_t>(full.size() + 1));
    for (std::size_t i = ids[0].size(); i <= full.size(); ++i) EXPECT_EQ(listing.bytes[i], '\0') << i;
    EXPECT_EQ(listing.bytes[full.size() + 1], kListingGuard);
}

}  // namespace
}  // namespace rxk::test
