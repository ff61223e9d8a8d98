#include "frame/bounded_copy.h"

#include <cstring>

namespace rxk {
namespace {

constexpr char kCutMark[] = " [...]";
constexpr std::size_t kCutMarkLength = sizeof(kCutMark) - 1;
// Bytes that a marked cut gives up at the end of the buffer: the mark, its NUL and 3 unused bytes.
constexpr std::size_t kCutMarkReserve = 10;

}  // namespace

std::size_t copyBounded(const char* text, std::size_t length, char* buffer, std::size_t capacity,
                        CopyStyle style) noexcept {
    if (buffer == nullptr || capacity == 0) return 0;
    const std::size_t room = capacity - 1;
    if (length > room && style == CopyStyle::CutMarked && capacity >= kCutMarkReserve) {
        const std::size_t prefix = capacity - kCutMarkReserve;
        std::memcpy(buffer, text, prefix);
        std::memcpy(buffer + prefix, kCutMark, kCutMarkLength + 1);
        return prefix + kCutMarkLength;
    }
    const std::size_t span = length < room ? length : room;
    std::size_t textLength = span;
    if (style == CopyStyle::StopAtNul && span > 0) {
        const void* firstNul = std::memchr(text, '\0', span);
        if (firstNul != nullptr) textLength = static_cast<std::size_t>(static_cast<const char*>(firstNul) - text);
    }
    if (textLength > 0) std::memcpy(buffer, text, textLength);
    std::memset(buffer + textLength, '\0', span - textLength + 1);
    return span;
}

}  // namespace rxk
