#pragma once

// Byte-level helpers shared by the signer, the serializer and the parser: hashing, hex,
// base64 and random identifiers, all on OpenSSL.

#include <aws/core/utils/Array.h>
#include <aws/core/utils/memory/stl/AWSString.h>

#include <openssl/types.h>

#include <array>
#include <cstddef>
#include <memory>

namespace Aws {
namespace Internal {

using Sha256Digest = std::array<unsigned char, 32>;
constexpr size_t kSha256BlockBytes = 64;
using Sha256Block = std::array<unsigned char, kSha256BlockBytes>;

Sha256Digest Sha256(const void* data, size_t length);
Sha256Digest HmacSha256(const void* key, size_t keyLength, const void* data, size_t length);

// Frees a digest state; OpenSSL wipes it on the way.
struct DigestStateDeleter {
  void operator()(EVP_MD_CTX* state) const;
};
using DigestState = std::unique_ptr<EVP_MD_CTX, DigestStateDeleter>;

// One SHA-256 context for several digests in a row: a call that hashes and MACs allocates it
// once. Not for sharing between threads.
class Sha256Context {
 public:
  Sha256Context();

  Sha256Digest Digest(const void* data, size_t length);
  // The digest of `first` followed by `second` (which may be empty).
  Sha256Digest DigestOfParts(const void* first, size_t firstLength, const void* second, size_t secondLength);
  // Continues a copy of `start` over the bytes and finishes it; false only when OpenSSL failed.
  bool DigestFrom(const EVP_MD_CTX& start, const void* data, size_t length, Sha256Digest& digest);

 private:
  DigestState m_state;
};

// HMAC-SHA-256 with one key for many messages: the key's two padded blocks are hashed once
// here, so each message costs the hashing of its own bytes only. Never changes after
// construction, so threads may share one.
class HmacSha256Key {
 public:
  HmacSha256Key(const void* key, size_t keyLength);
  ~HmacSha256Key();
  HmacSha256Key(const HmacSha256Key&) = delete;
  HmacSha256Key& operator=(const HmacSha256Key&) = delete;

  // Equals HmacSha256(key, keyLength, data, length).
  Sha256Digest Mac(const void* data, size_t length, Sha256Context& scratch) const;

 private:
  Sha256Block m_block;  // the key as one zero-padded block; read only when a prepared state is missing
  DigestState m_inner;  // SHA-256 after (key ^ ipad)
  DigestState m_outer;  // SHA-256 after (key ^ opad)
};

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
void AppendHex(Aws::String& out, const unsigned char* data, size_t length);

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
