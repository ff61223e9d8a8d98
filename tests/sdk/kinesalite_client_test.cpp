// Every operation against the Kinesis emulator: what goes out is understood by a real server
// and what comes back is read correctly.
#include <aws/kinesis/KinesisClient.h>

#include "kinesalite.h"
#include "wire_test_support.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace Aws::Kinesis::Model;
using rxk::sdktest::bytesOf;
using rxk::sdktest::clientFor;
using rxk::sdktest::textOf;

rxk::test::Kinesalite& emulator() { return rxk::test::sharedKinesalite(); }

std::string allByteValues() {
    std::string bytes;
    for (int round = 0; round < 2; ++round) {
        for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
    }
    return bytes;
}

std::vector<Record> readFromStart(const Aws::Kinesis::KinesisClient& client, const std::string& stream,
                                  const std::string& shard, size_t expected) {
    const auto iterator = client.GetShardIterator(GetShardIteratorRequest()
                                                      .WithStreamName(stream)
                                                      .WithShardId(shard)
                                                      .WithShardIteratorType(ShardIteratorType::TRIM_HORIZON));
    EXPECT_TRUE(iterator.IsSuccess()) << iterator.GetError().GetMessage();
    std::vector<Record> records;
    std::string next = iterator.GetResult().GetShardIterator();
    for (int round = 0; round < 20 && records.size() < expected && !next.empty(); ++round) {
        auto batch = client.GetRecords(GetRecordsRequest().WithShardIterator(next).WithLimit(10000));
        EXPECT_TRUE(batch.IsSuccess()) << batch.GetError().GetMessage();
        if (!batch.IsSuccess()) break;
        GetRecordsResult result = batch.GetResultWithOwnership();
        for (const Record& record : result.GetRecords()) records.push_back(record);
        next = result.GetNextShardIterator();
    }
    return records;
}

// Creation, description and listing agree with each other and with the emulator.
TEST(KinesaliteRoundTrip, CreateDescribeAndListStreams) {
    auto client = clientFor(emulator().endpoint());
    const std::string stream = rxk::test::uniqueStreamName("sdk-create");
    const auto created = client->CreateStream(CreateStreamRequest().WithStreamName(stream).WithShardCount(3));
    ASSERT_TRUE(created.IsSuccess()) << created.GetError().GetMessage();

    DescribeStreamOutcome described;
    for (int i = 0; i < 100; ++i) {
        described = client->DescribeStream(DescribeStreamRequest().WithStreamName(stream));
        ASSERT_TRUE(described.IsSuccess()) << described.GetError().GetMessage();
        if (described.GetResult().GetStreamDescription().GetStreamStatus() == StreamStatus::ACTIVE) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const StreamDescription& description = described.GetResult().GetStreamDescription();
    EXPECT_EQ(description.GetStreamName(), stream);
    EXPECT_EQ(description.GetStreamStatus(), StreamStatus::ACTIVE);
    ASSERT_EQ(description.GetShards().size(), 3u);
    EXPECT_EQ(description.GetShards()[0].GetShardId(), "shardId-000000000000");
    EXPECT_EQ(description.GetShards()[0].GetHashKeyRange().GetStartingHashKey(), "0");
    EXPECT_EQ(description.GetShards()[2].GetHashKeyRange().GetEndingHashKey(), "340282366920938463463374607431768211455");
    EXPECT_FALSE(description.GetShards()[0].GetSequenceNumberRange().GetStartingSequenceNumber().empty());
    EXPECT_FALSE(description.GetHasMoreShards());
    EXPECT_GT(description.GetStreamCreationTimestamp().Seconds(), 1500000000);

    std::vector<std::string> names;
    ListStreamsRequest list;
    for (int i = 0; i < 50; ++i) {
        const auto listed = client->ListStreams(list);
        ASSERT_TRUE(listed.IsSuccess()) << listed.GetError().GetMessage();
        for (const auto& name : listed.GetResult().GetStreamNames()) names.push_back(name);
        if (!listed.GetResult().GetHasMoreStreams()) break;
        list.SetExclusiveStartStreamName(listed.GetResult().GetStreamNames().back());
    }
    EXPECT_NE(std::find(names.begin(), names.end(), stream), names.end());
}

// Binary payloads (every byte value, an empty one, 1 MiB) come back byte for byte.
TEST(KinesaliteRoundTrip, PutRecordAndReadBackBinaryPayloads) {
    auto client = clientFor(emulator().endpoint());
    const std::string stream = emulator().createUniqueStream("sdk-put");
    const std::vector<std::string> payloads = {allByteValues(), std::string(1024 * 1024 - 64, '\xa5'), "x"};
    std::vector<std::string> sequenceNumbers;
    for (const std::string& payload : payloads) {
        PutRecordRequest request;
        request.SetStreamName(stream);
        request.SetPartitionKey("key \xc3\xa9 \"quoted\"");
        request.SetData(bytesOf(payload));
        const auto put = client->PutRecord(request);
        ASSERT_TRUE(put.IsSuccess()) << put.GetError().GetMessage();
        EXPECT_EQ(put.GetResult().GetShardId(), "shardId-000000000000");
        EXPECT_EQ(put.GetResult().GetSequenceNumber().size(), 56u);
        sequenceNumbers.push_back(put.GetResult().GetSequenceNumber());
    }
    const auto records = readFromStart(*client, stream, "shardId-000000000000", payloads.size());
    ASSERT_EQ(records.size(), payloads.size());
    for (size_t i = 0; i < payloads.size(); ++i) {
        EXPECT_EQ(textOf(records[i].GetData()), payloads[i]) << i;
        EXPECT_EQ(records[i].GetSequenceNumber(), sequenceNumbers[i]);
        EXPECT_EQ(records[i].GetPartitionKey(), "key \xc3\xa9 \"quoted\"");
        EXPECT_GT(records[i].GetApproximateArrivalTimestamp().Seconds(), 1500000000);
    }
}

// A full batch of 500 records, each with its own key and size, arrives complete and in order.
TEST(KinesaliteRoundTrip, PutRecordsBatchAndReadInOrder) {
    auto client = clientFor(emulator().endpoint());
    const std::string stream = emulator().createUniqueStream("sdk-batch");
    Aws::Vector<PutRecordsRequestEntry> entries;
    for (int i = 0; i < 500; ++i) {
        PutRecordsRequestEntry entry;
        entry.SetPartitionKey("k" + std::to_string(i));
        entry.SetData(bytesOf(std::string(static_cast<size_t>(i % 50), static_cast<char>(i)) + std::to_string(i)));
        entries.push_back(std::move(entry));
    }
    PutRecordsRequest request;
    request.SetStreamName(stream);
    request.SetRecords(std::move(entries));
    const auto put = client->PutRecords(request);
    ASSERT_TRUE(put.IsSuccess()) << put.GetError().GetMessage();
    EXPECT_EQ(put.GetResult().GetFailedRecordCount(), 0);
    ASSERT_EQ(put.GetResult().GetRecords().size(), 500u);

    const auto records = readFromStart(*client, stream, "shardId-000000000000", 500);
    ASSERT_EQ(records.size(), 500u);
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(records[i].GetSequenceNumber(), put.GetResult().GetRecords()[i].GetSequenceNumber());
        EXPECT_EQ(records[i].GetPartitionKey(), "k" + std::to_string(i));
        EXPECT_EQ(textOf(records[i].GetData()),
                  std::string(static_cast<size_t>(i % 50), static_cast<char>(i)) + std::to_string(i));
    }
}

// Iterator positions: at, after, latest and by timestamp select the right records.
TEST(KinesaliteRoundTrip, ShardIteratorPositions) {
    auto client = clientFor(emulator().endpoint());
    const std::string stream = emulator().createUniqueStream("sdk-iter");
    const auto first = emulator().putRecord(stream, "one");
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const Aws::Utils::DateTime between = Aws::Utils::DateTime::Now();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto second = emulator().putRecord(stream, "two");

    auto readOne = [&](GetShardIteratorRequest request) {
        request.SetStreamName(stream);
        request.SetShardId(first.shardId);
        const auto iterator = client->GetShardIterator(request);
        EXPECT_TRUE(iterator.IsSuccess()) << iterator.GetError().GetMessage();
        const auto batch = client->GetRecords(GetRecordsRequest().WithShardIterator(iterator.GetResult().GetShardIterator()));
        EXPECT_TRUE(batch.IsSuccess()) << batch.GetError().GetMessage();
        EXPECT_FALSE(batch.GetResult().GetNextShardIterator().empty());
        return batch.GetResult().GetRecords().empty() ? std::string() : textOf(batch.GetResult().GetRecords()[0].GetData());
    };
    EXPECT_EQ(readOne(GetShardIteratorRequest()
                          .WithShardIteratorType(ShardIteratorType::AT_SEQUENCE_NUMBER)
                          .WithStartingSequenceNumber(first.sequenceNumber)),
              "one");
    EXPECT_EQ(readOne(GetShardIteratorRequest()
                          .WithShardIteratorType(ShardIteratorType::AFTER_SEQUENCE_NUMBER)
                          .WithStartingSequenceNumber(first.sequenceNumber)),
              "two");
    EXPECT_EQ(readOne(GetShardIteratorRequest().WithShardIteratorType(ShardIteratorType::AT_TIMESTAMP).WithTimestamp(between)),
              "two");
    EXPECT_EQ(readOne(GetShardIteratorRequest().WithShardIteratorType(ShardIteratorType::LATEST)), "");
    EXPECT_FALSE(second.sequenceNumber.empty());
}

// Service errors are classified and never retried when the service says the request is wrong.
TEST(KinesaliteErrors, MissingStreamIsResourceNotFoundWithoutRetry) {
    auto client = clientFor(emulator().endpoint());
    const auto outcome = client->DescribeStream(DescribeStreamRequest().WithStreamName("sdk-no-such-stream"));
    ASSERT_FALSE(outcome.IsSuccess());
    EXPECT_EQ(outcome.GetError().GetErrorType(), Aws::Kinesis::KinesisErrors::RESOURCE_NOT_FOUND);
    EXPECT_EQ(outcome.GetError().GetExceptionName(), "ResourceNotFoundException");
    EXPECT_NE(outcome.GetError().GetMessage().find("sdk-no-such-stream"), std::string::npos);
    EXPECT_EQ(outcome.GetError().GetResponseCode(), Aws::Http::HttpResponseCode::BAD_REQUEST);
    EXPECT_EQ(outcome.GetRetryCount(), 0u);
    EXPECT_FALSE(outcome.GetError().ShouldRetry());
}

TEST(KinesaliteErrors, UnusualNamesGiveValidationErrorsNotBrokenRequests) {
    auto client = clientFor(emulator().endpoint());
    for (const std::string& name : {std::string("bad\"name"), std::string("back\\slash"), std::string("ctl\x01\x1f"),
                                   std::string("caf\xc3\xa9"), std::string("\xff\xfe")}) {
        const auto outcome = client->PutRecord(PutRecordRequest().WithStreamName(name).WithPartitionKey("k").WithData(bytesOf("d")));
        ASSERT_FALSE(outcome.IsSuccess()) << name;
        // A broken JSON body would give a SerializationException instead.
        EXPECT_NE(outcome.GetError().GetExceptionName(), "SerializationException") << name;
        EXPECT_EQ(outcome.GetRetryCount(), 0u) << name;
    }
}

// One client shared by many threads: every call succeeds and none sees another's answer.
TEST(KinesaliteConcurrency, ManyThreadsShareOneClient) {
    auto client = clientFor(emulator().endpoint());
    const std::string stream = emulator().createUniqueStream("sdk-threads");
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 25; ++i) {
                const auto put = client->PutRecord(PutRecordRequest()
                                                       .WithStreamName(stream)
                                                       .WithPartitionKey("t" + std::to_string(t))
                                                       .WithData(bytesOf(std::to_string(t * 1000 + i))));
                if (!put.IsSuccess()) ++failures;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(readFromStart(*client, stream, "shardId-000000000000", 200).size(), 200u);
}

}  // namespace
