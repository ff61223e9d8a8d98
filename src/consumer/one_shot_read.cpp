// GetRecord: one record at a sequence number, with no reading state. Every call costs one
// GetShardIterator and one GetRecords; nothing of it outlives the call.
#include <aws/kinesis/model/GetRecordsRequest.h>
#include <aws/kinesis/model/GetShardIteratorRequest.h>
#include <aws/kinesis/model/ShardIteratorType.h>

#include "consumer/consumer.h"
#include "consumer/record_text.h"

namespace rxk {

// Outcomes are not tested: a failed GetShardIterator leaves an empty iterator text, the
// GetRecords sent with it brings no record, and the host gets -1 without a message.
int32_t Consumer::getRecord(const char* stream, const char* shard, const char* sequenceNumber,
                            char* data, int32_t* length) {
    Aws::Kinesis::Model::GetShardIteratorRequest iteratorRequest;
    iteratorRequest.SetStreamName(stream);
    iteratorRequest.SetShardId(shard);
    iteratorRequest.SetShardIteratorType(Aws::Kinesis::Model::ShardIteratorType::AT_SEQUENCE_NUMBER);
    iteratorRequest.SetStartingSequenceNumber(sequenceNumber);
    const auto iteratorOutcome = env_.service()->GetShardIterator(iteratorRequest);

    Aws::Kinesis::Model::GetRecordsRequest recordsRequest;
    recordsRequest.SetShardIterator(iteratorOutcome.GetResult().GetShardIterator());
    recordsRequest.SetLimit(1);
    const auto recordsOutcome = env_.service()->GetRecords(recordsRequest);

    // The first record of the answer counts as the one asked for.
    const auto& records = recordsOutcome.GetResult().GetRecords();
    if (records.empty()) return RXK_ERROR;
    copyAsText(records.front().GetData(), data, kUnmeasuredBuffer);
    *length = dataLength(records.front().GetData());
    return RXK_OK;
}

}  // namespace rxk
