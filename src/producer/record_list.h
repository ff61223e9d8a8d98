// PutRecordsData: one record list of a client, gathered by AddRecordToList, sent by PutRecords
// and read back by GetLastResultPutRecords. A list id is the list's position in
// KinesisEnv::recordLists; a null pointer there is a free slot.
#pragma once

#include <cstdint>

#include <aws/core/utils/memory/stl/AWSVector.h>
#include <aws/kinesis/model/PutRecordsRequestEntry.h>
#include <aws/kinesis/model/PutRecordsResultEntry.h>

#include "env/kinesis_env.h"
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

// True when listId names a position of recordLists (the slot may still be free).
inline bool isListPosition(const KinesisEnv& env, int32_t listId) {
    return listId >= 0 && static_cast<uint64_t>(listId) < env.recordLists.size();
}

// Stands for the text of an exception that has no object to ask (a catch (...) clause).
constexpr char kUnknownExceptionText[] = "unknow";

// Texts printed in place of an argument that was not given.
inline const char* givenOrNull(const char* text) { return text != nullptr ? text : "NULL"; }

}  // namespace rxk
