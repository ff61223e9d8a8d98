// KinesisEnv: one client of the host. One region, one key pair, one service client, and all the
// state that must outlive a single export call: the last-error text, parameters and counters,
// the single-put request and outcome, the record lists and the reading states.
//
// The methods live with their subsystem:
//   src/env       construction, init, getError, reporting, setParam/getParam
//   src/producer  putRecord, getLastResult (single), makeRandomKey, the record lists,
//                 putRecords, getLastResult (batch)
//   src/consumer  FindIterator, stopGetIterator, startGetIterator, nextGetIterator,
//                 getRecordFromIterator, poll, getRecord
//   src/catalogue getData, getListStream, getListShardOrShardDetails, createStream
//   src/diagnostics dummy
//
// Locks: errorLock guards the last-error text, statsLock the two counter groups and
// firstFailedError; the two are never held together. Everything else is unguarded: the host
// keeps calls on one list, one reading and the single put from overlapping. Parameters are
// atomics only so that a SetParam racing a putRecords is well defined.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <aws/core/auth/AWSCredentials.h>
#include <aws/core/client/ClientConfiguration.h>
#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/kinesis/KinesisClient.h>
#include <aws/kinesis/KinesisServiceClientModel.h>
#include <aws/kinesis/model/PutRecordRequest.h>

#include "frame/sync_lock.h"
#include "rxkinesis.h"

namespace rxk {

struct PutRecordsData;     // src/producer/record_list.h
struct ShardIteratorData;  // src/consumer/shard_iterator_data.h

// Defaults of a new client's parameters.
constexpr int32_t kDefaultRetry = -1;
constexpr int32_t kDefaultRetryAttemptShow = 0;
constexpr int32_t kDefaultMaxPutRow = 500;
constexpr int32_t kDefaultMaxPutLen = 5000000;

// Last, min, max and sum of the values fed so far. Fed and read under statsLock.
struct CounterGroup {
    int64_t last = 0;
    int64_t min = INT64_MAX;
    int64_t max = 0;
    int64_t sum = 0;

    void feed(int32_t value) {
        const int64_t v = value;
        if (v > max) max = v;
        if (v < min) min = v;
        sum += v;
        last = v;
    }
};

class KinesisEnv {
public:
    KinesisEnv();
    ~KinesisEnv();
    KinesisEnv(const KinesisEnv&) = delete;
    KinesisEnv& operator=(const KinesisEnv&) = delete;

    // ---- client environment (src/env) ----
    bool init(int32_t id, std::string region, std::string accessKeyId, std::string secretKey);
    std::string getError();
    int32_t setParam(const char* name, const char* value);
    int32_t getParam(const char* name, char* buffer);

    // ---- single put (src/producer) ----
    int32_t putRecord(const char* streamName, const char* partitionKey, const char* explicitHashKey,
                      const void* data, int32_t length);
    int32_t getLastResult(char* streamName, char* shardId, char* sequenceNumber, unsigned char* success,
                          char* partitionKey, char* explicitHashKey, char* error, uint32_t* dataLength);
    const char* makeRandomKey();

    // ---- record lists and batch put (src/producer) ----
    int32_t createListRecord();
    int32_t clearListRecord(int32_t listId);
    int32_t freeListRecord(int32_t listId);
    int32_t getListRecordInfo(int32_t listId, uint32_t* count, uint32_t* bytes);
    int32_t addRecordToList(int32_t listId, const char* partitionKey, const char* explicitHashKey,
                            const void* data, int32_t length);
    int32_t putRecords(int32_t listId, const char* streamName, int32_t* put, int32_t* failed,
                       int32_t* bytes, int32_t* output, const char* tag);
    int32_t getLastResult(int32_t listId, int32_t index, char* streamName, char* shardId,
                          char* sequenceNumber, unsigned char* success, char* partitionKey,
                          char* explicitHashKey, char* error, uint32_t* dataLength);

    // ---- reading (src/consumer) ----
    ShardIteratorData* FindIterator(const char* stream, const char* shard, bool create);
    int32_t stopGetIterator(const char* stream, const char* shard);
    int32_t startGetIterator(const char* stream, const char* shard, const char* startValue,
                             int32_t limit, int32_t type);
    int32_t nextGetIterator(const char* stream, const char* shard);
    int32_t getRecordFromIterator(const char* stream, const char* shard, char* sequenceNumber,
                                  char* data, int32_t* length);
    int32_t poll(const char* stream, const char* shard, PollCallback callback);
    int32_t getRecord(const char* stream, const char* shard, const char* sequenceNumber, char* data,
                      int32_t* length);

    // ---- catalogue (src/catalogue) ----
    int32_t getData(int32_t type, const char* streamName, const char* shardId, char* buffer,
                    int32_t* lenBuffer, char delimiter);
    std::string getListStream();
    std::string getListShardOrShardDetails(const std::string& streamName, const char* shardId);
    int32_t createStream(const char* stream, int32_t shardCount);

    // ---- diagnostics (src/diagnostics) ----
    int32_t dummy(const char* kind);

    // ---- reporting (src/env/reporting.cpp) ----
    // Every line is composed in a 1024-byte message buffer. "fail" lines replace the last-error
    // text under errorLock and then go to the log sink; the lock is never held while a sink runs
    // (createStream is the one documented exception and does its own reporting).
    void fail(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // The line and the SDK's message become one last-error text; the sink gets them as two calls.
    void failWithSdkMessage(const Aws::String& sdkMessage, const char* fmt, ...)
        __attribute__((format(printf, 3, 4)));
    // Replaces the last-error text without telling the log sink.
    void failSilently(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // To the log sink only; the last-error text stays.
    void notify(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    // To the trace sink only, and composed only when one is set.
    void trace(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
    void replaceLastError(const char* text);
    bool tracing() const;

    // ---- fields ----
    int32_t id = -1;
    std::string lastError;  // guarded by errorLock

    // catalogue: state of the current getData call
    int32_t pos = 0;
    std::string result;
    char delimiter = ';';

    Aws::Client::ClientConfiguration clientConfiguration;
    Aws::Auth::AWSCredentials credentials;
    std::unique_ptr<Aws::Kinesis::KinesisClient> client;

    // single put
    Aws::Kinesis::Model::PutRecordOutcome lastPutOutcome;
    Aws::Kinesis::Model::PutRecordRequest lastPutRequest;

    std::vector<std::unique_ptr<PutRecordsData>> recordLists;  // list id = position; null = free
    std::vector<std::unique_ptr<ShardIteratorData>> iterators;  // in order of creation

    std::string lastPutStream;
    std::string region;
    std::string accessKeyId;
    std::string secretKey;

    // parameters (src/env/parameters.cpp)
    std::atomic<int32_t> retry{kDefaultRetry};
    std::atomic<int32_t> retryattemptshow{kDefaultRetryAttemptShow};
    std::atomic<int32_t> maxputrow{kDefaultMaxPutRow};
    std::atomic<int32_t> maxputlen{kDefaultMaxPutLen};

    // counters, guarded by statsLock
    CounterGroup retryattemptPutRecords;
    CounterGroup retryattemptFailRecords;
    Aws::String firstFailedError;

    // random keys
    char randomKeyText[256];
    std::mt19937_64 randomEngine;
    std::uniform_int_distribution<uint64_t> randomRange;
    // Guards randomEngine and randomKeyText: the single put and the record lists of one client
    // may draw keys on several threads at once.
    SyncLock randomLock;

    SyncLock statsLock;
    SyncLock errorLock;
    bool locksReady = false;
};

}  // namespace rxk
