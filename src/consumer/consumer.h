// Consumer: the reading side of one client. Its reading states, one per pair of stream name and
// shard id, in order of creation, and the one-shot read that keeps none.
//
// Nothing here has a lock: the host keeps calls on one reading from overlapping, and PollShardIterator
// calls from overlapping at all (they share one data area).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "consumer/shard_iterator_data.h"
#include "env/client_env.h"
#include "rxkinesis.h"

namespace rxk {

class Consumer : private ClientPart {
public:
    explicit Consumer(ClientEnv& env) : ClientPart(env) {}

    // ---- reading states (iterator_registry.cpp, iterator_reading.cpp) ----
    int32_t startGetIterator(const char* stream, const char* shard, const char* startValue, int32_t limit,
                             int32_t type);
    int32_t nextGetIterator(const char* stream, const char* shard);
    int32_t getRecordFromIterator(const char* stream, const char* shard, char* sequenceNumber, char* data,
                                  int32_t* length);
    int32_t poll(const char* stream, const char* shard, PollCallback callback);
    int32_t stopGetIterator(const char* stream, const char* shard);

    // ---- counted bytes with the record's details (record_reading.cpp) ----
    int32_t readShardRecord(const char* stream, const char* shard, void* data, int32_t capacity, int32_t* length,
                            ShardRecordInfo* info, int32_t flags);

    // ---- one-shot read (one_shot_read.cpp) ----
    int32_t getRecord(const char* stream, const char* shard, const char* sequenceNumber, char* data,
                      int32_t* length);

private:
    // A host buffer and how much of it may be written.
    struct TextBuffer {
        char* text;
        std::size_t capacity;
    };

    using Readings = std::vector<std::unique_ptr<ShardIteratorData>>;

    // The reading of the pair, with the lookup's line: a trace when it is found, a failure when
    // it is not and none is to be made.
    Readings::iterator lookUp(const char* stream, const char* shard, bool create);
    // The reading of the pair; with `create`, a new one when there is none yet.
    ShardIteratorData* FindIterator(const char* stream, const char* shard, bool create);
    int32_t handOutRecord(const char* stream, const char* shard, TextBuffer sequence, TextBuffer data,
                          int32_t* length);
    void expandAtCursor(ShardIteratorData& reading);
    void setStartTimestamp(ShardIteratorData& reading, const char* stream, const char* shard,
                           const char* startValue);

    Readings iterators_;  // in order of creation
};

}  // namespace rxk
