#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Kinesis {
namespace Model {

// Capacity mode of a stream.
enum class StreamMode { NOT_SET, PROVISIONED, ON_DEMAND };

namespace StreamModeMapper {
// The enumerator for a wire name; unknown names give NOT_SET.
StreamMode GetStreamModeForName(const Aws::String& name);
// The wire name of a value; NOT_SET gives an empty text.
Aws::String GetNameForStreamMode(StreamMode value);
}  // namespace StreamModeMapper

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
