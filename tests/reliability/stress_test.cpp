// Concurrency stress through the exports, also run under ThreadSanitizer (label stress): host
// threads over several clients against the fault endpoint, each with its own record list or
// reading state (the host's rules: no overlapping calls on one list, one reading state or one
// client's single put; PollShardIterator calls never overlap), each batch with a record the
// endpoint refuses every time, while other threads read, create and free clients, set
// parameters and read error texts, counters and the catalogue. Catches lost or doubled records,
// torn shared state (error texts, counters, the client table) and data races.
#include "fault_endpoint.h"
#include "library.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>

namespace rxk::test {
namespace {

constexpr int kClients = 6, kProducers = 12, kBatches = 20, kPerBatch = 20;
constexpr int kReaders = 4, kChurnThreads = 3, kChurnRounds = 100;
constexpr char kStream[] = "stress", kShard[] = "shardId-000000000001";

void quietSink(const char*, int32_t) {}  // may run under a library lock: calls nothing

std::string parameter(Library& lib, int32_t id, const char* name) {
    char text[RXK_ERROR_TEXT_BYTES + 88] = "";
    EXPECT_EQ(lib.GetParam(id, name, text), 0);
    return text;
}

TEST(Stress, ManyThreadsOverSeveralClientsLoseAndDoubleNothing) {
    Library& lib = sharedLibrary();
    lib.InitLogEventCallBack(quietSink, nullptr);
    lib.InititializeInterface();
    // Batches for the readers, then empty ones, after which a poll ends.
    FaultEndpoint endpoint(R"({"streams":[{"name":"stress","shards":3}],"rules":[
        {"operation":"PutRecords","answer":{"fail_records":{"key_prefix":"fail-"}}},
        {"operation":"GetRecords","times":100,"answer":{"records":[{"data":"one"},{"data":"two"}],"next_iterator":"it-1","delay_ms":5}},
        {"operation":"GetRecords","answer":{"builtin":true,"delay_ms":5}}]})");
    std::vector<int32_t> clients;
    {
        ServiceEnvironment environment(endpoint.endpoint(), ServiceEnvironment::SdkRetries::Off);
        while (clients.size() < kClients) clients.push_back(lib.CreateClient("us-east-1", "AKIDSTRESS", "stress-secret"));
    }
    // Lists and reading states are made before the threads start: the library guards neither a
    // client's table of lists nor its table of reading states against concurrent creation.
    std::vector<int32_t> lists;
    for (int p = 0; p < kProducers; ++p) lists.push_back(lib.CreateListRecord(clients[p % kClients]));
    for (int32_t id : clients) ASSERT_EQ(lib.SetParam(id, "retry", "1"), 0);
    for (int r = 0; r < kReaders; ++r) ASSERT_GE(lib.StartShardIterator(clients[r], kStream, kShard, nullptr, 100, RXK_TRIM_HORIZON), 0);

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
                    EXPECT_EQ(lib.AddRecordToList(id, lists[p], i ? nullptr : "fail-", nullptr, record.data(), int32_t(record.size())), 0);
                }
                sent[p].push_back(sent[p][sent[p].size() - kPerBatch]);  // the retry request resends the refused one
                int32_t put = -1, failed = -1;
                EXPECT_EQ(lib.PutRecords(id, lists[p], kStream, &put, &failed, nullptr, nullptr, "stress"), RXK_SOME_FAILED);
                EXPECT_EQ(put * 1000 + failed, kPerBatch * 1000 + 1);
                for (int32_t index = 0; index < kPerBatch; ++index) {
                    unsigned char success = 7;
                    lib.GetLastResultPutRecords(id, lists[p], index, nullptr, nullptr, nullptr, &success, nullptr, nullptr, nullptr, nullptr);
                    EXPECT_EQ(success, index != 0);
                }
                EXPECT_EQ(lib.ClearListRecord(id, lists[p]), 0);
                if (p >= kClients) continue;  // the first producer of each client owns its single put
                const std::string& record = next();
                EXPECT_EQ(lib.PutRecord(id, kStream, nullptr, nullptr, record.data(), int32_t(record.size())), 0);
            }
        });
    for (int r = 0; r < kReaders; ++r)
        others.emplace_back([&, r] {
            char data[1024];
            int32_t length = 0, result = 0;
            while (producing) {
                if (r % 2 == 0) {
                    std::lock_guard<std::mutex> poll(pollMutex);
                    result = lib.PollShardIterator(clients[r], kStream, kShard, [](int32_t, const char*, const char*, const char*, const char*, int32_t) { return 0; });
                } else {
                    result = lib.GetRecordFromIterator(clients[r], kStream, kShard, nullptr, data, &length);
                }
                EXPECT_TRUE(result == 0 || result == 2) << result;
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
                parameter(lib, clients[size_t(round % kClients)], "retryattemptFailRecords");
                lib.GetErrorStr(busy, text, sizeof text);
                lib.SetGlobalErrorStr(("churn " + std::to_string(round)).c_str());
                lib.GetGlobalErrorStr(text, sizeof text);
                int32_t length = sizeof listing;
                EXPECT_EQ(lib.GetListShards(busy, kStream, listing, &length), 0);
            }
        });
    for (auto& thread : producers) thread.join();
    producing = false;
    for (auto& thread : others) thread.join();

    // Exactly once: the multiset the endpoint received equals the multiset put.
    std::multiset<std::string> expected, received;
    for (const auto& records : sent) expected.insert(records.begin(), records.end());
    for (const char* operation : {"PutRecords", "PutRecord"})
        for (const SeenRequest& request : endpoint.requests(operation))
            for (const SentRecord& record : request.records)
                received.insert(record.data);
    EXPECT_EQ(received.size(), expected.size());
    EXPECT_TRUE(received == expected) << "records lost, doubled or changed";

    // Counters: every batch made exactly one retry request that resent one record.
    const std::string batches = std::to_string(kProducers / kClients * kBatches);
    for (int32_t id : clients)
        for (const char* name : {"retryattemptPutRecords", "retryattemptFailRecords"})
            EXPECT_EQ(parameter(lib, id, name).rfind("1;1;1;" + batches + ";", 0), 0u) << name << ": " << parameter(lib, id, name);
    EXPECT_EQ(endpoint.count("PutRecords"), 2 * kProducers * kBatches);
    for (int32_t id : clients) EXPECT_EQ(lib.FreeClient(id), 0);
    lib.InitLogEventCallBack(nullptr, nullptr);
}

}  // namespace
}  // namespace rxk::test
