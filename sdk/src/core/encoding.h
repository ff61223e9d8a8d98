#pragma once

// Byte-level helpers shared by the signer, the serializer and the parser: hashing, hex,
// base64 and random identifiers, all on OpenSSL.

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <array>
#include <cstddef>

namespace Aws {
namespace Internal {

using Sha256Digest = std::array<unsigned char, 32>;

Sha256Digest Sha256(const void* data, size_t length);
Sha256Digest HmacSha256(const void* key, size_t keyLength, const void* data, size_t length);

// Overwrites secret material with zeros in a way the compiler cannot drop as a dead store.
void Wipe(void* data, size_t length);
inline void Wipe(Aws::String& text) {
  if (!text.empty()) Wipe(&text[0], text.size());
}
template <size_t N>
void Wipe(std::array<unsigned char, N>& bytes) {
  Wipe(bytes.data(), bytes.size());
}

// Lowercase hex of a byte range.
Aws::String HexEncode(const unsigned char* data, size_t length);

constexpr size_t Base64EncodedLength(size_t rawLength) { return (rawLength + 2) / 3 * 4; }

// Appends the base64 text of the bytes (standard alphabet, padded, no line breaks).
void AppendBase64(Aws::String& out, const unsigned char* data, size_t length);

// Decodes standard padded base64. Returns false (leaving `out` empty) for text that is not
// valid base64: wrong length, foreign characters, misplaced padding.
bool DecodeBase64(const char* text, size_t length, Aws::Utils::ByteBuffer& out);

// A random version-4 UUID in uppercase hex, 8-4-4-4-12.
Aws::String RandomUuid();

}  // namespace Internal
}  // namespace Aws
