// Concurrency stress through the exports: 32 host threads over 8 clients against the emulator,
// each thread with its own record list or reading state (the host's rules: no overlapping calls
// on one list, one reading state or one client's single put; PollShardIterator calls never
// overlap), while other threads create and free clients, set parameters and read error texts
// and counters. Catches lost or doubled records, torn shared state (error texts, counters, the
// client table, the global texts) and data races (run under ThreadSanitizer by scripts/test).
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "fault_server.h"
#include "kinesalite.h"
#include "library.h"

namespace rxk::test {
namespace {

constexpr int kClients = 8;
constexpr int kShards = 4;
constexpr int kProducerThreads = 16;
constexpr int kBatchesPerProducer = 20;
constexpr int kRecordsPerBatch = 20;
constexpr int kSinglePutsPerProducer = 20;  // by the producer that owns its client's single put
constexpr int kReaderThreads = 6;
constexpr int kCounterThreads = 4;         // batches with scripted failures, for the counters
constexpr int kCounterBatches = 30;
constexpr int kChurnThreads = 3;
constexpr int kCatalogueThreads = 3;
constexpr int kThreads = kProducerThreads + kReaderThreads + kCounterThreads + kChurnThreads + kCatalogueThreads;
static_assert(kThreads == 32, "the stress test runs 32 host threads");

constexpr std::size_t kDataBytes = 64 * 1024;

std::atomic<long> operations{0};
void counted() { operations.fetch_add(1, std::memory_order_relaxed); }

// A log sink that is called from many threads at once and may run under a library lock: it
// only counts.
std::atomic<long> logLines{0};
void countingSink(const char*, int32_t) { logLines.fetch_add(1, std::memory_order_relaxed); }

std::string recordData(int producer, int number) {
    return "p" + std::to_string(producer) + "-r" + std::to_string(number);
}

// "last;min;max;sum;firstFailedError" as numbers.
struct Counters {
    int64_t last = 0, min = 0, max = 0, sum = 0;
};
Counters readCounters(Library& lib, int32_t client, const char* name) {
    char buffer[RXK_ERROR_TEXT_BYTES + 88];
    EXPECT_EQ(lib.GetParam(client, name, buffer), 0);
    Counters counters;
    EXPECT_EQ(std::sscanf(buffer, "%" SCNd64 ";%" SCNd64 ";%" SCNd64 ";%" SCNd64, &counters.last, &counters.min,
                          &counters.max, &counters.sum),
              4)
        << buffer;
    return counters;
}

class Stress : public ::testing::Test {
protected:
    Stress() : emulator_(sharedKinesalite()), lib_(sharedLibrary()) {}

    void SetUp() override {
        lib_.InitLogEventCallBack(countingSink, nullptr);
        lib_.InititializeInterface();
        stream_ = emulator_.createUniqueStream("stress", kShards);
        shards_ = emulator_.shardIds(stream_);
        ASSERT_EQ(shards_.size(), std::size_t(kShards));
    }

    int32_t newClient() {
        const int32_t id = lib_.CreateClient("us-east-1", "AKIDSTRESS", "stress-secret");
        EXPECT_GE(id, 0);
        return id;
    }

    // Producer p: its own list on client p % 8; even producers also own the client's single put.
    void produce(int producer, int32_t client, int32_t list, std::vector<std::string>& sent) {
        int number = 0;
        const bool ownsSinglePut = producer < kClients;
        for (int batch = 0; batch < kBatchesPerProducer; ++batch) {
            for (int i = 0; i < kRecordsPerBatch; ++i) {
                const std::string data = recordData(producer, number++);
                ASSERT_EQ(lib_.AddRecordToList(client, list, nullptr, nullptr, data.data(), int32_t(data.size())), 0);
                sent.push_back(data);
                counted();
            }
            int32_t put = -1, failed = -1, bytes = -1, output = -1;
            const int32_t result = lib_.PutRecords(client, list, stream_.c_str(), &put, &failed, &bytes, &output, "stress");
            counted();
            ASSERT_EQ(result, 0) << "producer " << producer << " batch " << batch;
            EXPECT_EQ(put, kRecordsPerBatch);
            EXPECT_EQ(failed, 0);
            expectEveryPositionSucceeded(client, list, kRecordsPerBatch);
            EXPECT_EQ(lib_.ClearListRecord(client, list), 0);
            counted();
            if (ownsSinglePut && batch < kSinglePutsPerProducer) singlePut(producer, client, number++, sent);
        }
        for (int extra = kBatchesPerProducer; ownsSinglePut && extra < kSinglePutsPerProducer; ++extra)
            singlePut(producer, client, number++, sent);
    }

    void singlePut(int producer, int32_t client, int number, std::vector<std::string>& sent) {
        const std::string data = recordData(producer, number);
        ASSERT_EQ(lib_.PutRecord(client, stream_.c_str(), nullptr, nullptr, data.data(), int32_t(data.size())), 0);
        sent.push_back(data);
        char shard[RXK_ERROR_TEXT_BYTES], sequence[RXK_ERROR_TEXT_BYTES];
        unsigned char success = 0;
        uint32_t length = 0;
        ASSERT_EQ(lib_.GetLastResultPutRecord(client, nullptr, shard, sequence, &success, nullptr, nullptr, nullptr,
                                              &length),
                  0);
        EXPECT_EQ(success, 1);
        EXPECT_EQ(length, data.size());
        counted();
        counted();
    }

    void expectEveryPositionSucceeded(int32_t client, int32_t list, int records) {
        for (int index = 0; index < records; ++index) {
            char shard[RXK_ERROR_TEXT_BYTES], sequence[RXK_ERROR_TEXT_BYTES];
            unsigned char success = 0;
            ASSERT_EQ(lib_.GetLastResultPutRecords(client, list, index, nullptr, shard, sequence, &success, nullptr,
                                                   nullptr, nullptr, nullptr),
                      0);
            EXPECT_EQ(success, 1) << "position " << index;
            EXPECT_NE(sequence[0], '\0');
            counted();
        }
    }

    // A reading state of its own, read while the producers write; PollShardIterator calls go
    // through pollMutex_ since they share one data buffer in the library.
    void readWhileProducing(int reader, int32_t client, const std::string& shard) {
        std::vector<char> data(kDataBytes);
        char sequence[RXK_POLL_SEQUENCE_BYTES];
        int32_t length = 0;
        while (!producersDone_.load()) {
            int32_t result;
            if (reader % 3 == 0) {
                std::lock_guard<std::mutex> lock(pollMutex_);
                result = lib_.PollShardIterator(client, stream_.c_str(), shard.c_str(),
                                                [](int32_t, const char*, const char*, const char*, const char*,
                                                   int32_t) -> int32_t { return 0; });
            } else if (reader % 3 == 1) {
                result = lib_.GetRecordFromIterator(client, stream_.c_str(), shard.c_str(), sequence, data.data(), &length);
            } else {
                result = lib_.NextShardIterator(client, stream_.c_str(), shard.c_str());
            }
            counted();
            EXPECT_TRUE(result == 0 || result == 2) << "reader " << reader << " got " << result;
            if (result == 2) std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    // Batches of 5 against the fault server, whose first answer fails position 0 of every batch:
    // each batch makes one retry request, which the counters must show exactly.
    void putWithRetries(int32_t client, int32_t list) {
        for (int batch = 0; batch < kCounterBatches; ++batch) {
            for (int i = 0; i < 5; ++i) lib_.AddRecordToList(client, list, "pk", nullptr, "retry", 5);
            int32_t put = -1, failed = -1;
            EXPECT_EQ(lib_.PutRecords(client, list, "counted", &put, &failed, nullptr, nullptr, "counters"), 0);
            EXPECT_EQ(failed, 0);
            EXPECT_EQ(lib_.ClearListRecord(client, list), 0);
            counted();
        }
    }

    // Clients that come and go, parameters, error texts and counters of busy clients.
    void churn(int thread, const std::vector<int32_t>& busyClients) {
        char text[RXK_ERROR_TEXT_BYTES];
        char parameter[RXK_ERROR_TEXT_BYTES + 88];
        for (int round = 0; round < 100; ++round) {
            const int32_t id = newClient();
            EXPECT_EQ(lib_.SetParam(id, "maxputrow", "100"), 0);
            EXPECT_EQ(lib_.GetParam(id, "maxputrow", parameter), 0);
            EXPECT_STREQ(parameter, "100");
            EXPECT_EQ(lib_.SetParam(id, "no-such-parameter", "1"), -1);  // writes the client's error text
            lib_.GetErrorStr(id, text, sizeof text);
            EXPECT_NE(std::strstr(text, "bad param name"), nullptr) << text;
            EXPECT_EQ(lib_.FreeClient(id), 0);
            EXPECT_EQ(lib_.FreeClient(id), 0);
            EXPECT_EQ(lib_.SetParam(id, "retry", "1"), -1);  // freed: refused, never reached

            const int32_t busy = busyClients[(thread + round) % busyClients.size()];
            lib_.GetErrorStr(busy, text, sizeof text);
            EXPECT_NE(std::memchr(text, '\0', sizeof text), nullptr);
            EXPECT_EQ(lib_.GetParam(busy, "retryattemptFailRecords", parameter), 0);
            EXPECT_EQ(lib_.SetParam(busy, "retryattemptshow", "0"), 0);  // no effect on what the others do
            EXPECT_EQ(lib_.GetParam(busy, "retry", parameter), 0);
            const std::string global = "churn " + std::to_string(thread) + " round " + std::to_string(round);
            lib_.SetGlobalErrorStr(global.c_str());
            lib_.GetGlobalErrorStr(text, sizeof text);
            EXPECT_NE(std::memchr(text, '\0', sizeof text), nullptr);
            operations.fetch_add(13, std::memory_order_relaxed);
        }
    }

    void listCatalogue(int32_t client) {
        while (!producersDone_.load()) {
            std::vector<char> buffer(4096);
            int32_t length = int32_t(buffer.size());
            EXPECT_EQ(lib_.GetListShards(client, stream_.c_str(), buffer.data(), &length), 0);
            EXPECT_EQ(std::count(buffer.begin(), buffer.begin() + length, ';'), kShards - 1) << buffer.data();
            length = int32_t(buffer.size());
            EXPECT_EQ(lib_.GetShardDetails(client, stream_.c_str(), shards_[0].c_str(), buffer.data(), &length), 0);
            counted();
            counted();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    // Every record of every shard, read through the library from the trim horizon.
    std::vector<std::string> readEverything(int32_t client) {
        std::vector<std::string> found;
        std::vector<char> data(kDataBytes);
        for (const std::string& shard : shards_) {
            EXPECT_GE(lib_.StartShardIterator(client, stream_.c_str(), shard.c_str(), nullptr, 10000, RXK_TRIM_HORIZON), 0);
            int emptyInARow = 0;
            while (emptyInARow < 3) {
                int32_t length = 0;
                const int32_t result =
                    lib_.GetRecordFromIterator(client, stream_.c_str(), shard.c_str(), nullptr, data.data(), &length);
                if (result == 0) {
                    found.emplace_back(data.data(), std::size_t(length));
                    emptyInARow = 0;
                } else {
                    EXPECT_EQ(result, 2);
                    ++emptyInARow;
                }
            }
            EXPECT_EQ(lib_.StopShardIterator(client, stream_.c_str(), shard.c_str()), 0);
        }
        return found;
    }

    Kinesalite& emulator_;
    Library& lib_;
    std::string stream_;
    std::vector<std::string> shards_;
    std::atomic<bool> producersDone_{false};
    std::mutex pollMutex_;
};

// Catches: records lost or written twice under concurrent batches and single puts, read-back
// positions mixed up between threads, counters fed without their lock, races on the client
// table and the error texts while clients come and go.
TEST_F(Stress, ThirtyTwoThreadsOverEightClientsLoseAndDoubleNothing) {
    const auto started = std::chrono::steady_clock::now();
    ServiceEnvironment emulatorEnvironment(emulator_.endpoint());

    // Set up before the threads start: the library guards neither a client's table of lists
    // nor its table of reading states against concurrent creation.
    std::vector<int32_t> clients;
    for (int i = 0; i < kClients; ++i) clients.push_back(newClient());
    std::vector<int32_t> producerLists;
    for (int p = 0; p < kProducerThreads; ++p) producerLists.push_back(lib_.CreateListRecord(clients[p % kClients]));
    for (int r = 0; r < kReaderThreads; ++r) {
        ASSERT_GE(lib_.StartShardIterator(clients[r % kClients], stream_.c_str(), shards_[r % kShards].c_str(),
                                          nullptr, 100, RXK_TRIM_HORIZON),
                  0);
    }

    FaultServer faults;
    std::vector<int32_t> counterClients;
    std::vector<int32_t> counterLists;
    {
        ServiceEnvironment faultEnvironment(faults.endpoint(), ServiceEnvironment::SdkRetries::Off);
        for (int i = 0; i < 2; ++i) {
            counterClients.push_back(newClient());
            EXPECT_EQ(lib_.SetParam(counterClients.back(), "retry", "3"), 0);
        }
    }
    faults.setRecording(false);
    faults.setHandler("PutRecords", [](const RecordedRequest& request) {
        const int records = countPutRecordsEntries(request.body);
        return putRecordsReply(records, records > 1 ? std::set<int>{0} : std::set<int>{});
    });
    for (int t = 0; t < kCounterThreads; ++t) counterLists.push_back(lib_.CreateListRecord(counterClients[t % 2]));

    std::vector<std::vector<std::string>> sent(kProducerThreads);
    std::vector<std::thread> producers, others;
    for (int p = 0; p < kProducerThreads; ++p)
        producers.emplace_back([&, p] { produce(p, clients[p % kClients], producerLists[p], sent[p]); });
    for (int r = 0; r < kReaderThreads; ++r)
        others.emplace_back([&, r] { readWhileProducing(r, clients[r % kClients], shards_[r % kShards]); });
    for (int t = 0; t < kCounterThreads; ++t)
        others.emplace_back([&, t] { putWithRetries(counterClients[t % 2], counterLists[t]); });
    for (int t = 0; t < kChurnThreads; ++t) others.emplace_back([&, t] { churn(t, clients); });
    for (int t = 0; t < kCatalogueThreads; ++t) others.emplace_back([&, t] { listCatalogue(clients[t]); });
    ASSERT_EQ(producers.size() + others.size(), std::size_t(kThreads));

    for (auto& thread : producers) thread.join();
    producersDone_.store(true);
    for (auto& thread : others) thread.join();

    // Exactly once: the multiset of what was read equals the multiset of what was put.
    std::multiset<std::string> expected;
    for (const auto& records : sent) expected.insert(records.begin(), records.end());
    const int32_t auditor = newClient();
    const std::vector<std::string> read = readEverything(auditor);
    EXPECT_EQ(lib_.FreeClient(auditor), 0);
    const std::multiset<std::string> found(read.begin(), read.end());
    EXPECT_EQ(found.size(), expected.size());
    std::vector<std::string> missing, extra;
    std::set_difference(expected.begin(), expected.end(), found.begin(), found.end(), std::back_inserter(missing));
    std::set_difference(found.begin(), found.end(), expected.begin(), expected.end(), std::back_inserter(extra));
    EXPECT_TRUE(missing.empty()) << missing.size() << " records missing, e.g. " << (missing.empty() ? "" : missing[0]);
    EXPECT_TRUE(extra.empty()) << extra.size() << " records extra or doubled, e.g. " << (extra.empty() ? "" : extra[0]);

    // Counters: every counted batch made exactly one retry request with one failed record.
    const int batchesPerCounterClient = kCounterThreads / 2 * kCounterBatches;
    for (int32_t client : counterClients) {
        const Counters attempts = readCounters(lib_, client, "retryattemptPutRecords");
        const Counters failures = readCounters(lib_, client, "retryattemptFailRecords");
        EXPECT_EQ(attempts.sum, batchesPerCounterClient);
        EXPECT_EQ(attempts.min, 1);
        EXPECT_EQ(attempts.max, 1);
        EXPECT_EQ(failures.sum, batchesPerCounterClient);
        EXPECT_EQ(failures.last, 1);
    }
    const int counterRequests = faults.requestCount("PutRecords");
    EXPECT_EQ(counterRequests, 2 * kCounterThreads * kCounterBatches);
    // Producers against the emulator never failed: their counters were never fed.
    for (int32_t client : clients) EXPECT_EQ(readCounters(lib_, client, "retryattemptPutRecords").sum, 0);

    for (int r = 0; r < kReaderThreads; ++r)
        EXPECT_EQ(lib_.StopShardIterator(clients[r % kClients], stream_.c_str(), shards_[r % kShards].c_str()), 0);
    for (int32_t client : clients) {
        EXPECT_EQ(lib_.FreeListRecord(client, -1), 0);
        EXPECT_EQ(lib_.FreeClient(client), 0);
    }
    for (int32_t client : counterClients) EXPECT_EQ(lib_.FreeClient(client), 0);

    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::printf("stress: %d threads, %zu records put and read back, %d counted batches (%d requests), "
                "%ld operations, %ld log lines, %.1f s\n",
                kThreads, expected.size(), 2 * batchesPerCounterClient, counterRequests, operations.load(),
                logLines.load(), seconds);
}

}  // namespace
}  // namespace rxk::test
