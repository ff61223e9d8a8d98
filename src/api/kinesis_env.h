// KinesisEnv: one client of the host, the object the exports call. It owns one part per
// subsystem, each defined in its own folder with its state behind private fields; a method here
// is a line that hands the call to the part that owns it. The parts are built after and
// destroyed before the environment they share, so the service client outlives every request.
#pragma once

#include <cstdint>
#include <string>

#include "catalogue/catalogue.h"
#include "consumer/consumer.h"
#include "diagnostics/probe.h"
#include "env/client_env.h"
#include "producer/producer.h"
#include "rxkinesis.h"

namespace rxk {

class KinesisEnv {
public:
    KinesisEnv() = default;
    KinesisEnv(const KinesisEnv&) = delete;
    KinesisEnv& operator=(const KinesisEnv&) = delete;

    // ---- client environment (src/env) ----
    bool init(int32_t id, const char* region, const char* accessKeyId, const char* secretKey) {
        return env_.init(id, region, accessKeyId, secretKey);
    }
    std::string getError() { return env_.getError(); }
    int32_t setParam(const char* name, const char* value) { return env_.setParam(name, value); }
    int32_t getParam(const char* name, char* buffer) { return env_.getParam(name, buffer); }

    // ---- single put, record lists, batch put (src/producer) ----
    int32_t putRecord(const char* streamName, const char* partitionKey, const char* explicitHashKey,
                      const void* data, int32_t length) {
        return producer_.putRecord(streamName, partitionKey, explicitHashKey, data, length);
    }
    int32_t getLastResult(char* streamName, char* shardId, char* sequenceNumber, unsigned char* success,
                          char* partitionKey, char* explicitHashKey, char* error, uint32_t* dataLength) {
        return producer_.getLastResult(streamName, shardId, sequenceNumber, success, partitionKey,
                                       explicitHashKey, error, dataLength);
    }
    int32_t createListRecord() { return producer_.createListRecord(); }
    int32_t clearListRecord(int32_t listId) { return producer_.clearListRecord(listId); }
    int32_t freeListRecord(int32_t listId) { return producer_.freeListRecord(listId); }
    int32_t getListRecordInfo(int32_t listId, uint32_t* count, uint32_t* bytes) {
        return producer_.getListRecordInfo(listId, count, bytes);
    }
    int32_t addRecordToList(int32_t listId, const char* partitionKey, const char* explicitHashKey,
                            const void* data, int32_t length) {
        return producer_.addRecordToList(listId, partitionKey, explicitHashKey, data, length);
    }
    int32_t putRecords(int32_t listId, const char* streamName, int32_t* put, int32_t* failed, int32_t* bytes,
                       int32_t* output, const char* tag) {
        return producer_.putRecords(listId, streamName, put, failed, bytes, output, tag);
    }
    int32_t getLastResult(int32_t listId, int32_t index, char* streamName, char* shardId, char* sequenceNumber,
                          unsigned char* success, char* partitionKey, char* explicitHashKey, char* error,
                          uint32_t* dataLength) {
        return producer_.getLastResult(listId, index, streamName, shardId, sequenceNumber, success, partitionKey,
                                       explicitHashKey, error, dataLength);
    }

    // ---- reading (src/consumer) ----
    int32_t startGetIterator(const char* stream, const char* shard, const char* startValue, int32_t limit,
                             int32_t type) {
        return consumer_.startGetIterator(stream, shard, startValue, limit, type);
    }
    int32_t nextGetIterator(const char* stream, const char* shard) {
        return consumer_.nextGetIterator(stream, shard);
    }
    int32_t getRecordFromIterator(const char* stream, const char* shard, char* sequenceNumber, char* data,
                                  int32_t* length) {
        return consumer_.getRecordFromIterator(stream, shard, sequenceNumber, data, length);
    }
    int32_t readShardRecord(const char* stream, const char* shard, void* data, int32_t capacity, int32_t* length,
                            ShardRecordInfo* info, int32_t flags) {
        return consumer_.readShardRecord(stream, shard, data, capacity, length, info, flags);
    }
    int32_t poll(const char* stream, const char* shard, PollCallback callback) {
        return consumer_.poll(stream, shard, callback);
    }
    int32_t stopGetIterator(const char* stream, const char* shard) {
        return consumer_.stopGetIterator(stream, shard);
    }
    int32_t getRecord(const char* stream, const char* shard, const char* sequenceNumber, char* data,
                      int32_t* length) {
        return consumer_.getRecord(stream, shard, sequenceNumber, data, length);
    }

    // ---- catalogue (src/catalogue) ----
    int32_t getData(int32_t type, const char* streamName, const char* shardId, char* buffer, int32_t* lenBuffer,
                    char delimiter) {
        return catalogue_.getData(type, streamName, shardId, buffer, lenBuffer, delimiter);
    }
    int32_t getListAllStreams(char* buffer, int32_t* lenBuffer, char delimiter) {
        return catalogue_.getListAllStreams(buffer, lenBuffer, delimiter);
    }
    int32_t getShardLineage(const char* streamName, char* buffer, int32_t* lenBuffer, char delimiter) {
        return catalogue_.getShardLineage(streamName, buffer, lenBuffer, delimiter);
    }
    int32_t createStream(const char* stream, int32_t shardCount) {
        return catalogue_.createStream(stream, shardCount);
    }

    // ---- diagnostics (src/diagnostics) ----
    int32_t dummy(const char* kind) { return probe_.dummy(kind); }

private:
    ClientEnv env_;
    Producer producer_{env_};
    Consumer consumer_{env_};
    Catalogue catalogue_{env_};
    Probe probe_{env_};
};

}  // namespace rxk
