#include "consumer/shard_iterator_data.h"

#include <cstring>

#include "frame/bounded_copy.h"

namespace rxk {

namespace {

void copyName(char (&field)[kNameFieldBytes], const char* name) {
    copyBounded(name, strnlen(name, kLongestName), field, kNameFieldBytes, CopyStyle::Cut);
}

}  // namespace

bool nameFitsField(const char* name) { return strnlen(name, kNameFieldBytes) < kNameFieldBytes; }

ShardIteratorData::ShardIteratorData(const char* stream, const char* shard) {
    copyName(shardId, shard);
    copyName(streamName, stream);
}

bool ShardIteratorData::matches(const char* stream, const char* shard) const {
    return std::strcmp(stream, streamName) == 0 && std::strcmp(shard, shardId) == 0;
}

void ShardIteratorData::fetchWithIteratorText(const Aws::Kinesis::KinesisClient& client) {
    recordsRequest.SetShardIterator(iteratorText);
    expanded.clear();
    // The previous batch is dropped before the next one is decoded, so that the decoding reuses
    // its memory while it is still in cache, and a reading never holds two batches at once.
    recordsOutcome = Aws::Kinesis::Model::GetRecordsOutcome();
    recordsOutcome = client.GetRecords(recordsRequest);
}

void ShardIteratorData::fetchNextBatch(const Aws::Kinesis::KinesisClient& client) {
    iteratorText = recordsOutcome.GetResult().GetNextShardIterator();
    fetchWithIteratorText(client);
    if (!records().empty()) cursor = 0;
}

}  // namespace rxk
