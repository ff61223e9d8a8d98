#pragma once

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <cstdint>

namespace Aws {
namespace Internal {

// Compact JSON written straight into a caller's buffer, in one pass. Keys and string values
// are escaped so that no input can change the shape of the document.
class JsonWriter {
 public:
  explicit JsonWriter(Aws::String& out) : m_out(out) {}

  void BeginObject();
  void EndObject();
  void BeginArray();
  void EndArray();
  // Starts a member; the value call that follows completes it. A name of ours (a plain
  // identifier) goes out as it is, without the escaping scan that a name from a caller gets.
  void Key(const char* name);
  void Key(const Aws::String& name);

  void String(const Aws::String& value);
  void Integer(int64_t value);
  void Boolean(bool value);
  // Shortest of 15 or 17 significant digits that reads back as the same double.
  void Number(double value);
  // Base64 of the bytes, encoded directly into the output.
  void Blob(const Aws::Utils::ByteBuffer& value);

 private:
  void BeforeValue();

  static constexpr int kMaxDepth = 16;
  Aws::String& m_out;
  int m_depth = 0;
  bool m_needsComma[kMaxDepth] = {};
  bool m_afterKey = false;
};

}  // namespace Internal
}  // namespace Aws
