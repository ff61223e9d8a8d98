#include "core/encoding.h"

#include "core/base64_wide.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/sha.h>

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>

namespace Aws {
namespace Internal {

namespace {

// SHA-256 fetched from the provider once: OpenSSL 3's one-shot SHA256() and HMAC() look the
// algorithm up by name on every call, which costs more than hashing a small request.
class Sha256Algorithm {
 public:
  Sha256Algorithm() : m_fetched(EVP_MD_fetch(nullptr, "SHA256", nullptr)) {}
  ~Sha256Algorithm() { EVP_MD_free(m_fetched); }
  Sha256Algorithm(const Sha256Algorithm&) = delete;
  Sha256Algorithm& operator=(const Sha256Algorithm&) = delete;
  const EVP_MD* Get() const { return m_fetched != nullptr ? m_fetched : EVP_sha256(); }

 private:
  EVP_MD* m_fetched;
};

const EVP_MD* Sha256Md() {
  static const Sha256Algorithm algorithm;
  return algorithm.Get();
}

constexpr unsigned char kInnerPad = 0x36;
constexpr unsigned char kOuterPad = 0x5c;

// The HMAC key as one block: zero-padded, or first hashed when longer than a block.
Sha256Block PaddedKey(const void* key, size_t keyLength) {
  Sha256Block block{};
  if (keyLength > kSha256BlockBytes) {
    Sha256Digest shortened = Sha256(key, keyLength);
    std::memcpy(block.data(), shortened.data(), shortened.size());
    Wipe(shortened);
  } else if (keyLength > 0) {
    std::memcpy(block.data(), key, keyLength);
  }
  return block;
}

// The key block xor-ed with one of HMAC's pads.
Sha256Block XoredWith(const Sha256Block& key, unsigned char pad) {
  Sha256Block padded = key;
  for (unsigned char& b : padded) b ^= pad;
  return padded;
}

// A SHA-256 state that has absorbed the key block xor-ed with `pad`; null if OpenSSL failed.
DigestState AbsorbedPad(const Sha256Block& key, unsigned char pad) {
  Sha256Block padded = XoredWith(key, pad);
  DigestState state(EVP_MD_CTX_new());
  if (state != nullptr && (EVP_DigestInit_ex2(state.get(), Sha256Md(), nullptr) != 1 ||
                           EVP_DigestUpdate(state.get(), padded.data(), padded.size()) != 1)) {
    state.reset();
  }
  Wipe(padded);
  return state;
}

}  // namespace

void DigestStateDeleter::operator()(EVP_MD_CTX* state) const { EVP_MD_CTX_free(state); }

Sha256Context::Sha256Context() : m_state(EVP_MD_CTX_new()) {}

Sha256Digest Sha256Context::Digest(const void* data, size_t length) { return DigestOfParts(data, length, nullptr, 0); }

Sha256Digest Sha256Context::DigestOfParts(const void* first, size_t firstLength, const void* second,
                                          size_t secondLength) {
  Sha256Digest digest;
  EVP_MD_CTX* const context = m_state.get();
  unsigned int digestLength = 0;
  const bool done = context != nullptr && EVP_DigestInit_ex2(context, Sha256Md(), nullptr) == 1 &&
                    EVP_DigestUpdate(context, first, firstLength) == 1 &&
                    EVP_DigestUpdate(context, second, secondLength) == 1 &&
                    EVP_DigestFinal_ex(context, digest.data(), &digestLength) == 1;
  if (!done) {
    // Only an allocation failure gets here; the one-shot path does its own.
    Aws::String joined(static_cast<const char*>(first), firstLength);
    joined.append(static_cast<const char*>(second), secondLength);
    SHA256(reinterpret_cast<const unsigned char*>(joined.data()), joined.size(), digest.data());
    Wipe(joined);
  }
  return digest;
}

bool Sha256Context::DigestFrom(const EVP_MD_CTX& start, const void* data, size_t length, Sha256Digest& digest) {
  unsigned int digestLength = 0;
  return m_state != nullptr && EVP_MD_CTX_copy_ex(m_state.get(), &start) == 1 &&
         EVP_DigestUpdate(m_state.get(), data, length) == 1 &&
         EVP_DigestFinal_ex(m_state.get(), digest.data(), &digestLength) == 1;
}

Sha256Digest Sha256(const void* data, size_t length) { return Sha256Context().Digest(data, length); }

void Wipe(void* data, size_t length) { OPENSSL_cleanse(data, length); }

// RFC 2104 over the fetched digest: H((K ^ opad) || H((K ^ ipad) || data)).
Sha256Digest HmacSha256(const void* key, size_t keyLength, const void* data, size_t length) {
  Sha256Block block = PaddedKey(key, keyLength);
  Sha256Block innerBlock = XoredWith(block, kInnerPad);
  Sha256Block outerBlock = XoredWith(block, kOuterPad);
  Sha256Context context;
  Sha256Digest inner = context.DigestOfParts(innerBlock.data(), innerBlock.size(), data, length);
  const Sha256Digest mac = context.DigestOfParts(outerBlock.data(), outerBlock.size(), inner.data(), inner.size());
  for (Sha256Block* secret : {&block, &innerBlock, &outerBlock}) Wipe(*secret);
  Wipe(inner);
  return mac;
}

HmacSha256Key::HmacSha256Key(const void* key, size_t keyLength)
    : m_block(PaddedKey(key, keyLength)),
      m_inner(AbsorbedPad(m_block, kInnerPad)),
      m_outer(AbsorbedPad(m_block, kOuterPad)) {}

HmacSha256Key::~HmacSha256Key() { Wipe(m_block); }

Sha256Digest HmacSha256Key::Mac(const void* data, size_t length, Sha256Context& scratch) const {
  Sha256Digest inner, mac;
  const bool done = m_inner != nullptr && m_outer != nullptr && scratch.DigestFrom(*m_inner, data, length, inner) &&
                    scratch.DigestFrom(*m_outer, inner.data(), inner.size(), mac);
  Wipe(inner);
  // A block-long key gives the same MAC as the key it was padded from.
  return done ? mac : HmacSha256(m_block.data(), m_block.size(), data, length);
}

Aws::String HexEncode(const unsigned char* data, size_t length) {
  Aws::String hex;
  AppendHex(hex, data, length);
  return hex;
}

void AppendHex(Aws::String& out, const unsigned char* data, size_t length) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const size_t start = out.size();
  out.resize(start + length * 2);
  char* const hex = &out[start];
  for (size_t i = 0; i < length; ++i) {
    hex[2 * i] = kDigits[data[i] >> 4];
    hex[2 * i + 1] = kDigits[data[i] & 0x0f];
  }
}

namespace {

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Every pair of base64 characters for each 12-bit value: a 3-byte group is written with two
// lookups instead of four.
struct Base64PairTable {
  char pair[4096][2];
  Base64PairTable() {
    for (int i = 0; i < 4096; ++i) {
      pair[i][0] = kBase64Alphabet[i >> 6];
      pair[i][1] = kBase64Alphabet[i & 63];
    }
  }
};

const Base64PairTable& EncodeTable() {
  static const Base64PairTable table;
  return table;
}

// For each position in a 4-character group, every character's six bits already shifted into
// place, or kInvalidBits for a character outside the alphabet ('=' included): a whole group is
// decoded with four loads, three ORs and one test.
constexpr uint32_t kInvalidBits = 0x01000000;

struct Base64DecodeTable {
  uint32_t shifted[4][256];
  unsigned char value[256];  // 0..63 for alphabet characters, 64 for '=', 255 for anything else
  Base64DecodeTable() {
    for (unsigned char& v : value) v = 255;
    for (auto& position : shifted) {
      for (uint32_t& bits : position) bits = kInvalidBits;
    }
    for (uint32_t i = 0; i < 64; ++i) {
      const auto c = static_cast<unsigned char>(kBase64Alphabet[i]);
      value[c] = static_cast<unsigned char>(i);
      for (int position = 0; position < 4; ++position) shifted[position][c] = i << (18 - 6 * position);
    }
    value[static_cast<unsigned char>('=')] = 64;
  }
};

const Base64DecodeTable& DecodeTable() {
  static const Base64DecodeTable table;
  return table;
}

}  // namespace

void AppendBase64(Aws::String& out, const unsigned char* data, size_t length) {
  if (length == 0) return;
  const size_t start = out.size();
  out.resize(start + Base64EncodedLength(length));
  char* target = &out[start];
  const auto& pairs = EncodeTable().pair;
  size_t i = 0;
  if (WideBase64Available()) {
    i = EncodeBase64Blocks(data, length, target);
    target += i / 3 * 4;
  }
  for (; i + 3 <= length; i += 3, target += 4) {
    const uint32_t group = (uint32_t{data[i]} << 16) | (uint32_t{data[i + 1]} << 8) | data[i + 2];
    std::memcpy(target, pairs[group >> 12], 2);
    std::memcpy(target + 2, pairs[group & 0xfff], 2);
  }
  if (i == length) return;
  // One or two bytes left: padded to a full group.
  const uint32_t group = (uint32_t{data[i]} << 16) | (i + 1 < length ? uint32_t{data[i + 1]} << 8 : 0);
  target[0] = kBase64Alphabet[group >> 18];
  target[1] = kBase64Alphabet[(group >> 12) & 63];
  target[2] = i + 1 < length ? kBase64Alphabet[(group >> 6) & 63] : '=';
  target[3] = '=';
}

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "DecodeBase64 stores words in little-endian order");

bool DecodeBase64(const char* text, size_t length, Aws::Utils::ByteBuffer& out) {
  out = Aws::Utils::ByteBuffer();
  if (length == 0) return true;
  if (length % 4 != 0) return false;
  const size_t padding = (text[length - 1] == '=') + (length >= 2 && text[length - 2] == '=');
  const size_t decodedLength = length / 4 * 3 - padding;
  const Base64DecodeTable& table = DecodeTable();
  const unsigned char* in = reinterpret_cast<const unsigned char*>(text);
  Aws::Utils::ByteBuffer decoded(decodedLength);
  unsigned char* target = decoded.GetUnderlyingData();
  // Every group but the last holds four alphabet characters and gives three bytes, stored as one
  // four-byte word whose spare byte the next group overwrites (the last group gives at least one).
  // Byte stores through `target` would make the compiler reload everything after each one.
  const size_t lastGroup = length - 4;
  size_t i = 0;
  if (WideBase64Available()) {
    i = DecodeBase64Blocks(in, lastGroup, target);
    if (i > lastGroup) return false;
    target += i / 4 * 3;
  }
  for (; i < lastGroup; i += 4, target += 3) {
    const uint32_t triple = table.shifted[0][in[i]] | table.shifted[1][in[i + 1]] | table.shifted[2][in[i + 2]] |
                            table.shifted[3][in[i + 3]];
    if (triple & kInvalidBits) return false;
    const uint32_t word = __builtin_bswap32(triple << 8);  // the three bytes first, in order
    std::memcpy(target, &word, sizeof word);
  }
  // The last group may end in one or two '='.
  const unsigned char* last = in + lastGroup;
  const unsigned a = table.value[last[0]], b = table.value[last[1]], c = table.value[last[2]],
                 d = table.value[last[3]];
  if (a > 63 || b > 63 || c == 255 || d == 255 || (c == 64 && d != 64)) return false;
  const unsigned triple = (a << 18) | (b << 12) | ((c & 63) << 6) | (d & 63);
  *target++ = static_cast<unsigned char>(triple >> 16);
  if (c != 64) *target++ = static_cast<unsigned char>(triple >> 8);
  if (d != 64) *target++ = static_cast<unsigned char>(triple);
  decoded.SetLength(static_cast<size_t>(target - decoded.GetUnderlyingData()));
  out = std::move(decoded);
  return true;
}

namespace {

// Bumped in a forked child, so that no thread there goes on with its parent's sequence.
std::atomic<unsigned> g_forkGeneration{0};

void OnForkInChild() { g_forkGeneration.fetch_add(1, std::memory_order_relaxed); }

// 64 bits from the system's generator, or from std::random_device when it has no entropy source.
uint64_t SeedBits() {
  uint64_t seed = 0;
  if (RAND_bytes(reinterpret_cast<unsigned char*>(&seed), sizeof seed) != 1) {
    std::random_device device;
    seed = (uint64_t{device()} << 32) ^ device();
  }
  return seed;
}

// A request id needs to be unique, not secret: a per-thread generator seeded once costs a few
// instructions, where RAND_bytes takes the DRBG's lock and thousands of them on every request.
class InvocationIdSource {
 public:
  InvocationIdSource() {
    static const int registered = pthread_atfork(nullptr, nullptr, OnForkInChild);
    (void)registered;
    Reseed();
  }

  void Fill(unsigned char (&bytes)[16]) {
    if (m_generation != g_forkGeneration.load(std::memory_order_relaxed)) Reseed();
    const uint64_t high = m_engine(), low = m_engine();
    std::memcpy(bytes, &high, sizeof high);
    std::memcpy(bytes + 8, &low, sizeof low);
  }

 private:
  void Reseed() {
    m_generation = g_forkGeneration.load(std::memory_order_relaxed);
    m_engine.seed(SeedBits());
  }

  std::mt19937_64 m_engine;
  unsigned m_generation = 0;
};

}  // namespace

Aws::String RandomUuid() {
  static thread_local InvocationIdSource source;
  unsigned char bytes[16];
  source.Fill(bytes);
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);  // RFC 4122 variant
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char text[36];
  size_t at = 0;
  for (size_t i = 0; i < sizeof bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text[at++] = '-';
    text[at++] = kDigits[bytes[i] >> 4];
    text[at++] = kDigits[bytes[i] & 0x0f];
  }
  return Aws::String(text, 36);
}

}  // namespace Internal
}  // namespace Aws
