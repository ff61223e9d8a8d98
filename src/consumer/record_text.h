// The one rule by which a record's bytes reach a host buffer: as text. The copy takes the bytes
// up to the first NUL, or all of them when there is none, always adds a NUL, and never reads past
// the record's length. A bounded buffer cuts the text to fit; an unbounded one trusts the host
// to have sized it (the exports take no size with their data buffers).
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>

namespace rxk {

// Capacity for a host buffer that comes without a size.
constexpr std::size_t kUnmeasuredBuffer = std::numeric_limits<std::size_t>::max();

// Copies `length` bytes at `bytes` (may be null when length is 0) as text into `out`, which holds
// `capacity` bytes (at least 1). Returns the number of text bytes written before the NUL.
std::size_t copyAsText(const void* bytes, std::size_t length, char* out, std::size_t capacity);

std::size_t copyAsText(const Aws::Utils::ByteBuffer& data, char* out, std::size_t capacity);
std::size_t copyAsText(const Aws::String& text, char* out, std::size_t capacity);

// The record's length in bytes as the host sees it; data without storage counts as empty.
int32_t dataLength(const Aws::Utils::ByteBuffer& data);

}  // namespace rxk
