// One record read through ReadShardRecord: its exact bytes in a buffer that grows to the
// largest record seen, and the details the library hands out with it.
#pragma once

#include "record_format.h"
#include "session.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rxkcat {

struct ShardRecord {
    std::vector<char> data = std::vector<char>(64 * 1024);
    int32_t length = 0;
    ShardRecordInfo info{};

    // The next record of a started reading: RXK_OK, RXK_NO_RECORD, RXK_SHARD_ENDED, or the
    // library's failure. A record larger than the buffer grows it and is read again.
    int32_t readNext(Session& session, const std::string& stream, const std::string& shard, int32_t flags);
    RecordView view(const std::string& stream, const std::string& shard) const {
        return {stream, shard, info.sequenceNumber, info.partitionKey, data.data(), length,
                info.arrivalMillis, info.subSequenceNumber};
    }
};

// --raw keeps aggregated records whole; otherwise their user records come out one by one.
int32_t readFlags(bool raw);

}  // namespace rxkcat
