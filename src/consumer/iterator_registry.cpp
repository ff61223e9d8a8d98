// The registry of readings: one ShardIteratorData per pair of stream name and shard id, found
// again by the two names (byte for byte, case-sensitive) on every later call.
#include <algorithm>
#include <memory>

#include "consumer/shard_iterator_data.h"
#include "env/kinesis_env.h"

namespace rxk {

namespace {

using IteratorList = std::vector<std::unique_ptr<ShardIteratorData>>;

IteratorList::iterator findEntry(IteratorList& iterators, const char* stream, const char* shard) {
    return std::find_if(iterators.begin(), iterators.end(),
                        [&](const std::unique_ptr<ShardIteratorData>& entry) {
                            return entry->matches(stream, shard);
                        });
}

}  // namespace

ShardIteratorData* KinesisEnv::FindIterator(const char* stream, const char* shard, bool create) {
    const auto found = findEntry(iterators, stream, shard);
    if (found != iterators.end()) {
        ShardIteratorData* reading = found->get();
        trace("id:%d KinesisEnv::FindIterator [%s]:[%s] iterator found size:%d", id, stream,
              shard, reading->batchSize());
        return reading;
    }
    if (!create) {
        fail("id:%d KinesisEnv::FindIterator [%s]:[%s] iterator not found", id, stream, shard);
        return nullptr;
    }
    // A stored name is always the whole name: a cut one would answer for every longer name that
    // shares its first bytes, and the host could never tell its readings apart.
    if (!nameFitsField(stream) || !nameFitsField(shard)) {
        fail("id:%d KinesisEnv::FindIterator [%s]:[%s] name longer than %d characters", id,
             stream, shard, static_cast<int>(kLongestName));
        return nullptr;
    }
    iterators.push_back(std::make_unique<ShardIteratorData>(stream, shard));
    trace("id:%d KinesisEnv::FindIterator [%s]:[%s] new iterator", id, stream, shard);
    return iterators.back().get();
}

int32_t KinesisEnv::stopGetIterator(const char* stream, const char* shard) {
    ShardIteratorData* reading = FindIterator(stream, shard, false);
    if (reading == nullptr) {
        fail("id:%d KinesisEnv::stopGetIterator [%s]:[%s] no iterator available", id, stream, shard);
        return RXK_NO_ITERATOR;
    }
    trace("id:%d KinesisEnv::stopGetIterator [%s]:[%s] size:%d", id, stream, shard,
          reading->batchSize());
    const auto entry = findEntry(iterators, stream, shard);
    if (entry == iterators.end()) {
        fail("id:%d KinesisEnv::stopGetIterator [%s]:[%s] iterator not found", id, stream, shard);
        return RXK_NO_ITERATOR;
    }
    // erase keeps the order of the remaining readings and destroys this one.
    iterators.erase(entry);
    return RXK_OK;
}

}  // namespace rxk
