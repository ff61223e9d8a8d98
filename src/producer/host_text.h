// The read-backs' outputs: the header promises that RXK_ERROR_TEXT_BYTES holds any value, so a
// longer text (a service message, a host's overlong key) is cut to fit rather than written past
// the host's buffer. A null output is skipped.
#pragma once

#include <cstddef>

#include <aws/core/utils/memory/stl/AWSString.h>

#include "frame/bounded_copy.h"
#include "rxkinesis.h"

namespace rxk {

inline void copyHostText(char* output, const char* text, std::size_t length) {
    copyBounded(text, length, output, RXK_ERROR_TEXT_BYTES, CopyStyle::Cut);
}

inline void copyHostText(char* output, const Aws::String& text) { copyHostText(output, text.data(), text.size()); }

}  // namespace rxk
