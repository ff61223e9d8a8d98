#include "kinesis/json_writer.h"

#include "core/encoding.h"

#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace Aws {
namespace Internal {

namespace {

// Escapes '"', '\' and control characters. Like the SDK's C-string based writer, a NUL
// byte ends the text.
void AppendEscaped(Aws::String& out, const char* text, size_t length) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  size_t runStart = 0;
  for (size_t i = 0; i < length; ++i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(text + runStart, i - runStart);
    runStart = i + 1;
    if (c == 0) {
      runStart = length;
      break;
    }
    switch (c) {
      case '"': out.append("\\\""); break;
      case '\\': out.append("\\\\"); break;
      case '\b': out.append("\\b"); break;
      case '\f': out.append("\\f"); break;
      case '\n': out.append("\\n"); break;
      case '\r': out.append("\\r"); break;
      case '\t': out.append("\\t"); break;
      default: {
        const char escape[] = {'\\', 'u', '0', '0', kHex[c >> 4], kHex[c & 0x0f]};
        out.append(escape, sizeof escape);
      }
    }
  }
  if (runStart < length) out.append(text + runStart, length - runStart);
  out.push_back('"');
}

}  // namespace

void JsonWriter::BeforeValue() {
  if (m_afterKey) {
    m_afterKey = false;
    return;
  }
  if (m_depth > 0) {
    if (m_needsComma[m_depth - 1]) m_out.push_back(',');
    m_needsComma[m_depth - 1] = true;
  }
}

void JsonWriter::BeginObject() {
  BeforeValue();
  m_out.push_back('{');
  assert(m_depth < kMaxDepth);
  m_needsComma[m_depth++] = false;
}

void JsonWriter::EndObject() {
  --m_depth;
  m_out.push_back('}');
}

void JsonWriter::BeginArray() {
  BeforeValue();
  m_out.push_back('[');
  assert(m_depth < kMaxDepth);
  m_needsComma[m_depth++] = false;
}

void JsonWriter::EndArray() {
  --m_depth;
  m_out.push_back(']');
}

void JsonWriter::Key(const char* name) {
  BeforeValue();
  m_out.push_back('"');
  m_out.append(name);
  m_out.append("\":", 2);
  m_afterKey = true;
}

void JsonWriter::Key(const Aws::String& name) {
  BeforeValue();
  AppendEscaped(m_out, name.data(), name.size());
  m_out.push_back(':');
  m_afterKey = true;
}

void JsonWriter::String(const Aws::String& value) {
  BeforeValue();
  AppendEscaped(m_out, value.data(), value.size());
}

void JsonWriter::Integer(int64_t value) {
  BeforeValue();
  char digits[24];
  const int length = std::snprintf(digits, sizeof digits, "%lld", static_cast<long long>(value));
  m_out.append(digits, static_cast<size_t>(length));
}

void JsonWriter::Boolean(bool value) {
  BeforeValue();
  m_out.append(value ? "true" : "false");
}

void JsonWriter::Number(double value) {
  BeforeValue();
  if (!std::isfinite(value)) {
    // JSON has no spelling for these; the service rejects null as a bad type.
    m_out.append("null");
    return;
  }
  char digits[32];
  int length = std::snprintf(digits, sizeof digits, "%.15g", value);
  if (std::strtod(digits, nullptr) != value) length = std::snprintf(digits, sizeof digits, "%.17g", value);
  m_out.append(digits, static_cast<size_t>(length));
}

void JsonWriter::Blob(const Aws::Utils::ByteBuffer& value) {
  BeforeValue();
  m_out.push_back('"');
  if (value.GetUnderlyingData() != nullptr) {
    AppendBase64(m_out, value.GetUnderlyingData(), std::min(value.GetLength(), value.GetSize()));
  }
  m_out.push_back('"');
}

}  // namespace Internal
}  // namespace Aws
