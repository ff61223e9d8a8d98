#include <aws/kinesis/model/EncryptionType.h>
#include <aws/kinesis/model/ShardIteratorType.h>
#include <aws/kinesis/model/StreamMode.h>
#include <aws/kinesis/model/StreamStatus.h>

#include <cstddef>

namespace Aws {
namespace Kinesis {
namespace Model {

namespace {

// Wire names indexed by enumerator value; index 0 is NOT_SET and has no name.
template <typename Enum, size_t N>
Enum EnumForName(const char* const (&names)[N], const Aws::String& name) {
  for (size_t i = 1; i < N; ++i) {
    if (name == names[i]) return static_cast<Enum>(i);
  }
  return static_cast<Enum>(0);
}

template <typename Enum, size_t N>
Aws::String NameForEnum(const char* const (&names)[N], Enum value) {
  const size_t index = static_cast<size_t>(value);
  return index < N ? Aws::String(names[index]) : Aws::String();
}

constexpr const char* kShardIteratorTypeNames[] = {"", "AT_SEQUENCE_NUMBER", "AFTER_SEQUENCE_NUMBER",
                                                   "TRIM_HORIZON", "LATEST", "AT_TIMESTAMP"};
constexpr const char* kEncryptionTypeNames[] = {"", "NONE", "KMS"};
constexpr const char* kStreamStatusNames[] = {"", "CREATING", "DELETING", "ACTIVE", "UPDATING"};
constexpr const char* kStreamModeNames[] = {"", "PROVISIONED", "ON_DEMAND"};

}  // namespace

namespace ShardIteratorTypeMapper {
ShardIteratorType GetShardIteratorTypeForName(const Aws::String& name) {
  return EnumForName<ShardIteratorType>(kShardIteratorTypeNames, name);
}
Aws::String GetNameForShardIteratorType(ShardIteratorType value) { return NameForEnum(kShardIteratorTypeNames, value); }
}  // namespace ShardIteratorTypeMapper

namespace EncryptionTypeMapper {
EncryptionType GetEncryptionTypeForName(const Aws::String& name) {
  return EnumForName<EncryptionType>(kEncryptionTypeNames, name);
}
Aws::String GetNameForEncryptionType(EncryptionType value) { return NameForEnum(kEncryptionTypeNames, value); }
}  // namespace EncryptionTypeMapper

namespace StreamStatusMapper {
StreamStatus GetStreamStatusForName(const Aws::String& name) {
  return EnumForName<StreamStatus>(kStreamStatusNames, name);
}
Aws::String GetNameForStreamStatus(StreamStatus value) { return NameForEnum(kStreamStatusNames, value); }
}  // namespace StreamStatusMapper

namespace StreamModeMapper {
StreamMode GetStreamModeForName(const Aws::String& name) { return EnumForName<StreamMode>(kStreamModeNames, name); }
Aws::String GetNameForStreamMode(StreamMode value) { return NameForEnum(kStreamModeNames, value); }
}  // namespace StreamModeMapper

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
