// Records made by the Kinesis Producer Library's aggregation: one service record that holds
// many user records, each with its own partition key. The format is a magic number, a protobuf
// message and the MD5 of that message.
#pragma once

#include <cstdint>
#include <string>

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSVector.h>

namespace rxk {

struct AggregatedUserRecord {
    std::string partitionKey;
    std::string data;
};

// The user records of `data` in their order, or false (and `out` empty) when `data` is not an
// intact aggregated record: no magic, a message that doesn't decode, an MD5 that doesn't match,
// or a key index out of the key table.
bool expandAggregatedRecord(const Aws::Utils::ByteBuffer& data, Aws::Vector<AggregatedUserRecord>* out);

}  // namespace rxk
