// ReadShardRecord: a reading's records as counted bytes with what the service says about them
// (sequence number, partition key, arrival time), the end of a closed shard told apart from an
// empty batch, and aggregated records expanded into their user records when the host asks.
#include <algorithm>
#include <cstring>

#include "consumer/consumer.h"
#include "consumer/record_text.h"
#include "frame/bounded_copy.h"

namespace rxk {

namespace {

// One record as the host receives it: whole, or one user record of an aggregated one.
struct HandedOutRecord {
    const char* bytes;
    std::size_t size;
    const Aws::String& partitionKey;
    int64_t subSequenceNumber;  // -1 for a whole record
};

void fillInfo(ShardRecordInfo* info, const Aws::Kinesis::Model::Record& record, const HandedOutRecord& out) {
    if (info == nullptr) return;
    copyAsText(record.GetSequenceNumber(), info->sequenceNumber, sizeof info->sequenceNumber);
    copyBounded(out.partitionKey.data(), out.partitionKey.size(), info->partitionKey,
                sizeof info->partitionKey, CopyStyle::Cut);
    info->arrivalMillis = record.GetApproximateArrivalTimestamp().Millis();
    info->subSequenceNumber = out.subSequenceNumber;
}

}  // namespace

// Expands the record at the cursor once, on first sight; a record that isn't aggregated (or
// isn't intact) leaves `expanded` empty and goes out whole. GetRecordFromIterator moves the
// cursor without looking at `expanded`, hence the cursor it belongs to.
void Consumer::expandAtCursor(ShardIteratorData& reading) {
    if (!reading.expanded.empty() && reading.expandedCursor == reading.cursor) return;
    reading.expandedNext = 0;
    reading.expandedCursor = reading.cursor;
    expandAggregatedRecord(reading.records()[reading.cursor].GetData(), &reading.expanded);
}

int32_t Consumer::readShardRecord(const char* stream, const char* shard, void* data, int32_t capacity,
                                  int32_t* length, ShardRecordInfo* info, int32_t flags) {
    *length = 0;
    ShardIteratorData* reading = FindIterator(stream, shard, false);
    if (reading == nullptr) {
        env_.fail("id:%d KinesisEnv::readShardRecord [%s]:[%s] no iterator available", env_.id(), stream, shard);
        return RXK_NO_ITERATOR;
    }
    if (!reading->hasWaitingRecord()) {
        if (reading->reachedShardEnd()) return RXK_SHARD_ENDED;
        reading->fetchNextBatch(*env_.service());
        env_.trace("id:%d KinesisEnv::readShardRecord [%s]:[%s] size:%d", env_.id(), stream, shard,
                   reading->batchSize());
        if (!reading->hasWaitingRecord()) {
            return reading->reachedShardEnd() ? RXK_SHARD_ENDED : RXK_NO_RECORD;
        }
    }
    const Aws::Kinesis::Model::Record& record = reading->records()[reading->cursor];
    if ((flags & RXK_READ_EXPAND_AGGREGATED) != 0)
        expandAtCursor(*reading);
    else
        reading->expanded.clear();
    const bool whole = reading->expanded.empty();
    const AggregatedUserRecord* user = whole ? nullptr : &reading->expanded[reading->expandedNext];
    const HandedOutRecord out =
        whole ? HandedOutRecord{reinterpret_cast<const char*>(record.GetData().GetUnderlyingData()),
                                record.GetData().GetLength(), record.GetPartitionKey(), -1}
              : HandedOutRecord{user->data.data(), user->data.size(), user->partitionKey,
                                static_cast<int64_t>(reading->expandedNext)};

    *length = static_cast<int32_t>(out.size);
    if (out.size > static_cast<std::size_t>(capacity)) return RXK_NEEDS_ROOM;
    if (out.size > 0) std::memcpy(data, out.bytes, out.size);
    fillInfo(info, record, out);
    if (!whole && ++reading->expandedNext < reading->expanded.size()) return RXK_OK;
    reading->expanded.clear();
    ++reading->cursor;
    return RXK_OK;
}

}  // namespace rxk
