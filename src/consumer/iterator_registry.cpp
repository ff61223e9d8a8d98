// The registry of readings: one ShardIteratorData per pair of stream name and shard id, found
// again by the two names (byte for byte, case-sensitive) on every later call.
#include <algorithm>
#include <memory>

#include "consumer/consumer.h"
#include "consumer/shard_iterator_data.h"

namespace rxk {

Consumer::Readings::iterator Consumer::lookUp(const char* stream, const char* shard, bool create) {
    const auto found = std::find_if(iterators_.begin(), iterators_.end(),
                                    [&](const std::unique_ptr<ShardIteratorData>& entry) {
                                        return entry->matches(stream, shard);
                                    });
    if (found != iterators_.end()) {
        env_.trace("id:%d KinesisEnv::FindIterator [%s]:[%s] iterator found size:%d", env_.id(), stream, shard,
                   (*found)->batchSize());
    } else if (!create) {
        env_.fail("id:%d KinesisEnv::FindIterator [%s]:[%s] iterator not found", env_.id(), stream, shard);
    }
    return found;
}

ShardIteratorData* Consumer::FindIterator(const char* stream, const char* shard, bool create) {
    const auto found = lookUp(stream, shard, create);
    if (found != iterators_.end()) return found->get();
    if (!create) return nullptr;
    // A stored name is always the whole name: a cut one would answer for every longer name that
    // shares its first bytes, and the host could never tell its readings apart.
    if (!nameFitsField(stream) || !nameFitsField(shard)) {
        env_.fail("id:%d KinesisEnv::FindIterator [%s]:[%s] name longer than %d characters", env_.id(), stream,
                  shard, static_cast<int>(kLongestName));
        return nullptr;
    }
    iterators_.push_back(std::make_unique<ShardIteratorData>(stream, shard));
    env_.trace("id:%d KinesisEnv::FindIterator [%s]:[%s] new iterator", env_.id(), stream, shard);
    return iterators_.back().get();
}

int32_t Consumer::stopGetIterator(const char* stream, const char* shard) {
    const auto entry = lookUp(stream, shard, false);
    if (entry == iterators_.end()) {
        env_.fail("id:%d KinesisEnv::stopGetIterator [%s]:[%s] no iterator available", env_.id(), stream, shard);
        return RXK_NO_ITERATOR;
    }
    env_.trace("id:%d KinesisEnv::stopGetIterator [%s]:[%s] size:%d", env_.id(), stream, shard,
               (*entry)->batchSize());
    // erase keeps the order of the remaining readings and destroys this one.
    iterators_.erase(entry);
    return RXK_OK;
}

}  // namespace rxk
