// Batches against the Kinesis emulator: a full batch goes in through the exports and comes out
// unchanged, read both with the harness's own client and with the library's reader; and the
// rate of full batches, against the emulator and against prebuilt answers (the library alone).
#include "kinesalite.h"
#include "producer_fixture.h"

#include <rapidjson/document.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

constexpr int kBatchRecords = 500;
constexpr int kRecordBytes = 100;

// 100 bytes that name their batch and position, so that a swap or a loss shows.
std::string recordData(int batch, int index) {
    std::string data = "batch-" + std::to_string(batch) + "-record-" + std::to_string(index) + "-";
    data.resize(kRecordBytes, static_cast<char>('a' + index % 26));
    return data;
}

struct StoredRecord {
    std::string data;
    std::string sequenceNumber;
    std::string partitionKey;
};

// Every record of a one-shard stream, read with the harness's client from the trim horizon.
std::vector<StoredRecord> readStream(const Kinesalite& emulator, const std::string& stream, std::size_t expected) {
    const std::string shard = emulator.shardIds(stream).at(0);
    const auto iteratorAnswer = emulator.call(
        "GetShardIterator",
        R"({"StreamName":")" + stream + R"(","ShardId":")" + shard + R"(","ShardIteratorType":"TRIM_HORIZON"})");
    std::string iterator = jsonString(iteratorAnswer.body, "ShardIterator");
    std::vector<StoredRecord> records;
    for (int round = 0; round < 20 && records.size() < expected && !iterator.empty(); ++round) {
        const auto answer = emulator.call("GetRecords", R"({"ShardIterator":")" + iterator + R"(","Limit":10000})");
        rapidjson::Document body;
        body.Parse(answer.body.c_str());
        if (!body.IsObject() || !body.HasMember("Records")) break;
        for (const auto& record : body["Records"].GetArray()) {
            records.push_back({base64Decode(record["Data"].GetString()), record["SequenceNumber"].GetString(),
                               record["PartitionKey"].GetString()});
        }
        iterator = body.HasMember("NextShardIterator") ? body["NextShardIterator"].GetString() : "";
    }
    return records;
}

// A client with one list, and full batches gathered and sent through the exports.
class FullBatchTest : public ProducerTest {
protected:
    void openClient(const std::string& endpoint) {
        client_ = createClient(endpoint);
        list_ = createList(client_);
    }

    void appendBatch(int batch) {
        for (int i = 0; i < kBatchRecords; ++i) {
            const std::string data = recordData(batch, i);
            const std::string key = "key-" + std::to_string(i);
            ASSERT_EQ(add(client_, list_, data, key.c_str()), RXK_OK) << i;
        }
    }

    // Records per second over `batches` batches, appends included; 0 if a batch failed.
    double sendBatchesAndMeasure(const std::string& stream, int batches) {
        using Clock = std::chrono::steady_clock;
        const auto start = Clock::now();
        for (int batch = 0; batch < batches; ++batch) {
            EXPECT_EQ(lib_->ClearListRecord(client_, list_), RXK_OK);
            appendBatch(batch);
            const int32_t result =
                lib_->PutRecords(client_, list_, stream.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
            EXPECT_EQ(result, RXK_OK) << lastError(client_);
            if (result != RXK_OK) return 0;
        }
        return batches * kBatchRecords / std::chrono::duration<double>(Clock::now() - start).count();
    }

    void report(const char* against, double rate) {
        std::printf("[ rate     ] %s: %d-record batches of %d-byte records: %.0f records/s\n", against,
                    kBatchRecords, kRecordBytes, rate);
        RecordProperty("records_per_second", static_cast<int>(rate));
    }

    int32_t client_ = -1;
    int32_t list_ = -1;
};

class EmulatorBatchTest : public FullBatchTest {
protected:
    void SetUp() override {
        FullBatchTest::SetUp();
        emulator_ = &sharedKinesalite();
        openClient(emulator_->endpoint());
    }

    Kinesalite* emulator_ = nullptr;
};

// A full batch arrives whole and in order, and each read-back names the stored record.
TEST_F(EmulatorBatchTest, FullBatchRoundTripsThroughTheEmulator) {
    const std::string stream = emulator_->createUniqueStream("batch");
    appendBatch(0);
    int32_t put = 0, failed = -1, bytes = 0, output = 0;
    ASSERT_EQ(lib_->PutRecords(client_, list_, stream.c_str(), &put, &failed, &bytes, &output, "roundtrip"), RXK_OK)
        << lastError(client_);
    EXPECT_EQ(put, kBatchRecords);
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(output, kBatchRecords);

    const auto stored = readStream(*emulator_, stream, kBatchRecords);
    ASSERT_EQ(stored.size(), static_cast<std::size_t>(kBatchRecords));
    char shard[RXK_NAME_BYTES];
    char sequence[RXK_NAME_BYTES];
    char partitionKey[RXK_NAME_BYTES];
    unsigned char success = 0;
    uint32_t length = 0;
    for (int i = 0; i < kBatchRecords; ++i) {
        EXPECT_EQ(stored[i].data, recordData(0, i)) << i;
        EXPECT_EQ(stored[i].partitionKey, "key-" + std::to_string(i)) << i;
        ASSERT_EQ(lib_->GetLastResultPutRecords(client_, list_, i, nullptr, shard, sequence, &success, partitionKey,
                                                nullptr, nullptr, &length),
                  RXK_OK);
        EXPECT_EQ(success, 1);
        EXPECT_EQ(sequence, stored[i].sequenceNumber) << i;
        EXPECT_EQ(partitionKey, stored[i].partitionKey) << i;
        EXPECT_EQ(length, static_cast<uint32_t>(kRecordBytes));
    }
    EXPECT_EQ(std::string(shard), emulator_->shardIds(stream).at(0));

    // The library's own reader sees the same records.
    const std::string shardId = emulator_->shardIds(stream).at(0);
    ASSERT_EQ(lib_->StartShardIterator(client_, stream.c_str(), shardId.c_str(), nullptr, 1000, RXK_TRIM_HORIZON),
              RXK_OK)
        << lastError(client_);
    std::vector<char> data(kRecordBytes + 1);
    for (int i = 0; i < kBatchRecords; ++i) {
        int32_t dataLength = 0;
        ASSERT_EQ(lib_->GetRecordFromIterator(client_, stream.c_str(), shardId.c_str(), sequence, data.data(),
                                              &dataLength),
                  RXK_OK)
            << i;
        EXPECT_EQ(std::string(data.data(), static_cast<std::size_t>(dataLength)), recordData(0, i)) << i;
        EXPECT_EQ(sequence, stored[i].sequenceNumber) << i;
    }
    EXPECT_EQ(lib_->StopShardIterator(client_, stream.c_str(), shardId.c_str()), RXK_OK);
}

// The rate against the emulator, which bounds it; fails only if a batch fails.
TEST_F(EmulatorBatchTest, FullBatchRate) {
    const std::string stream = emulator_->createUniqueStream("rate", 2);
    report("emulator", sendBatchesAndMeasure(stream, 10));
}

// The library's own cost: the same batches against prebuilt answers of the fault server.
TEST_F(FullBatchTest, FullBatchRateWithPrebuiltAnswers) {
    FaultServer server;
    server.useCannedAnswers({});
    openClient(server.endpoint());
    report("prebuilt answers", sendBatchesAndMeasure("rate", 20));
    EXPECT_EQ(server.requestCount("PutRecords"), 20);
}

}  // namespace
}  // namespace rxk::test
