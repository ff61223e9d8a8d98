#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Kinesis {
namespace Model {

// Life-cycle state of a stream.
enum class StreamStatus { NOT_SET, CREATING, DELETING, ACTIVE, UPDATING };

namespace StreamStatusMapper {
// The enumerator for a wire name; unknown names give NOT_SET.
StreamStatus GetStreamStatusForName(const Aws::String& name);
// The wire name of a value; NOT_SET gives an empty text.
Aws::String GetNameForStreamStatus(StreamStatus value);
}  // namespace StreamStatusMapper

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
