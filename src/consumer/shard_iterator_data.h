// ShardIteratorData: the reading state of one pair of stream name and shard id. It keeps the
// SDK's requests and outcomes by value so that a reading lasts from one export call to the next;
// the latest batch is read where the answer decoded it, never copied or moved out.
#pragma once

#include <cstddef>
#include <cstdint>

#include <aws/core/utils/memory/stl/AWSString.h>
#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/KinesisClient.h>
#include <aws/kinesis/KinesisServiceClientModel.h>
#include <aws/kinesis/model/GetRecordsRequest.h>
#include <aws/kinesis/model/GetShardIteratorRequest.h>
#include <aws/kinesis/model/Record.h>

#include "consumer/aggregated_record.h"
#include "rxkinesis.h"

namespace rxk {

// Both names live in fields of this size, NUL included.
constexpr std::size_t kNameFieldBytes = RXK_NAME_BYTES;
constexpr std::size_t kLongestName = kNameFieldBytes - 1;

// True when the name fits its field. Longer names are refused where a record would be made, so
// that a stored name is always the host's whole name and lookups compare like with like.
bool nameFitsField(const char* name);

struct ShardIteratorData {
    ShardIteratorData(const char* stream, const char* shard);

    Aws::Kinesis::Model::GetShardIteratorRequest iteratorRequest;
    Aws::Kinesis::Model::GetShardIteratorOutcome iteratorOutcome;
    Aws::Kinesis::Model::GetRecordsRequest recordsRequest;
    Aws::Kinesis::Model::GetRecordsOutcome recordsOutcome;  // the latest batch, and the next iterator
    Aws::String iteratorText;                               // sent with the latest GetRecords
    int32_t cursor = 0;                                // next record of `records` to hand out
    char shardId[kNameFieldBytes];
    char streamName[kNameFieldBytes];
    bool started = false;
    // The user records of the aggregated record at `cursor`, while ReadShardRecord expands it,
    // and the next one to hand out. Empty when the record at `cursor` is handed out whole.
    Aws::Vector<AggregatedUserRecord> expanded;
    std::size_t expandedNext = 0;
    int32_t expandedCursor = -1;  // the record `expanded` came from

    bool matches(const char* stream, const char* shard) const;
    const Aws::Vector<Aws::Kinesis::Model::Record>& records() const { return recordsOutcome.GetResult().GetRecords(); }
    int32_t batchSize() const { return static_cast<int32_t>(records().size()); }
    bool hasWaitingRecord() const { return cursor >= 0 && cursor < batchSize(); }
    // The latest answer came and named no next iterator: the shard is closed and read to its end.
    bool reachedShardEnd() const {
        return recordsOutcome.IsSuccess() && recordsOutcome.GetResult().GetNextShardIterator().empty();
    }

    // Sends recordsRequest with `iteratorText`; the answer's records are the batch.
    void fetchWithIteratorText(const Aws::Kinesis::KinesisClient& client);
    // The fetch step of a running reading: moves on from the latest answer's next iterator.
    // The cursor goes to 0 only when the new batch has records.
    void fetchNextBatch(const Aws::Kinesis::KinesisClient& client);
};

}  // namespace rxk
