#include "consumer/record_text.h"

#include <cstring>

namespace rxk {
namespace {

// The bytes before the first NUL, or all of them.
std::size_t textLength(const char* bytes, std::size_t length) {
    if (bytes == nullptr || length == 0) return 0;
    const void* firstNul = std::memchr(bytes, '\0', length);
    return firstNul != nullptr ? static_cast<std::size_t>(static_cast<const char*>(firstNul) - bytes) : length;
}

void copyTextOf(const char* bytes, std::size_t length, char* out, std::size_t capacity) {
    copyBounded(bytes, textLength(bytes, length), out, capacity, CopyStyle::Cut);
}

}  // namespace

// An Array may report a length while holding no storage; such data counts as empty.
void copyAsText(const Aws::Utils::ByteBuffer& data, char* out, std::size_t capacity) {
    const auto* bytes = reinterpret_cast<const char*>(data.GetUnderlyingData());
    copyTextOf(bytes, bytes != nullptr ? data.GetLength() : 0, out, capacity);
}

void copyAsText(const Aws::String& text, char* out, std::size_t capacity) {
    copyTextOf(text.data(), text.size(), out, capacity);
}

int32_t dataLength(const Aws::Utils::ByteBuffer& data) {
    return data.GetUnderlyingData() != nullptr ? static_cast<int32_t>(data.GetLength()) : 0;
}

}  // namespace rxk
