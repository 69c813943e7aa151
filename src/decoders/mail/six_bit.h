// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// six_bit.h - four characters become three bytes: the group decoder of base64, uuencode and BinHex.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#ifdef __SSE2__
#include <tmmintrin.h>
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

// Whether the processor has the instructions that decode sixteen characters a step.
#ifdef __SSE2__
#define BRIX_SSSE3 __attribute__((target("ssse3")))

inline bool HasSsse3() { return __builtin_cpu_supports("ssse3") != 0; }

// Joins sixteen values into twelve bytes. Stores sixteen.
BRIX_SSSE3 inline void PackSixteen(__m128i values, uint8_t* out) {
  const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m128i pairs = _mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140));
  const __m128i groups = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));  // 24 bits in each 32
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(groups, order));
}
#else
constexpr bool HasSsse3() { return false; }
#endif

}  // namespace brix::mail
