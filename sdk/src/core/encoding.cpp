#include "core/encoding.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdio>
#include <random>

namespace Aws {
namespace Internal {

Sha256Digest Sha256(const void* data, size_t length) {
  Sha256Digest digest;
  SHA256(static_cast<const unsigned char*>(data), length, digest.data());
  return digest;
}

Sha256Digest HmacSha256(const void* key, size_t keyLength, const void* data, size_t length) {
  Sha256Digest digest;
  unsigned int digestLength = 0;
  HMAC(EVP_sha256(), key, static_cast<int>(keyLength), static_cast<const unsigned char*>(data), length,
       digest.data(), &digestLength);
  return digest;
}

Aws::String HexEncode(const unsigned char* data, size_t length) {
  static constexpr char kDigits[] = "0123456789abcdef";
  Aws::String hex(length * 2, '\0');
  for (size_t i = 0; i < length; ++i) {
    hex[2 * i] = kDigits[data[i] >> 4];
    hex[2 * i + 1] = kDigits[data[i] & 0x0f];
  }
  return hex;
}

void AppendBase64(Aws::String& out, const unsigned char* data, size_t length) {
  if (length == 0) return;
  const size_t start = out.size();
  const size_t encodedLength = Base64EncodedLength(length);
  // EVP_EncodeBlock writes a terminating NUL, and takes an int length: encode in chunks
  // that are multiples of 3 so that the pieces join without padding in the middle.
  out.resize(start + encodedLength + 1);
  unsigned char* target = reinterpret_cast<unsigned char*>(&out[start]);
  constexpr size_t kChunk = size_t{3} << 28;
  size_t done = 0;
  while (done < length) {
    const size_t piece = std::min(kChunk, length - done);
    target += EVP_EncodeBlock(target, data + done, static_cast<int>(piece));
    done += piece;
  }
  out.resize(start + encodedLength);
}

namespace {

// 0..63 for alphabet characters, 64 for '=', 255 for anything else.
struct Base64Table {
  unsigned char value[256];
  Base64Table() {
    static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (unsigned char& v : value) v = 255;
    for (int i = 0; i < 64; ++i) value[static_cast<unsigned char>(kAlphabet[i])] = static_cast<unsigned char>(i);
    value[static_cast<unsigned char>('=')] = 64;
  }
};

const Base64Table& DecodeTable() {
  static const Base64Table table;
  return table;
}

}  // namespace

bool DecodeBase64(const char* text, size_t length, Aws::Utils::ByteBuffer& out) {
  out = Aws::Utils::ByteBuffer();
  if (length == 0) return true;
  if (length % 4 != 0) return false;
  const size_t padding = (text[length - 1] == '=') + (length >= 2 && text[length - 2] == '=');
  const size_t decodedLength = length / 4 * 3 - padding;
  const unsigned char* table = DecodeTable().value;
  const unsigned char* in = reinterpret_cast<const unsigned char*>(text);
  Aws::Utils::ByteBuffer decoded(decodedLength);
  unsigned char* target = decoded.GetUnderlyingData();
  size_t written = 0;
  for (size_t i = 0; i < length; i += 4) {
    const unsigned a = table[in[i]], b = table[in[i + 1]], c = table[in[i + 2]], d = table[in[i + 3]];
    const bool last = i + 4 == length;
    if (a > 63 || b > 63) return false;
    if (!last && (c > 63 || d > 63)) return false;
    if (last && (c == 255 || d == 255 || (c == 64 && d != 64))) return false;
    const unsigned triple = (a << 18) | (b << 12) | ((c & 63) << 6) | (d & 63);
    target[written++] = static_cast<unsigned char>(triple >> 16);
    if (c != 64) target[written++] = static_cast<unsigned char>(triple >> 8);
    if (d != 64) target[written++] = static_cast<unsigned char>(triple);
  }
  decoded.SetLength(written);
  out = std::move(decoded);
  return true;
}

Aws::String RandomUuid() {
  unsigned char bytes[16];
  if (RAND_bytes(bytes, sizeof bytes) != 1) {
    // The RNG can only fail when the system has no entropy source; fall back rather than
    // send a fixed id.
    std::random_device device;
    for (unsigned char& b : bytes) b = static_cast<unsigned char>(device());
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text, "%02X%02X%02X%02X-%02X%02X-%02X%02X-%02X%02X-%02X%02X%02X%02X%02X%02X", bytes[0],
                bytes[1], bytes[2], bytes[3], bytes[4], bytes[5], bytes[6], bytes[7], bytes[8], bytes[9], bytes[10],
                bytes[11], bytes[12], bytes[13], bytes[14], bytes[15]);
  return Aws::String(text, 36);
}

}  // namespace Internal
}  // namespace Aws
