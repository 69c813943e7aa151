// six_bit.h - four characters become three bytes: the group decoder of base64, uuencode and BinHex.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace brix::mail {

inline constexpr uint8_t kForeign = 255;

// The value of each character, 0 to 63, or kForeign.
using Alphabet = std::array<uint8_t, 256>;

constexpr Alphabet AlphabetOf(std::string_view characters) {
  Alphabet values;
  values.fill(kForeign);
  for (size_t i = 0; i < characters.size(); ++i)
    values[static_cast<uint8_t>(characters[i])] = static_cast<uint8_t>(i);
  return values;
}

inline constexpr Alphabet kBase64 =
    AlphabetOf("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
inline constexpr Alphabet kBinHex =
    AlphabetOf("!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr");
// Text whose case or control bits were damaged still decodes.
inline constexpr Alphabet kUuencode = [] {
  Alphabet values;
  values.fill(kForeign);
  for (uint8_t c = 1; c <= 26; ++c) values[c] = static_cast<uint8_t>(c + 32);
  for (uint8_t c = 32; c <= 95; ++c) values[c] = static_cast<uint8_t>(c - 32);
  for (uint8_t c = 96; c <= 127; ++c) values[c] = static_cast<uint8_t>(c - 96);
  return values;
}();

// The bits of characters that make no whole byte yet.
class SixBits {
 public:
  // Adds a character's value; true when that completes a byte.
  bool Put(uint32_t value, uint8_t* byte) {
    bits_ = bits_ << 6 | value;  // wraps: older bits are spent
    count_ += 6;
    if (count_ < 8) return false;
    count_ -= 8;
    *byte = static_cast<uint8_t>(bits_ >> count_);
    return true;
  }
  [[nodiscard]] bool empty() const { return count_ == 0; }
  void Clear() { count_ = 0; }

 private:
  uint32_t bits_ = 0;
  uint32_t count_ = 0;
};

// Decodes four characters into three bytes; false, with nothing stored, when one is foreign.
inline bool DecodeFour(const Alphabet& values, const uint8_t* in, uint8_t* out) {
  const uint32_t a = values[in[0]], b = values[in[1]], c = values[in[2]], d = values[in[3]];
  if ((a | b | c | d) > 63) return false;
  out[0] = static_cast<uint8_t>(a << 2 | b >> 4);
  out[1] = static_cast<uint8_t>(b << 4 | c >> 2);
  out[2] = static_cast<uint8_t>(c << 6 | d);
  return true;
}

#ifdef __SSE2__
// Joins sixteen values into twelve bytes. Stores fourteen.
inline void PackSixteen(__m128i values, uint8_t* out) {
  const __m128i first = _mm_slli_epi16(_mm_and_si128(values, _mm_set1_epi16(0x00FF)), 6);
  const __m128i pairs = _mm_or_si128(first, _mm_srli_epi16(values, 8));
  const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));  // 24 bits in each 32
  for (int half = 0; half < 2; ++half) {
    uint64_t two;
    const __m128i part = half == 0 ? groups : _mm_srli_si128(groups, 8);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&two), part);
    const uint64_t bytes = __builtin_bswap64(two << 40 | two >> 32 << 16);
    std::memcpy(out + 6 * half, &bytes, sizeof bytes);
  }
}

inline __m128i InRange(__m128i c, char low, char high) {
  return _mm_and_si128(_mm_cmpgt_epi8(c, _mm_set1_epi8(static_cast<char>(low - 1))),
                       _mm_cmplt_epi8(c, _mm_set1_epi8(static_cast<char>(high + 1))));
}

// Decodes sixteen uuencoded characters, storing fourteen bytes. Returns how many of them stand in front of the first
// damaged or foreign one: what they yield is right, the rest is not.
inline uint32_t DecodeSixteenUuencode(const uint8_t* in, uint8_t* out) {
  const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  PackSixteen(_mm_and_si128(_mm_sub_epi8(c, _mm_set1_epi8(' ')), _mm_set1_epi8(63)), out);
  return static_cast<uint32_t>(
      std::countr_one(static_cast<uint32_t>(_mm_movemask_epi8(InRange(c, ' ', '`')))));
}
#else
inline uint32_t DecodeSixteenUuencode(const uint8_t*, uint8_t*) { return 0; }
#endif

}  // namespace brix::mail
