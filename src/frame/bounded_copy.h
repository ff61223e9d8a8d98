// The one way a text reaches a host buffer: never past the buffer's capacity, always with a NUL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace rxk {

// Capacity for a host buffer that comes without a size: the host has sized it for what it asked.
constexpr std::size_t kUnmeasuredBuffer = std::numeric_limits<std::size_t>::max();

// What becomes of a text that doesn't fit, and of a NUL inside the copied span.
enum class CopyStyle {
    Cut,        // the text loses its end
    CutMarked,  // in a buffer of 10 bytes or more the end is replaced by " [...]"
    StopAtNul,  // string-copy: the first NUL ends the text and the rest of the span is NUL
};

// Writes the first `length` bytes of `text` (whole when they fit with a NUL, else as `style`
// cuts them) and a NUL into `buffer`, which holds `capacity` bytes. Writes nothing when
// `buffer` is null or `capacity` is 0. Returns the size of the span written before its NUL.
std::size_t copyBounded(const char* text, std::size_t length, char* buffer, std::size_t capacity,
                        CopyStyle style) noexcept;

// The capacity of a host buffer whose length the host gave as a signed count: none when <= 0.
inline std::size_t capacityOf(int32_t bufferLength) noexcept {
    return bufferLength > 0 ? static_cast<std::size_t>(bufferLength) : 0;
}

}  // namespace rxk
