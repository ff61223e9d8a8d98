#include "core/base64_wide.h"

#include <immintrin.h>

#include <cstdint>

namespace Aws {
namespace Internal {

namespace {

constexpr size_t kBlockChars = 32;
constexpr size_t kBlockBytes = 24;
// An encoding block loads 16 bytes at offset 12: four past its 24.
constexpr size_t kEncodeReadBytes = 28;

#define RXK_AVX2 __attribute__((target("avx2")))

// Bytes in [low, high], as signed bytes: characters from 0x80 up are negative and never in range.
RXK_AVX2 __m256i InRange(__m256i c, char low, char high) {
  return _mm256_and_si256(_mm256_cmpgt_epi8(c, _mm256_set1_epi8(static_cast<char>(low - 1))),
                          _mm256_cmpgt_epi8(_mm256_set1_epi8(static_cast<char>(high + 1)), c));
}

// The six-bit values of 32 characters; `valid` is all ones where a character is in the alphabet.
RXK_AVX2 __m256i SextetsOf(__m256i c, __m256i& valid) {
  const __m256i upper = InRange(c, 'A', 'Z');
  const __m256i lower = InRange(c, 'a', 'z');
  const __m256i digit = InRange(c, '0', '9');
  const __m256i plus = _mm256_cmpeq_epi8(c, _mm256_set1_epi8('+'));
  const __m256i slash = _mm256_cmpeq_epi8(c, _mm256_set1_epi8('/'));
  valid = _mm256_or_si256(_mm256_or_si256(upper, lower), _mm256_or_si256(_mm256_or_si256(digit, plus), slash));
  // What each class adds to a character to give its value: 'A' -> 0, 'a' -> 26, '0' -> 52, '+' -> 62, '/' -> 63.
  __m256i shift = _mm256_and_si256(upper, _mm256_set1_epi8(-65));
  shift = _mm256_or_si256(shift, _mm256_and_si256(lower, _mm256_set1_epi8(-71)));
  shift = _mm256_or_si256(shift, _mm256_and_si256(digit, _mm256_set1_epi8(4)));
  shift = _mm256_or_si256(shift, _mm256_and_si256(plus, _mm256_set1_epi8(19)));
  shift = _mm256_or_si256(shift, _mm256_and_si256(slash, _mm256_set1_epi8(16)));
  return _mm256_add_epi8(c, shift);
}

// 32 six-bit values to 24 bytes: pairs joined into 12 bits, pairs of those into 24, then the
// three bytes of each 32-bit word put in order and the words packed together.
RXK_AVX2 void PackSextets(__m256i sextets, unsigned char* out) {
  const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
  const __m256i words = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
  const __m256i ordered = _mm256_shuffle_epi8(
      words, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5, 4, 10, 9, 8, 14,
                              13, 12, -1, -1, -1, -1));
  const __m256i packed = _mm256_permutevar8x32_epi32(ordered, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
}

// 24 bytes (read as two 16-byte loads at 0 and 12) to their 32 six-bit values, one per byte.
RXK_AVX2 __m256i SextetsOfBytes(const unsigned char* data) {
  const __m256i loaded =
      _mm256_setr_m128i(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data)),
                        _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 12)));
  // Each group of three bytes b0 b1 b2 becomes the word of bytes b1 b0 b2 b1: its low half holds
  // the first two sextets, its high half the last two.
  const __m256i spread = _mm256_shuffle_epi8(
      loaded, _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10, 1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7,
                               10, 9, 11, 10));
  const __m256i firstAndThird =
      _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0fc0fc00)), _mm256_set1_epi32(0x04000040));
  const __m256i secondAndFourth =
      _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003f03f0)), _mm256_set1_epi32(0x01000010));
  return _mm256_or_si256(firstAndThird, secondAndFourth);
}

// Where a six-bit value is above `value`, the shift for the next stretch of the alphabet.
RXK_AVX2 __m256i ShiftAbove(__m256i shift, __m256i sextets, char value, char nextShift) {
  return _mm256_blendv_epi8(shift, _mm256_set1_epi8(nextShift), _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(value)));
}

// The alphabet's character for each six-bit value.
RXK_AVX2 __m256i CharactersOf(__m256i sextets) {
  __m256i shift = _mm256_set1_epi8('A');
  shift = ShiftAbove(shift, sextets, 25, 'a' - 26);
  shift = ShiftAbove(shift, sextets, 51, '0' - 52);
  shift = ShiftAbove(shift, sextets, 61, '+' - 62);
  shift = ShiftAbove(shift, sextets, 62, '/' - 63);
  return _mm256_add_epi8(sextets, shift);
}

}  // namespace

bool WideBase64Available() {
  static const bool available = __builtin_cpu_supports("avx2");
  return available;
}

RXK_AVX2 size_t DecodeBase64Blocks(const unsigned char* text, size_t length, unsigned char* out) {
  size_t done = 0;
  for (; done + kBlockChars <= length; done += kBlockChars, out += kBlockBytes) {
    __m256i valid;
    const __m256i sextets = SextetsOf(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(text + done)), valid);
    if (_mm256_movemask_epi8(valid) != -1) return length + 1;
    PackSextets(sextets, out);
  }
  return done;
}

RXK_AVX2 size_t EncodeBase64Blocks(const unsigned char* data, size_t length, char* out) {
  size_t done = 0;
  for (; done + kEncodeReadBytes <= length; done += kBlockBytes, out += kBlockChars) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), CharactersOf(SextetsOfBytes(data + done)));
  }
  return done;
}

#undef RXK_AVX2

}  // namespace Internal
}  // namespace Aws
