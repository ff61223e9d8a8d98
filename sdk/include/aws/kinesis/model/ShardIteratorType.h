#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Kinesis {
namespace Model {

// Where a shard iterator starts reading.
enum class ShardIteratorType { NOT_SET, AT_SEQUENCE_NUMBER, AFTER_SEQUENCE_NUMBER, TRIM_HORIZON, LATEST, AT_TIMESTAMP };

namespace ShardIteratorTypeMapper {
// The enumerator for a wire name; unknown names give NOT_SET.
ShardIteratorType GetShardIteratorTypeForName(const Aws::String& name);
// The wire name of a value; NOT_SET gives an empty text.
Aws::String GetNameForShardIteratorType(ShardIteratorType value);
}  // namespace ShardIteratorTypeMapper

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
