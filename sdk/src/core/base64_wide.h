#pragma once

// Base64 32 characters at a time with AVX2, for the bulk of a record's payload; the scalar code
// in encoding.cpp does the rest, and all of it where the processor has no AVX2.

#include <cstddef>

namespace Aws {
namespace Internal {

// True when the processor runs the functions below (checked once).
bool WideBase64Available();

// Decodes whole 32-character blocks of `text` (no '=' among them) into 24 bytes each, as many as
// fit in `length`. Returns the characters consumed, a multiple of 32, or `length + 1` when a
// block holds a character outside the alphabet.
size_t DecodeBase64Blocks(const unsigned char* text, size_t length, unsigned char* out);

// Encodes whole 24-byte groups of `data` into 32 characters each, while 28 bytes can be read
// (the loads run 4 bytes past a group). Returns the bytes consumed, a multiple of 24.
size_t EncodeBase64Blocks(const unsigned char* data, size_t length, char* out);

}  // namespace Internal
}  // namespace Aws
