// The one rule by which a record's bytes reach a host buffer: as text. The copy takes the bytes
// up to the first NUL, or all of them when there is none, always adds a NUL, and never reads past
// the record's length. A bounded buffer cuts the text to fit; an unbounded one trusts the host
// to have sized it (the exports take no size with their data buffers).
#pragma once

#include <cstddef>
#include <cstdint>

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include "frame/bounded_copy.h"

namespace rxk {

// Copies the data as text into `out`, which holds `capacity` bytes (at least 1).
void copyAsText(const Aws::Utils::ByteBuffer& data, char* out, std::size_t capacity);
void copyAsText(const Aws::String& text, char* out, std::size_t capacity);

// The record's length in bytes as the host sees it; data without storage counts as empty.
int32_t dataLength(const Aws::Utils::ByteBuffer& data);

}  // namespace rxk
