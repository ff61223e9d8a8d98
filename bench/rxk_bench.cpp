// Benchmark driver: runs one workload through the exported functions of librxkinesis.so, loaded
// with dlopen as a host does, and prints one JSON line: records moved, wall seconds, CPU seconds
// of this process during the timed window, resident memory.
//
//   rxk_bench --workload NAME --stream S [--seconds N] [--records N] [--threads N]
//             [--record-bytes N] [--shard ID] [--clients N]
// The puts run for --seconds, or for --records records when it is given (for instruction
// counts, which want a fixed amount of work).
// Workloads: batch-put, single-put, poll-read, record-read, prefill, memory-idle,
// memory-clients, memory-long. The endpoint comes from AWS_ENDPOINT_URL_KINESIS.
#include <malloc.h>
#include <sys/resource.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "library.h"

namespace {

struct Options {
    std::string workload;
    std::string stream = "bench";
    std::string shard = "shardId-000000000000";
    double seconds = 5;
    long records = 100000;
    bool recordsGiven = false;  // puts then stop after `records` instead of after `seconds`
    int threads = 1;
    int recordBytes = 100;
    int clients = 1000;
};

struct Measure {
    long records = 0;
    double seconds = 0;
    double cpuSeconds = 0;
    long rssKib = 0;
    long rssBeforeKib = 0;
    long heapKib = 0;  // heap in use, which unlike the resident size leaves out shared code pages
    long heapBeforeKib = 0;
    long coldHeapKib = 0;  // memory-idle: what the first client of the process added to the heap
};

double cpuSecondsNow() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

long residentKib() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmRSS:", 0) == 0) return std::strtol(line.c_str() + 6, nullptr, 10);
    }
    return 0;
}

long heapInUseKib() {
    const struct mallinfo2 heap = mallinfo2();
    return static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
}

using Clock = std::chrono::steady_clock;

// Runs `body` and fills the wall and CPU time it took.
Measure timed(const std::function<long()>& body) {
    Measure m;
    const double cpuBefore = cpuSecondsNow();
    const auto wallBefore = Clock::now();
    m.records = body();
    m.seconds = std::chrono::duration<double>(Clock::now() - wallBefore).count();
    m.cpuSeconds = cpuSecondsNow() - cpuBefore;
    m.rssKib = residentKib();
    return m;
}

class Bench {
public:
    Bench(rxk::test::Library& lib, Options options) : lib_(lib), options_(std::move(options)) {}

    int newClient() {
        const int id = lib_.CreateClient("us-east-1", "bench-key-id", "bench-secret");
        if (id < 0) {
            char text[1024];
            std::fprintf(stderr, "rxk_bench: CreateClient failed: %s\n", lib_.GetGlobalErrorStr(text, sizeof text));
            std::exit(1);
        }
        return id;
    }

    void failOn(int client, const char* what) {
        char text[1024];
        std::fprintf(stderr, "rxk_bench: %s failed: %s\n", what, lib_.GetErrorStr(client, text, sizeof text));
        std::exit(1);
    }

    // Batches of 500 records of recordBytes each, back to back until the deadline (or until
    // `limit` records, when given).
    long batchPut(int client, double seconds, long limit) {
        const int list = lib_.CreateListRecord(client);
        std::vector<char> data(options_.recordBytes, 'a');
        char key[32];
        long sent = 0;
        const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
        while ((limit > 0 ? sent < limit : Clock::now() < deadline)) {
            lib_.ClearListRecord(client, list);
            for (int i = 0; i < 500; ++i) {
                // The host's own share of the work kept small, so that the library's shows.
                *std::to_chars(key, key + sizeof key - 1, sent + i).ptr = '\0';
                std::memcpy(data.data(), key, std::min<size_t>(std::strlen(key), data.size()));
                if (lib_.AddRecordToList(client, list, key, nullptr, data.data(), static_cast<int32_t>(data.size())) != 0)
                    failOn(client, "AddRecordToList");
            }
            int32_t put = 0, failed = 0;
            const int result = lib_.PutRecords(client, list, options_.stream.c_str(), &put, &failed, nullptr, nullptr, "bench");
            if (result < 0) failOn(client, "PutRecords");
            sent += put - failed;
        }
        lib_.FreeListRecord(client, list);
        return sent;
    }

    long singlePut(int client, long limit) {
        std::vector<char> data(options_.recordBytes, 'a');
        long sent = 0;
        const auto deadline = Clock::now() + std::chrono::duration<double>(options_.seconds);
        while ((limit > 0 ? sent < limit : Clock::now() < deadline)) {
            if (lib_.PutRecord(client, options_.stream.c_str(), "single", nullptr, data.data(),
                               static_cast<int32_t>(data.size())) != 0)
                failOn(client, "PutRecord");
            ++sent;
        }
        return sent;
    }

    static int32_t checksumRecord(int32_t, const char*, const char*, const char*, const char* data, int32_t length) {
        uint32_t sum = 0;
        const int32_t n = length < 9999 ? length : 9999;
        for (int32_t i = 0; i < n; ++i) sum += static_cast<unsigned char>(data[i]);
        pollChecksum_ += sum;
        pollRecords_ += 1;
        return 0;
    }

    long pollRead(int client) {
        pollRecords_ = 0;
        const char* stream = options_.stream.c_str();
        const char* shard = options_.shard.c_str();
        lib_.StartShardIterator(client, stream, shard, nullptr, 10000, 4 /* TRIM_HORIZON */);
        while (pollRecords_ < options_.records) {
            if (lib_.PollShardIterator(client, stream, shard, &Bench::checksumRecord) == 2) break;
        }
        lib_.StopShardIterator(client, stream, shard);
        return static_cast<long>(pollRecords_);
    }

    long recordRead(int client, long limit) {
        const char* stream = options_.stream.c_str();
        const char* shard = options_.shard.c_str();
        std::vector<char> data(1024 * 1024 + 1);
        char sequence[300];
        int32_t length = 0;
        long records = 0;
        int emptyInARow = 0;
        uint32_t checksum = 0;
        lib_.StartShardIterator(client, stream, shard, nullptr, 10000, 4 /* TRIM_HORIZON */);
        while (records < limit && emptyInARow < 2) {
            const int result = lib_.GetRecordFromIterator(client, stream, shard, sequence, data.data(), &length);
            if (result == 0) {
                emptyInARow = 0;
                checksum += static_cast<unsigned char>(data[0]);
                ++records;
            } else {
                ++emptyInARow;
            }
        }
        lib_.StopShardIterator(client, stream, shard);
        return records + (checksum == 0xFFFFFFFFu ? 1 : 0);  // keep the checksum alive
    }

    // Runs `perThread(client)` on `threads` threads, each with a client of its own. Only the
    // threads' work is timed: the clients are made before and freed after, as the peer's is.
    Measure onThreads(const std::function<long(int)>& perThread) {
        std::vector<int> clients;
        for (int i = 0; i < options_.threads; ++i) clients.push_back(newClient());
        std::atomic<long> total{0};
        const Measure m = timed([&] {
            std::vector<std::thread> workers;
            for (int client : clients) {
                workers.emplace_back([&, client] {
                    lib_.SetParam(client, "exceptiontranslator", "");
                    total += perThread(client);
                });
            }
            for (auto& worker : workers) worker.join();
            return total.load();
        });
        for (int client : clients) lib_.FreeClient(client);
        return m;
    }

    Measure run() {
        const std::string& w = options_.workload;
        const long limit = options_.recordsGiven ? options_.records : 0;
        if (w == "batch-put") return onThreads([&](int c) { return batchPut(c, options_.seconds, limit); });
        if (w == "prefill") return onThreads([&](int c) { return batchPut(c, 0, options_.records); });
        if (w == "single-put") return onThreads([&](int c) { return singlePut(c, limit); });
        if (w == "poll-read") {
            const int client = newClient();
            return timed([&] { return pollRead(client); });
        }
        if (w == "record-read") return onThreads([&](int c) { return recordRead(c, options_.records); });
        if (w == "memory-idle" || w == "memory-clients") return memoryOfClients(w == "memory-idle" ? 1 : options_.clients);
        if (w == "memory-long") return memoryOverLongRun();
        std::fprintf(stderr, "rxk_bench: unknown workload %s\n", w.c_str());
        std::exit(2);
    }

    // Resident size and heap before and after creating idle clients (no request yet, so no
    // connection). The process's first client also sets up what all clients share (TLS and HTTP
    // library state), so it is created first and its heap growth reported apart.
    Measure memoryOfClients(int count) {
        const long coldBefore = heapInUseKib();
        const int first = newClient();
        Measure m;
        m.coldHeapKib = heapInUseKib() - coldBefore;
        m.rssBeforeKib = residentKib();
        m.heapBeforeKib = heapInUseKib();
        std::vector<int> clients;
        for (int i = 0; i < count; ++i) clients.push_back(newClient());
        m.rssKib = residentKib();
        m.heapKib = heapInUseKib();
        m.records = count;
        for (int client : clients) lib_.FreeClient(client);
        lib_.FreeClient(first);
        return m;
    }

    // Resident size after a warm-up tenth of the run and at its end: a flat line means no growth.
    Measure memoryOverLongRun() {
        const int client = newClient();
        batchPut(client, 0, options_.records / 10);
        Measure m;
        m.rssBeforeKib = residentKib();
        m.heapBeforeKib = heapInUseKib();
        const Measure run = timed([&] { return batchPut(client, 0, options_.records); });
        m.heapKib = heapInUseKib();
        m.records = run.records;
        m.seconds = run.seconds;
        m.cpuSeconds = run.cpuSeconds;
        m.rssKib = residentKib();
        return m;
    }

private:
    rxk::test::Library& lib_;
    Options options_;
    static inline std::atomic<uint64_t> pollChecksum_{0};
    static inline std::atomic<long> pollRecords_{0};
};

Options parseOptions(int argc, char** argv) {
    Options o;
    std::map<std::string, std::function<void(const char*)>> setters = {
        {"--workload", [&](const char* v) { o.workload = v; }},
        {"--stream", [&](const char* v) { o.stream = v; }},
        {"--shard", [&](const char* v) { o.shard = v; }},
        {"--seconds", [&](const char* v) { o.seconds = std::atof(v); }},
        {"--records", [&](const char* v) { o.records = std::atol(v); o.recordsGiven = true; }},
        {"--threads", [&](const char* v) { o.threads = std::atoi(v); }},
        {"--record-bytes", [&](const char* v) { o.recordBytes = std::atoi(v); }},
        {"--clients", [&](const char* v) { o.clients = std::atoi(v); }},
    };
    for (int i = 1; i + 1 < argc; i += 2) {
        auto setter = setters.find(argv[i]);
        if (setter == setters.end()) {
            std::fprintf(stderr, "rxk_bench: unknown option %s\n", argv[i]);
            std::exit(2);
        }
        setter->second(argv[i + 1]);
    }
    return o;
}

}  // namespace

int main(int argc, char** argv) {
    const Options options = parseOptions(argc, argv);
    rxk::test::Library lib;
    lib.InititializeInterface();
    Bench bench(lib, options);
    const Measure m = bench.run();
    std::printf("{\"client\":\"rxkinesis\",\"workload\":\"%s\",\"threads\":%d,\"records\":%ld,\"seconds\":%.6f,"
                "\"cpu_seconds\":%.6f,\"rss_kib\":%ld,\"rss_before_kib\":%ld,\"heap_kib\":%ld,"
                "\"heap_before_kib\":%ld,\"cold_heap_kib\":%ld}\n",
                options.workload.c_str(), options.threads, m.records, m.seconds, m.cpuSeconds, m.rssKib,
                m.rssBeforeKib, m.heapKib, m.heapBeforeKib, m.coldHeapKib);
    return 0;
}
