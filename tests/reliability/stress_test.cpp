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
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace rxk::test {
namespace {

constexpr int kClients = 6, kShards = 3, kProducers = 12, kBatches = 20, kPerBatch = 20;
constexpr int kReaders = 4, kCounterThreads = 4, kCounterBatches = 20, kChurnThreads = 3, kChurnRounds = 100;

void quietSink(const char*, int32_t) {}  // may run under a library lock: calls nothing

std::string parameter(Library& lib, int32_t id, const char* name) {
    char text[RXK_ERROR_TEXT_BYTES + 88] = "";
    EXPECT_EQ(lib.GetParam(id, name, text), 0);
    return text;
}

TEST(Stress, ManyThreadsOverSeveralClientsLoseAndDoubleNothing) {
    Kinesalite& emulator = sharedKinesalite();
    Library& lib = sharedLibrary();
    lib.InitLogEventCallBack(quietSink, nullptr);
    lib.InititializeInterface();
    const std::string stream = emulator.createUniqueStream("stress", kShards);
    const std::vector<std::string> shards = emulator.shardIds(stream);
    // A "fail-" key is refused every time: with retry 1 each counted batch makes exactly one
    // retry request and ends with that record failed.
    FaultEndpoint faults(R"({"rules":[{"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}}]})");
    auto newClients = [&](const std::string& endpoint, ServiceEnvironment::SdkRetries retries, int count) {
        ServiceEnvironment environment(endpoint, retries);
        std::vector<int32_t> ids;
        while (count-- > 0) ids.push_back(lib.CreateClient("us-east-1", "AKIDSTRESS", "stress-secret"));
        return ids;
    };
    const std::vector<int32_t> clients = newClients(emulator.endpoint(), ServiceEnvironment::SdkRetries::Default, kClients);
    const std::vector<int32_t> counted = newClients(faults.endpoint(), ServiceEnvironment::SdkRetries::Off, 2);
    // Lists and reading states are made before the threads start: the library guards neither a
    // client's table of lists nor its table of reading states against concurrent creation.
    std::vector<int32_t> lists, countedLists;
    for (int p = 0; p < kProducers; ++p) lists.push_back(lib.CreateListRecord(clients[p % kClients]));
    for (int t = 0; t < kCounterThreads; ++t) countedLists.push_back(lib.CreateListRecord(counted[t % 2]));
    for (int32_t id : counted) ASSERT_EQ(lib.SetParam(id, "retry", "1"), 0);
    for (int r = 0; r < kReaders; ++r)
        ASSERT_GE(lib.StartShardIterator(clients[r], stream.c_str(), shards[r % kShards].c_str(), nullptr, 100, RXK_TRIM_HORIZON), 0);

    std::vector<std::vector<std::string>> sent(kProducers);
    std::atomic<bool> producing{true};
    std::mutex pollMutex;
    std::vector<std::thread> producers, others;
    for (int p = 0; p < kProducers; ++p)
        producers.emplace_back([&, p] {
            const int32_t id = clients[p % kClients];
            auto next = [&]() -> const std::string& { return sent[p].emplace_back("p" + std::to_string(p) + "-r" + std::to_string(sent[p].size())); };
            for (int batch = 0; batch < kBatches; ++batch) {
                for (int i = 0; i < kPerBatch; ++i) {
                    const std::string& record = next();
                    EXPECT_EQ(lib.AddRecordToList(id, lists[p], nullptr, nullptr, record.data(), int32_t(record.size())), 0);
                }
                int32_t put = -1, failed = -1;
                EXPECT_EQ(lib.PutRecords(id, lists[p], stream.c_str(), &put, &failed, nullptr, nullptr, "stress"), 0);
                EXPECT_EQ(put * 1000 + failed, kPerBatch * 1000);
                for (int32_t index = 0; index < kPerBatch; ++index) {
                    unsigned char success = 0;
                    lib.GetLastResultPutRecords(id, lists[p], index, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr, nullptr);
                    EXPECT_EQ(success, 1);
                }
                EXPECT_EQ(lib.ClearListRecord(id, lists[p]), 0);
                // The first producer of each client owns its single put.
                if (p >= kClients) continue;
                const std::string& record = next();
                EXPECT_EQ(lib.PutRecord(id, stream.c_str(), nullptr, nullptr, record.data(), int32_t(record.size())), 0);
            }
        });
    for (int r = 0; r < kReaders; ++r)
        others.emplace_back([&, r] {
            char data[1024];
            int32_t length = 0, result = 0;
            for (const char* shard = shards[r % kShards].c_str(); producing;) {
                if (r % 2 == 0) {
                    std::lock_guard<std::mutex> poll(pollMutex);
                    result = lib.PollShardIterator(clients[r], stream.c_str(), shard, [](int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; });
                } else {
                    result = lib.GetRecordFromIterator(clients[r], stream.c_str(), shard, nullptr, data, &length);
                }
                EXPECT_TRUE(result == 0 || result == 2) << result;
                if (result == 2) std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
    for (int t = 0; t < kCounterThreads; ++t)
        others.emplace_back([&, t] {
            for (int batch = 0; batch < kCounterBatches; ++batch) {
                for (const char* key : {"fail-0", "pk", "pk", "pk", "pk"}) lib.AddRecordToList(counted[t % 2], countedLists[t], key, nullptr, "data", 4);
                int32_t failed = -1;
                EXPECT_EQ(lib.PutRecords(counted[t % 2], countedLists[t], "counted", nullptr, &failed, nullptr, nullptr, "counted"), RXK_SOME_FAILED);
                EXPECT_EQ(failed, 1);
                EXPECT_EQ(lib.ClearListRecord(counted[t % 2], countedLists[t]), 0);
            }
        });
    for (int t = 0; t < kChurnThreads; ++t)
        others.emplace_back([&, t] {
            char text[RXK_ERROR_TEXT_BYTES], listing[4096];
            for (int round = 0; round < kChurnRounds; ++round) {
                // Its own busy client: the host never runs two catalogue calls on one client at once.
                const int32_t id = lib.CreateClient("us-east-1", "AKIDSTRESS", "stress-secret"), busy = clients[size_t(t)];
                EXPECT_EQ(lib.SetParam(id, "maxputrow", "100"), 0);
                EXPECT_EQ(parameter(lib, id, "maxputrow"), "100");
                EXPECT_EQ(lib.SetParam(id, "no-such-parameter", "1"), -1);
                EXPECT_NE(std::strstr(lib.GetErrorStr(id, text, sizeof text), "bad param name"), nullptr) << text;
                EXPECT_EQ(lib.FreeClient(id), 0);
                EXPECT_EQ(lib.SetParam(id, "retry", "1"), -1);  // freed: refused
                parameter(lib, counted[round % 2], "retryattemptFailRecords");
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
    char data[1024];
    for (const std::string& shard : shards) {
        ASSERT_GE(lib.StartShardIterator(clients[0], stream.c_str(), shard.c_str(), nullptr, 10000, RXK_TRIM_HORIZON), 0);
        int32_t length = 0;
        for (int empty = 0; empty < 3; ++empty)
            while (lib.GetRecordFromIterator(clients[0], stream.c_str(), shard.c_str(), nullptr, data, &length) == 0) found.emplace(data, size_t(length)), empty = 0;
    }
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected) << "records lost, doubled or changed";

    // Counters: every counted batch made exactly one retry request that resent one record.
    const std::string batches = std::to_string(kCounterThreads / 2 * kCounterBatches);
    for (int32_t id : counted)
        for (const char* name : {"retryattemptPutRecords", "retryattemptFailRecords"})
            EXPECT_EQ(parameter(lib, id, name).rfind("1;1;1;" + batches + ";", 0), 0u) << name << ": " << parameter(lib, id, name);
    EXPECT_EQ(faults.count("PutRecords"), 2 * kCounterThreads * kCounterBatches);
    EXPECT_EQ(parameter(lib, clients[0], "retryattemptPutRecords").rfind("0;9223372036854775807;0;0;", 0), 0u);
    for (int32_t id : clients) EXPECT_EQ(lib.FreeClient(id), 0);
    for (int32_t id : counted) EXPECT_EQ(lib.FreeClient(id), 0);
    lib.InitLogEventCallBack(nullptr, nullptr);
}

}  // namespace
}  // namespace rxk::test
