// Sizes that bound what the tool reads and what it lets the library write.
#pragma once

#include <cstddef>

namespace rxkcat {

// The largest record the service accepts is 10 MiB; buffers for the library's record copies
// take that plus the NUL it always appends, and input records may not grow beyond it.
constexpr size_t kMaxRecordBytes = 10u * 1024 * 1024;

// The service's record limit unless a stream was raised (--max-record-bytes, up to the above).
constexpr size_t kDefaultRecordLimitBytes = 1024 * 1024;

// Sequence numbers are at most 128 digits; the library fills this buffer without a length.
constexpr size_t kSequenceNumberBytes = 1024;

}  // namespace rxkcat
