// Concurrency stress through the exports, also run under ThreadSanitizer (label stress): host
// threads over several clients against the emulator, each with its own record list or reading
// state (the host's rules: no overlapping calls on one list, one reading state or one client's
// single put; PollShardIterator calls never overlap), while other threads put batches with
// scripted failures against the fault endpoint, create and free clients, set parameters and read
// error texts, counters and the catalogue. Catches lost or doubled records, torn shared state
// (error texts, counters, the client table) and data races.
#include "fault_endpoint.h"
#include "kinesalite.h"
#include "library.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace rxk::test {
namespace {

constexpr int kClients = 6, kShards = 3, kProducers = 12, kBatches = 12, kPerBatch = 20;
constexpr int kReaders = 4, kCounterThreads = 4, kCounterBatches = 20, kChurnThreads = 3, kChurnRounds = 60;

void countingSink(const char*, int32_t) {}  // may run under a library lock: does nothing

// "last;min;max;sum" of a counter group.
std::string counters(Library& lib, int32_t id, const char* name) {
    char text[RXK_ERROR_TEXT_BYTES + 88];
    EXPECT_EQ(lib.GetParam(id, name, text), 0);
    int64_t last, min, max, sum;
    EXPECT_EQ(std::sscanf(text, "%" SCNd64 ";%" SCNd64 ";%" SCNd64 ";%" SCNd64, &last, &min, &max, &sum), 4) << text;
    return std::to_string(last) + ";" + std::to_string(min) + ";" + std::to_string(max) + ";" + std::to_string(sum);
}

TEST(Stress, ManyThreadsOverSeveralClientsLoseAndDoubleNothing) {
    Kinesalite& emulator = sharedKinesalite();
    Library& lib = sharedLibrary();
    lib.InitLogEventCallBack(countingSink, nullptr);
    lib.InititializeInterface();
    const std::string stream = emulator.createUniqueStream("stress", kShards);
    const std::vector<std::string> shards = emulator.shardIds(stream);
    // Every batch's record with a "fail-" key is refused each time: with retry 1 each batch makes
    // exactly one retry request and ends with that record failed.
    FaultEndpoint faults(R"({"rules":[{"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}}]})");
    auto newClient = [&] { return lib.CreateClient("us-east-1", "AKIDSTRESS", "stress-secret"); };

    // Lists and reading states are made before the threads start: the library guards neither
    // a client's table of lists nor its table of reading states against concurrent creation.
    std::vector<int32_t> clients, lists, counterClients, counterLists;
    {
        ServiceEnvironment environment(emulator.endpoint());
        for (int i = 0; i < kClients; ++i) clients.push_back(newClient());
    }
    {
        ServiceEnvironment environment(faults.endpoint(), ServiceEnvironment::SdkRetries::Off);
        for (int i = 0; i < 2; ++i) counterClients.push_back(newClient());
    }
    for (int32_t id : counterClients) ASSERT_EQ(lib.SetParam(id, "retry", "1"), 0);
    for (int p = 0; p < kProducers; ++p) lists.push_back(lib.CreateListRecord(clients[p % kClients]));
    for (int t = 0; t < kCounterThreads; ++t) counterLists.push_back(lib.CreateListRecord(counterClients[t % 2]));
    for (int r = 0; r < kReaders; ++r)
        ASSERT_GE(lib.StartShardIterator(clients[r], stream.c_str(), shards[r % kShards].c_str(), nullptr, 100, RXK_TRIM_HORIZON), 0);

    std::vector<std::vector<std::string>> sent(kProducers);
    std::atomic<bool> producing{true};
    std::mutex pollMutex;
    std::vector<std::thread> producers, others;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([&, p] {
            const int32_t id = clients[p % kClients];
            for (int batch = 0, n = 0; batch < kBatches; ++batch) {
                for (int i = 0; i < kPerBatch; ++i, ++n) {
                    sent[p].push_back("p" + std::to_string(p) + "-r" + std::to_string(n));
                    EXPECT_EQ(lib.AddRecordToList(id, lists[p], nullptr, nullptr, sent[p].back().data(), int32_t(sent[p].back().size())), 0);
                }
                int32_t put = -1, failed = -1;
                EXPECT_EQ(lib.PutRecords(id, lists[p], stream.c_str(), &put, &failed, nullptr, nullptr, "stress"), 0);
                EXPECT_EQ(put * 1000 + failed, kPerBatch * 1000);
                for (int32_t index = 0; index < kPerBatch; ++index) {
                    unsigned char success = 0;
                    EXPECT_EQ(lib.GetLastResultPutRecords(id, lists[p], index, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr, nullptr), 0);
                    EXPECT_EQ(success, 1);
                }
                EXPECT_EQ(lib.ClearListRecord(id, lists[p]), 0);
                if (p < kClients) {  // the producer that owns its client's single put
                    sent[p].push_back("p" + std::to_string(p) + "-r" + std::to_string(n++));
                    EXPECT_EQ(lib.PutRecord(id, stream.c_str(), nullptr, nullptr, sent[p].back().data(), int32_t(sent[p].back().size())), 0);
                }
            }
        });
    for (int r = 0; r < kReaders; ++r)
        others.emplace_back([&, r] {
            std::vector<char> data(1024);
            int32_t length = 0;
            while (producing) {
                const char* shard = shards[r % kShards].c_str();
                std::unique_lock<std::mutex> poll(pollMutex, std::defer_lock);
                if (r % 2 == 0) poll.lock();
                const int32_t result = r % 2 == 0
                    ? lib.PollShardIterator(clients[r], stream.c_str(), shard, [](int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; })
                    : lib.GetRecordFromIterator(clients[r], stream.c_str(), shard, nullptr, data.data(), &length);
                EXPECT_TRUE(result == 0 || result == 2) << result;
                if (result == 2) std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    for (int t = 0; t < kCounterThreads; ++t)
        others.emplace_back([&, t] {
            const int32_t id = counterClients[t % 2];
            for (int batch = 0; batch < kCounterBatches; ++batch) {
                lib.AddRecordToList(id, counterLists[t], "fail-0", nullptr, "refused", 7);
                for (int i = 0; i < 4; ++i) lib.AddRecordToList(id, counterLists[t], "pk", nullptr, "taken", 5);
                int32_t failed = -1;
                EXPECT_EQ(lib.PutRecords(id, counterLists[t], "counted", nullptr, &failed, nullptr, nullptr, "counters"), RXK_SOME_FAILED);
                EXPECT_EQ(failed, 1);
                EXPECT_EQ(lib.ClearListRecord(id, counterLists[t]), 0);
            }
        });
    for (int t = 0; t < kChurnThreads; ++t)
        others.emplace_back([&, t] {
            char text[RXK_ERROR_TEXT_BYTES], value[RXK_ERROR_TEXT_BYTES + 88], listing[4096];
            for (int round = 0; round < kChurnRounds; ++round) {
                const int32_t id = newClient();
                EXPECT_EQ(lib.SetParam(id, "maxputrow", "100"), 0);
                EXPECT_EQ(lib.GetParam(id, "maxputrow", value), 0);
                EXPECT_STREQ(value, "100");
                EXPECT_EQ(lib.SetParam(id, "no-such-parameter", "1"), -1);
                EXPECT_NE(std::strstr(lib.GetErrorStr(id, text, sizeof text), "bad param name"), nullptr) << text;
                EXPECT_EQ(lib.FreeClient(id), 0);
                EXPECT_EQ(lib.SetParam(id, "retry", "1"), -1);  // freed: refused
                const int32_t busy = clients[size_t(t + round) % clients.size()];
                EXPECT_EQ(lib.GetParam(counterClients[round % 2], "retryattemptFailRecords", value), 0);
                lib.GetErrorStr(busy, text, sizeof text);
                lib.SetGlobalErrorStr(("churn " + std::to_string(round)).c_str());
                lib.GetGlobalErrorStr(text, sizeof text);
                int32_t length = sizeof listing;
                EXPECT_EQ(lib.GetListShards(busy, stream.c_str(), listing, &length), 0);
            }
        });
    for (auto& thread : producers) thread.join();
    producing = false;
    for (auto& thread : others) thread.join();

    // Exactly once: the multiset read from every shard equals the multiset put.
    std::multiset<std::string> expected, found;
    for (const auto& records : sent) expected.insert(records.begin(), records.end());
    std::vector<char> data(1024);
    for (const std::string& shard : shards) {
        ASSERT_GE(lib.StartShardIterator(clients[0], stream.c_str(), shard.c_str(), nullptr, 10000, RXK_TRIM_HORIZON), 0);
        int32_t length = 0;
        for (int empty = 0; empty < 3;) {
            if (lib.GetRecordFromIterator(clients[0], stream.c_str(), shard.c_str(), nullptr, data.data(), &length) == 0) {
                found.emplace(data.data(), size_t(length));
                empty = 0;
            } else {
                ++empty;
            }
        }
    }
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected) << "records lost, doubled or changed";

    // Counters: every counted batch made exactly one retry request that resent one record.
    const std::string perClient = std::to_string(kCounterThreads / 2 * kCounterBatches);
    for (int32_t id : counterClients) {
        EXPECT_EQ(counters(lib, id, "retryattemptPutRecords"), "1;1;1;" + perClient);
        EXPECT_EQ(counters(lib, id, "retryattemptFailRecords"), "1;1;1;" + perClient);
    }
    EXPECT_EQ(faults.count("PutRecords"), 2 * kCounterThreads * kCounterBatches);
    EXPECT_EQ(counters(lib, clients[0], "retryattemptPutRecords"), "0;9223372036854775807;0;0");
    for (int32_t id : clients) EXPECT_EQ(lib.FreeClient(id), 0);
    for (int32_t id : counterClients) EXPECT_EQ(lib.FreeClient(id), 0);
    lib.InitLogEventCallBack(nullptr, nullptr);
}

}  // namespace
}  // namespace rxk::test
