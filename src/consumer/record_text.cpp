#include "consumer/record_text.h"

#include <cstring>

namespace rxk {

std::size_t copyAsText(const void* bytes, std::size_t length, char* out, std::size_t capacity) {
    std::size_t textLength = 0;
    if (bytes != nullptr && length > 0) {
        const void* firstNul = std::memchr(bytes, '\0', length);
        textLength = firstNul != nullptr
                         ? static_cast<std::size_t>(static_cast<const char*>(firstNul) -
                                                    static_cast<const char*>(bytes))
                         : length;
    }
    if (textLength > capacity - 1) textLength = capacity - 1;
    if (textLength > 0) std::memcpy(out, bytes, textLength);
    out[textLength] = '\0';
    return textLength;
}

// An Array may report a length while holding no storage; such data counts as empty.
std::size_t copyAsText(const Aws::Utils::ByteBuffer& data, char* out, std::size_t capacity) {
    const unsigned char* bytes = data.GetUnderlyingData();
    return copyAsText(bytes, bytes != nullptr ? data.GetLength() : 0, out, capacity);
}

int32_t dataLength(const Aws::Utils::ByteBuffer& data) {
    return data.GetUnderlyingData() != nullptr ? static_cast<int32_t>(data.GetLength()) : 0;
}

std::size_t copyAsText(const Aws::String& text, char* out, std::size_t capacity) {
    return copyAsText(text.data(), text.size(), out, capacity);
}

}  // namespace rxk
