#pragma once

#include <aws/core/utils/memory/stl/AWSString.h>

namespace Aws {
namespace Kinesis {
namespace Model {

// Server-side encryption of records.
enum class EncryptionType { NOT_SET, NONE, KMS };

namespace EncryptionTypeMapper {
// The enumerator for a wire name; unknown names give NOT_SET.
EncryptionType GetEncryptionTypeForName(const Aws::String& name);
// The wire name of a value; NOT_SET gives an empty text.
Aws::String GetNameForEncryptionType(EncryptionType value);
}  // namespace EncryptionTypeMapper

}  // namespace Model
}  // namespace Kinesis
}  // namespace Aws
