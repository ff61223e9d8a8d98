// GetLastResultPutRecords: the outcome of one record of a list's latest send, by position in the
// first request. A pure read: the list stays as it is, and a repeated call answers the same.
#include <cstring>

#include "producer/host_text.h"
#include "producer/producer.h"

namespace rxk {
namespace {

constexpr char kListNotFound[] = "id:%d KinesisEnv::getLastResult list [%d] not found";
constexpr char kIndexOutside[] = "id:%d KinesisEnv::getLastResult error listId:%d index:%d EntryListSize:%d";

}  // namespace

int32_t Producer::getLastResult(int32_t listId, int32_t index, char* streamName, char* shardId,
                                char* sequenceNumber, unsigned char* success, char* partitionKey,
                                char* explicitHashKey, char* error, uint32_t* dataLength) {
    // A free slot has no list to read: it is answered like an unknown list id.
    const PutRecordsData* list = isListPosition(recordLists_, listId) ? recordLists_[listId].get() : nullptr;
    if (list == nullptr) {
        env_.fail(kListNotFound, env_.id(), listId);
        return RXK_ERROR;
    }
    if (index < 0 || static_cast<uint64_t>(index) >= list->results.size()) {
        env_.fail(kIndexOutside, env_.id(), listId, index, static_cast<int32_t>(list->results.size()));
        return RXK_ERROR;
    }
    const auto& outcome = list->results[index];
    const bool failedRecord = !outcome.GetErrorCode().empty();

    // `entries` holds the records of the latest request, which after retries, a clear or more
    // appends are no longer those of the first request: the record-side outputs then speak of
    // whatever record is at `index`, and where there is none they read empty and 0.
    const bool recordAtIndex = static_cast<uint64_t>(index) < list->entries.size();
    static const Aws::Kinesis::Model::PutRecordsRequestEntry kNoRecord;
    const auto& record = recordAtIndex ? list->entries[index] : kNoRecord;

    copyHostText(streamName, list->streamName, strnlen(list->streamName, sizeof list->streamName - 1));
    copyHostText(shardId, outcome.GetShardId());
    copyHostText(sequenceNumber, outcome.GetSequenceNumber());
    copyHostText(partitionKey, record.GetPartitionKey());
    copyHostText(explicitHashKey, record.GetExplicitHashKey());
    if (success != nullptr) *success = failedRecord ? 0 : 1;
    if (error != nullptr) copyHostText(error, failedRecord ? outcome.GetErrorMessage() : Aws::String());
    if (dataLength != nullptr) *dataLength = static_cast<uint32_t>(record.GetData().GetLength());
    return RXK_OK;
}

}  // namespace rxk
