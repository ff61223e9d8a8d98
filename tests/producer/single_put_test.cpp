// The single put through the exports: round trips through the emulator, keys kept between
// calls, random keys, the read-back, and service failures through the fault server.
#include "kinesalite.h"
#include "producer_fixture.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace rxk::test {
namespace {

constexpr char kHighestHashKey[] = "340282366920938463463374607431768211455";

// Everything GetLastResultPutRecord hands out.
struct LastPut {
    int32_t result = 0;
    std::string stream, shardId, sequenceNumber, partitionKey, explicitHashKey, error;
    int success = -1;
    uint32_t dataLength = 0;
};

class SinglePutTest : public ProducerTest {
protected:
    int32_t put(int32_t client, const std::string& stream, const char* partitionKey,
                const char* explicitHashKey, const std::string& data) {
        return lib_->PutRecord(client, stream.c_str(), partitionKey, explicitHashKey, data.data(),
                               static_cast<int32_t>(data.size()));
    }

    LastPut lastPut(int32_t client) {
        std::vector<char> stream(kTextBytes, '\0'), shard(kTextBytes, '\0'), sequence(kTextBytes, '\0'),
            partitionKey(kTextBytes, '\0'), hashKey(kTextBytes, '\0'), error(kTextBytes, '\0');
        unsigned char success = 0x77;
        LastPut last;
        last.result = lib_->GetLastResultPutRecord(client, stream.data(), shard.data(), sequence.data(), &success,
                                                   partitionKey.data(), hashKey.data(), error.data(),
                                                   &last.dataLength);
        last.stream = stream.data();
        last.shardId = shard.data();
        last.sequenceNumber = sequence.data();
        last.partitionKey = partitionKey.data();
        last.explicitHashKey = hashKey.data();
        last.error = error.data();
        last.success = success;
        return last;
    }

    std::string readRecord(int32_t client, const std::string& stream, const LastPut& last) {
        std::vector<char> data(kTextBytes, '\0');
        int32_t length = -7;
        EXPECT_EQ(lib_->GetRecord(client, stream.c_str(), last.shardId.c_str(), last.sequenceNumber.c_str(),
                                  data.data(), &length),
                  0);
        return std::string(data.data(), static_cast<std::size_t>(length < 0 ? 0 : length));
    }
};

using SinglePut = SinglePutTest;
using SinglePutReadBack = SinglePutTest;
using SinglePutFailure = SinglePutTest;

bool isRandomKey(const std::string& key) {
    if (key.size() < 21 || key.size() > 39 || key[0] == '0') return false;
    for (const char c : key)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return key.compare(key.size() - 20, 20, std::string(20, '0')) == 0;
}

// Catches a put that loses the record, reads back the wrong request or outcome, or traces
// wrong words; and an explicit hash key that doesn't stay for a later call.
TEST_F(SinglePut, RoundTripsAndKeysKeptBetweenCalls) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("single", 2);
    const int32_t client = createClient(emulator.endpoint());
    LogCapture::reset();

    ASSERT_EQ(put(client, stream, "pk-1", nullptr, "hello"), 0) << lastError(client);
    LastPut last = lastPut(client);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.stream, stream);
    EXPECT_EQ(last.shardId.rfind("shardId-00000000000", 0), 0u) << last.shardId;
    EXPECT_FALSE(last.sequenceNumber.empty());
    EXPECT_EQ(last.success, 1);
    EXPECT_EQ(last.partitionKey, "pk-1");
    EXPECT_EQ(last.explicitHashKey, "");
    EXPECT_EQ(last.error, "");
    EXPECT_EQ(last.dataLength, 5u);
    EXPECT_EQ(readRecord(client, stream, last), "hello");

    const std::string id = std::to_string(client);
    const std::vector<std::string> traces = LogCapture::traceTexts();
    ASSERT_GE(traces.size(), 3u);
    EXPECT_EQ(traces[0], "id:" + id + " KinesisEnv::putRecord [" + stream +
                             "] partitionKey:OK explicitHashKey:NULL lenData:5");
    EXPECT_EQ(traces[1], "id:" + id + " KinesisEnv::putRecord [" + stream + "] success shardId:[" +
                             last.shardId + "] Sequence:[" + last.sequenceNumber + "] PK:[pk-1]");
    EXPECT_EQ(traces[2], "rxKinesis::PutRecord id:" + id + "  lenBuffer:5");

    // The highest hash key belongs to the last shard, whatever the partition key hashes to.
    ASSERT_EQ(put(client, stream, nullptr, kHighestHashKey, "by hash key"), 0) << lastError(client);
    for (const char* partitionKey : {"a", "b", "c", "d"}) {
        ASSERT_EQ(put(client, stream, partitionKey, nullptr, partitionKey), 0) << lastError(client);
        last = lastPut(client);
        EXPECT_EQ(last.shardId, "shardId-000000000001") << partitionKey;
        EXPECT_EQ(last.partitionKey, partitionKey);
        EXPECT_EQ(last.explicitHashKey, kHighestHashKey);
        EXPECT_EQ(readRecord(client, stream, last), partitionKey);
    }
    ASSERT_EQ(put(client, stream, nullptr, "0", "to the first shard"), 0) << lastError(client);
    last = lastPut(client);
    EXPECT_EQ(last.shardId, "shardId-000000000000");
    EXPECT_EQ(last.partitionKey, "d");
    EXPECT_EQ(last.explicitHashKey, "0");
    EXPECT_EQ(last.dataLength, 18u);
    EXPECT_TRUE(LogCapture::logTexts().empty());
}

// Catches a first call with only an explicit hash key that invents a partition key, or whose
// refusal by the service isn't reported; and a later call that drops the kept hash key.
TEST_F(SinglePut, ExplicitHashKeyAloneOnAFreshClient) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("hashonly", 2);
    const int32_t client = createClient(emulator.endpoint());

    EXPECT_EQ(put(client, stream, nullptr, kHighestHashKey, "first"), -1);
    LastPut last = lastPut(client);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.stream, stream);
    EXPECT_EQ(last.success, 0);
    EXPECT_FALSE(last.error.empty());
    EXPECT_EQ(last.shardId, "");
    EXPECT_EQ(last.sequenceNumber, "");
    EXPECT_EQ(last.partitionKey, "");
    EXPECT_EQ(last.explicitHashKey, kHighestHashKey);
    const std::string line = "id:" + std::to_string(client) + " KinesisEnv::putRecord [" + stream + "] error :";
    EXPECT_EQ(lastError(client), line + last.error);

    ASSERT_EQ(put(client, stream, "now with a key", nullptr, "second"), 0) << lastError(client);
    last = lastPut(client);
    EXPECT_EQ(last.success, 1);
    EXPECT_EQ(last.error, "");
    EXPECT_EQ(last.shardId, "shardId-000000000001");
    EXPECT_EQ(readRecord(client, stream, last), "second");
}

// Catches random keys outside their form (N then twenty zeros), a key drawn once and reused,
// partition and hash keys that differ, and clients that share a random engine.
TEST_F(SinglePut, RandomKeysWhenNoKeyIsGiven) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("random", 2);
    const int32_t first = createClient(emulator.endpoint());
    const int32_t second = createClient(emulator.endpoint());

    std::set<std::string> keys;
    for (int i = 0; i < 6; ++i) {
        const int32_t client = i % 2 == 0 ? first : second;
        ASSERT_EQ(put(client, stream, nullptr, nullptr, "random " + std::to_string(i)), 0) << lastError(client);
        const LastPut last = lastPut(client);
        EXPECT_TRUE(isRandomKey(last.partitionKey)) << last.partitionKey;
        EXPECT_EQ(last.partitionKey, last.explicitHashKey);
        EXPECT_EQ(readRecord(client, stream, last), "random " + std::to_string(i));
        keys.insert(last.partitionKey);
    }
    EXPECT_EQ(keys.size(), 6u);
    EXPECT_TRUE(LogCapture::traceContains("] Sequence:["));
    for (const std::string& line : LogCapture::traceTexts()) {
        if (line.find(" success shardId:") != std::string::npos) {
            EXPECT_NE(line.find(" HK:[(null)]"), std::string::npos) << line;
        }
    }
}

// Catches a read-back that writes outputs without a result, or reads the caller's buffers
// beyond the longest stream name or shard id.
TEST_F(SinglePutReadBack, NoResultBeforeTheFirstPut) {
    const int32_t client = createClient("http://127.0.0.1:9");
    std::vector<char> stream(300, 'S');
    std::strcpy(stream.data() + 290, "");
    char shard[8] = "shard-x";
    char sequence[16] = "untouched";
    unsigned char success = 7;
    uint32_t length = 99;
    EXPECT_EQ(lib_->GetLastResultPutRecord(client, stream.data(), shard, sequence, &success, nullptr, nullptr,
                                           nullptr, &length),
              -1);
    const std::string words = "id:" + std::to_string(client) + " KinesisEnv::getLastResult [" +
                              std::string(RXK_NAME_BYTES - 1, 'S') + "]:[shard-x] error no result available";
    EXPECT_EQ(lastError(client), words);
    EXPECT_EQ(LogCapture::logTexts(), std::vector<std::string>{words});
    EXPECT_STREQ(sequence, "untouched");
    EXPECT_EQ(success, 7);
    EXPECT_EQ(length, 99u);

    EXPECT_EQ(lib_->GetLastResultPutRecord(client, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr,
                                           nullptr),
              -1);
    EXPECT_EQ(lastError(client),
              "id:" + std::to_string(client) + " KinesisEnv::getLastResult []:[] error no result available");
}

// Catches refused arguments that reach the method and change the last stream (their words are
// checked with the other exports' in the frame tests), an empty stream name that counts as a
// result, and keys or data altered on the way to the service.
TEST_F(SinglePutReadBack, WhatTheRequestCarried) {
    FaultServer server;
    const int32_t client = createClient(server.endpoint());
    const std::string data("bin\0ary\xff", 8);
    ASSERT_EQ(put(client, "stream-a", "", nullptr, data), 0) << lastError(client);
    const RecordedRequest request = server.lastRequest("PutRecord");
    EXPECT_EQ(jsonString(request.body, "StreamName"), "stream-a");
    EXPECT_NE(request.body.find("\"PartitionKey\":\"\""), std::string::npos) << request.body;
    EXPECT_EQ(request.body.find("ExplicitHashKey"), std::string::npos) << request.body;
    EXPECT_EQ(base64Decode(jsonString(request.body, "Data")), data);
    LastPut last = lastPut(client);
    EXPECT_EQ(last.success, 1);
    EXPECT_EQ(last.partitionKey, "");
    EXPECT_EQ(last.dataLength, 8u);

    EXPECT_EQ(lib_->PutRecord(client, "stream-b", "pk", nullptr, data.data(), 0), -1);
    EXPECT_EQ(lib_->PutRecord(client, "stream-b", "pk", nullptr, nullptr, 8), -1);
    EXPECT_EQ(lib_->PutRecord(client, nullptr, "pk", nullptr, data.data(), 8), -1);
    EXPECT_EQ(lastPut(client).stream, "stream-a");
    EXPECT_EQ(server.requestCount("PutRecord"), 1);

    ASSERT_EQ(put(client, "", "pk", nullptr, "x"), 0) << lastError(client);
    EXPECT_EQ(lastPut(client).result, -1);

    const int32_t fresh = createClient(server.endpoint());
    ASSERT_EQ(put(fresh, "stream-c", nullptr, "12345", "y"), 0) << lastError(fresh);
    const std::string body = server.lastRequest("PutRecord").body;
    EXPECT_EQ(body.find("PartitionKey"), std::string::npos) << body;
    EXPECT_EQ(jsonString(body, "ExplicitHashKey"), "12345");
}

// Catches a service failure reported in one sink call, without the SDK's message, or into
// the wrong text; and a read-back that hides the stored failure.
TEST_F(SinglePutFailure, ServiceErrorGoesToTheLastErrorAndTwoLogLines) {
    FaultServer server;
    server.enqueue("PutRecord", Reply::resourceNotFound("missing"));
    const int32_t client = createClient(server.endpoint());
    char text[kTextBytes];
    lib_->SetGlobalErrorStr("kept");

    EXPECT_EQ(put(client, "missing", "pk", nullptr, "data"), -1);
    const std::string message = "Stream missing under account 000000000000 not found.";
    const std::string line = "id:" + std::to_string(client) + " KinesisEnv::putRecord [missing] error :";
    EXPECT_EQ(lastError(client), line + message);
    const std::vector<LogLine> lines = LogCapture::logLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, line);
    EXPECT_EQ(lines[0].length, static_cast<int32_t>(line.size()));
    EXPECT_EQ(lines[1].text, message);
    EXPECT_EQ(lines[1].length, static_cast<int32_t>(message.size()));
    EXPECT_STREQ(lib_->GetGlobalErrorStr(text, sizeof text), "kept");

    const LastPut last = lastPut(client);
    EXPECT_EQ(last.result, 0);
    EXPECT_EQ(last.success, 0);
    EXPECT_EQ(last.error, message);
    EXPECT_EQ(last.shardId, "");
    EXPECT_EQ(last.sequenceNumber, "");
    EXPECT_EQ(last.stream, "missing");

    ASSERT_EQ(put(client, "missing", "pk", nullptr, "data"), 0) << lastError(client);
    EXPECT_EQ(lastPut(client).error, "");
    EXPECT_EQ(lastError(client), line + message);
}

// Catches a long service message copied past a read-back buffer of the size the header calls
// ample, or cut before it reaches the last-error text and the log.
TEST_F(SinglePutFailure, LongServiceMessageStaysInTheBuffers) {
    FaultServer server;
    const std::string message(5000, 'm');
    server.enqueue("PutRecord", Reply::error(400, "ValidationException", message));
    const int32_t client = createClient(server.endpoint());

    EXPECT_EQ(put(client, "s", "pk", nullptr, "data"), -1);
    ASSERT_EQ(LogCapture::logLines().size(), 2u);
    EXPECT_EQ(LogCapture::logLines()[1].text, message);
    EXPECT_EQ(LogCapture::logLines()[1].length, 5000);

    std::vector<char> guarded(RXK_ERROR_TEXT_BYTES + 32, 'G');
    unsigned char success = 1;
    ASSERT_EQ(lib_->GetLastResultPutRecord(client, nullptr, nullptr, nullptr, &success, nullptr, nullptr,
                                           guarded.data(), nullptr),
              0);
    EXPECT_EQ(success, 0);
    EXPECT_EQ(std::string(guarded.data()), message.substr(0, RXK_ERROR_TEXT_BYTES - 1));
    for (std::size_t i = RXK_ERROR_TEXT_BYTES; i < guarded.size(); ++i) ASSERT_EQ(guarded[i], 'G') << i;

    const std::string line = "id:" + std::to_string(client) + " KinesisEnv::putRecord [s] error :";
    std::vector<char> text(8000, '\0');
    lib_->GetErrorStr(client, text.data(), static_cast<int32_t>(text.size()));
    EXPECT_EQ(std::string(text.data()), line + message);
}

}  // namespace
}  // namespace rxk::test
