// PutRecordsData: one record list of a client, gathered by AddRecordToList, sent by PutRecords
// and read back by GetLastResultPutRecords. A list id is the list's position in the producer's
// RecordLists; a null pointer there is a free slot.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/PutRecordsRequestEntry.h>
#include <aws/kinesis/model/PutRecordsResultEntry.h>

#include "rxkinesis.h"

namespace rxk {

struct PutRecordsData {
    // Stream of the latest send, always NUL-terminated (PutRecords refuses longer names).
    char streamName[RXK_NAME_BYTES] = {};
    // Bytes gathered by the appends: data plus partition key of each record.
    uint32_t totalSize = 0;
    // The records to send, in the order of appending; after retries, those of the last request.
    Aws::Vector<Aws::Kinesis::Model::PutRecordsRequestEntry> entries;
    // One outcome per record of the first request of the latest send, in its order.
    Aws::Vector<Aws::Kinesis::Model::PutRecordsResultEntry> results;
};

using RecordLists = std::vector<std::unique_ptr<PutRecordsData>>;

// True when listId names a position of `lists` (the slot may still be free).
inline bool isListPosition(const RecordLists& lists, int32_t listId) {
    return listId >= 0 && static_cast<uint64_t>(listId) < lists.size();
}

}  // namespace rxk
