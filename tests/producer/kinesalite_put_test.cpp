// Writes through the exports into kinesalite and read back from it: single puts one after the
// other on one client (what a key left by the previous call does), random keys, the read-back
// before any result, and a full batch whose read-back is checked against what the stream holds.
#include "host.h"
#include "kinesalite.h"
#include "replies.h"

#include <rapidjson/document.h>

#include <set>

namespace rxk::test {
namespace {

constexpr char kHighestHashKey[] = "340282366920938463463374607431768211455";
// A draw from 1 to 3402823669209384634 (up to 19 digits, no leading zero), then twenty zeros.
bool isRandomKey(const std::string& key) { return key.size() >= 21 && key.size() <= 39 && key[0] != '0' &&
    key.find_first_not_of("0123456789") == std::string::npos && key.substr(key.size() - 20) == std::string(20, '0'); }


// Would catch a put that loses the record or reads back another request or outcome, a key not
// kept for the next call (the highest hash key keeps sending records to the last shard whatever
// the partition key), a first call with only a hash key that invents a partition key (the service
// refuses it), random keys outside their form, drawn once and reused or shared between clients,
// and trace or failure lines with the wrong words.
TEST(SinglePut, OneAfterAnotherThroughKinesalite) {
    struct Case { int client; const char *pk, *hk, *data, *shard, *readPk, *readHk; };
    const Case kRows[] = {
        {0, nullptr, kHighestHashKey, "first", nullptr, "", kHighestHashKey},
        {0, "pk-1", nullptr, "hello", "shardId-000000000001", "pk-1", kHighestHashKey},
        {0, "a", nullptr, "a", "shardId-000000000001", "a", kHighestHashKey},
        {0, nullptr, "0", "to the first shard", "shardId-000000000000", "a", "0"},
        {0, "", nullptr, "an empty key is no missing key: sent, and refused", nullptr, "", "0"},
        {0, nullptr, nullptr, "random 1", "", "random", "random"},
        {1, nullptr, nullptr, "random 2", "", "random", "random"},
        {0, nullptr, nullptr, "random 3", "", "random", "random"},
        {1, nullptr, nullptr, "random 4", "", "random", "random"},
    };
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("single", 2);
    const int32_t clients[] = {clientAt(emulator.endpoint()), clientAt(emulator.endpoint())};
    std::set<std::string> randomKeys;
    for (const Case& c : kRows) {
        SCOPED_TRACE(c.data);
        const int32_t id = clients[c.client];
        const std::string before = (host().SetGlobalErrorStr("kept"), clientError(id));  // a put's words never reach the global text
        LogCapture::reset();
        const int32_t length = static_cast<int32_t>(std::strlen(c.data));
        EXPECT_EQ(host().PutRecord(id, stream.c_str(), c.pk, c.hk, c.data, length), c.shard ? 0 : -1);
        char out[6][kTextBytes] = {};
        unsigned char success = 7;
        uint32_t dataLength = 0;
        ASSERT_EQ(host().GetLastResultPutRecord(id, out[0], out[1], out[2], &success, out[3], out[4], out[5], &dataLength), 0);
        const std::string shard = out[1], sequence = out[2], pk = out[3], hk = out[4], error = out[5];
        const std::vector<std::string> traces = LogCapture::traceTexts();
        EXPECT_EQ(fmt("%s %d %u", out[0], success, dataLength), fmt("%s %d %d", stream.c_str(), c.shard ? 1 : 0, length));
        const bool random = *c.readPk == 'r';
        EXPECT_EQ(pk + "|" + hk, random ? pk + "|" + pk : std::string(c.readPk) + "|" + c.readHk);
        if (random) { EXPECT_TRUE(isRandomKey(pk) && randomKeys.insert(pk).second) << "not random, or drawn before: " << pk; }
        const std::string prefix = fmt("id:%d KinesisEnv::putRecord [%s] ", id, stream.c_str());
        std::vector<std::string> trace{prefix + fmt("partitionKey:%s explicitHashKey:%s lenData:%d", c.pk ? "OK" : "NULL",
                                                    c.hk ? "OK" : "NULL", length)};
        if (!c.shard) {
            EXPECT_EQ(shard + sequence + clientError(id) + globalError(), prefix + "error :" + error + "kept");
            EXPECT_EQ(logWithLengths(), withLength(prefix + "error :") + withLength(error));
        } else {
            if (*c.shard) { EXPECT_EQ(shard, c.shard); }
            EXPECT_EQ(error + clientError(id) + std::to_string(LogCapture::logTexts().size()), before + "0");  // a success clears no failure
            const std::string key = c.pk ? fmt("PK:[%s]", c.pk) : fmt("HK:[%s]", c.hk ? c.hk : "(null)");
            trace.push_back(prefix + "success shardId:[" + shard + "] Sequence:[" + sequence + "] " + key);
        }
        trace.insert(trace.end(), {fmt("rxKinesis::PutRecord id:%d  lenBuffer:%d", id, length), fmt("rxKinesis::GetLastResultPutRecord id:%d", id)});
        EXPECT_EQ(traces, trace);
        if (!c.shard) continue;
        char data[kTextBytes] = {}; int32_t readLength = -7;  // what GetRecord gives
        const int32_t read = host().GetRecord(id, stream.c_str(), shard.c_str(), sequence.c_str(), data, &readLength);
        EXPECT_EQ(fmt("%d %s %d", read, data, readLength), fmt("0 %s %d", c.data, length));
    }
}

// Would catch a full batch that doesn't arrive whole and in order, and a read-back position that
// names another record than the one the stream holds at that place (sequence number, shard, key,
// length).
TEST(BatchPut, FullBatchRoundTripThroughKinesalite) {
    Kinesalite& emulator = sharedKinesalite();
    const std::string stream = emulator.createUniqueStream("batch");
    const int32_t id = clientAt(emulator.endpoint()), list = host().CreateListRecord(id);
    std::vector<std::string> data;
    for (int i = 0; i < 500; ++i) {
        data.push_back((fmt("record-%d-", i) + std::string(100, static_cast<char>('a' + i % 26))).substr(0, 100));
        ASSERT_EQ(host().AddRecordToList(id, list, fmt("key-%d", i).c_str(), nullptr, data.back().data(), 100), 0);
    }
    int32_t put = 0, failed = -1, bytes = 0, output = 0;
    ASSERT_EQ(host().PutRecords(id, list, stream.c_str(), &put, &failed, &bytes, &output, "roundtrip"), 0) << clientError(id);
    EXPECT_EQ(std::vector<int32_t>({put, failed, bytes, output}), std::vector<int32_t>({500, 0, 500 * 100 + 10 * 5 + 90 * 6 + 400 * 7, 500}));

    const std::string shard = emulator.shardIds(stream).at(0);
    rapidjson::Document iterator, answer;
    iterator.Parse(emulator.call("GetShardIterator", R"({"StreamName":")" + stream + R"(","ShardId":")" + shard +
                                                         R"(","ShardIteratorType":"TRIM_HORIZON"})").body.c_str());
    answer.Parse(emulator.call("GetRecords", std::string(R"({"Limit":10000,"ShardIterator":")") +
                                                 iterator["ShardIterator"].GetString() + "\"}").body.c_str());
    const auto& stored = answer["Records"];
    ASSERT_EQ(stored.Size(), 500u);
    for (int i = 0; i < 500; ++i) {
        char readShard[RXK_NAME_BYTES], sequence[RXK_NAME_BYTES], key[RXK_NAME_BYTES];
        unsigned char success = 0;
        uint32_t length = 0;
        EXPECT_EQ(base64Decode(stored[i]["Data"].GetString()), data[i]) << i;
        EXPECT_EQ(host().GetLastResultPutRecords(id, list, i, nullptr, readShard, sequence, &success, key, nullptr, nullptr, &length), 0);
        EXPECT_EQ(fmt("%s %s %s %d %u", sequence, key, readShard, success, length), fmt("%s %s %s 1 100", stored[i]["SequenceNumber"].GetString(),
                  stored[i]["PartitionKey"].GetString(), shard.c_str())) << i;
    }
}

}  // namespace
}  // namespace rxk::test
