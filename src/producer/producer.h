// Producer: the writing side of one client. The single put with its latest request and outcome,
// the record lists that PutRecords sends, and the random keys both draw from.
//
// Nothing here has a lock but the random keys: the host keeps calls on one list, and single
// puts, from overlapping.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include <aws/kinesis/KinesisServiceClientModel.h>
#include <aws/kinesis/model/PutRecordRequest.h>

#include "env/client_env.h"
#include "frame/sync_lock.h"
#include "producer/record_list.h"

namespace rxk {

// Random partition keys: N followed by twenty zeros, so that every key is also a legal explicit
// hash key. The single put and the record lists of one client may draw on several threads at once.
class RandomKeys {
public:
    RandomKeys();
    // The drawn key, in a buffer of the calling thread that the next draw on it overwrites.
    const char* draw();

private:
    static constexpr std::size_t kKeyBytes = 256;
    char keyText_[kKeyBytes];  // guarded by lock_
    std::mt19937_64 engine_;   // guarded by lock_
    std::uniform_int_distribution<uint64_t> range_;
    SyncLock lock_;
};

class Producer : private ClientPart {
public:
    explicit Producer(ClientEnv& env) : ClientPart(env) {}

    // ---- single put (single_put.cpp) ----
    int32_t putRecord(const char* streamName, const char* partitionKey, const char* explicitHashKey,
                      const void* data, int32_t length);
    int32_t getLastResult(char* streamName, char* shardId, char* sequenceNumber, unsigned char* success,
                          char* partitionKey, char* explicitHashKey, char* error, uint32_t* dataLength);

    // ---- record lists (record_list.cpp) ----
    int32_t createListRecord();
    int32_t clearListRecord(int32_t listId);
    int32_t freeListRecord(int32_t listId);
    int32_t getListRecordInfo(int32_t listId, uint32_t* count, uint32_t* bytes);
    int32_t addRecordToList(int32_t listId, const char* partitionKey, const char* explicitHashKey,
                            const void* data, int32_t length);

    // ---- batch put and its read-back (batch_put.cpp, batch_result.cpp) ----
    int32_t putRecords(int32_t listId, const char* streamName, int32_t* put, int32_t* failed,
                       int32_t* bytes, int32_t* output, const char* tag);
    int32_t getLastResult(int32_t listId, int32_t index, char* streamName, char* shardId,
                          char* sequenceNumber, unsigned char* success, char* partitionKey,
                          char* explicitHashKey, char* error, uint32_t* dataLength);

private:
    std::string lastPutStream_;  // empty until the first single put
    Aws::Kinesis::Model::PutRecordRequest lastPutRequest_;
    Aws::Kinesis::Model::PutRecordOutcome lastPutOutcome_;

    RecordLists recordLists_;
    RandomKeys randomKeys_;
};

}  // namespace rxk
