// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzma_models.h - the probabilities of LZMA, and how a bit is decoded with one.
//
// A range coder narrows [0, range) to the part of the bit that the input's number, `code`, lies in: the lower part, of
// the size of the bit's probability, means 0. A probability is 11 bits wide and moves by a 32nd of its distance to what
// the bit was. When less than 24 bits are left of the range, a byte of input follows.
//
// A tree codes a number bit by bit from the top, each bit with a probability of its own that the bits before choose.
// These bits are what a processor predicts worst, so they are decoded without a branch: both outcomes are worked out
// and one is selected, the probabilities of both next bits are loaded before it is known which is needed. Compilers make
// branches of such code again, so on x86-64 the selection is written in assembler. Bits that decide what follows (is it
// a match?) are branches.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "core/byte_order.h"
#include "decoders/match_copy.h"

namespace brix::lzma {

using Probability = uint16_t;

inline constexpr uint32_t kProbabilityBits = 11;
inline constexpr uint32_t kOne = 1u << kProbabilityBits;
inline constexpr uint32_t kMoveBits = 5;
inline constexpr uint32_t kTop = 1u << 24;

inline constexpr uint32_t kStates = 12;
inline constexpr uint32_t kLiteralStates = 7;  // those below: the last symbol was a literal
inline constexpr uint32_t kMaxPositionStates = 16;
inline constexpr uint32_t kLiteralModel = 0x300;  // probabilities of one literal context
inline constexpr uint32_t kShortestMatch = 2;
inline constexpr uint32_t kLongestMatch = 273;
inline constexpr uint32_t kDistanceContexts = 4;  // match lengths 2, 3, 4 and above
inline constexpr uint32_t kSlots = 64;
inline constexpr uint32_t kFirstModelledSlot = 4;  // slots below are distances
inline constexpr uint32_t kFirstDirectSlot = 14;   // from here on the middle bits have no model
inline constexpr uint32_t kAlignBits = 4;

struct LengthModel {
  std::array<Probability, 2> choice;
  alignas(4) std::array<std::array<Probability, 8>, kMaxPositionStates> low;
  std::array<std::array<Probability, 8>, kMaxPositionStates> middle;
  std::array<Probability, 256> high;
};

// Everything but the literals. One array of probabilities when it is set to even odds.
struct Models {
  std::array<std::array<Probability, kMaxPositionStates>, kStates> is_match;
  std::array<std::array<Probability, kMaxPositionStates>, kStates> is_long_rep0;
  std::array<Probability, kStates> is_rep;
  std::array<Probability, kStates> is_not_rep0;
  std::array<Probability, kStates> is_not_rep1;
  std::array<Probability, kStates> is_not_rep2;
  std::array<std::array<Probability, kSlots>, kDistanceContexts> slot;
  std::array<std::array<Probability, 32>, kFirstDirectSlot - kFirstModelledSlot> low_distance;
  std::array<Probability, 1u << kAlignBits> align;
  LengthModel match_length;
  LengthModel rep_length;
};

struct Coder {
  uint32_t range;
  uint32_t code;
  const uint8_t* next;
};

BRIX_ALWAYS_INLINE void Normalise(Coder& c) {
  if (c.range < kTop) [[unlikely]] {
    c.range <<= 8;
    c.code = c.code << 8 | *c.next++;
  }
}

// A bit that decides what comes next.
BRIX_ALWAYS_INLINE bool DecodeBit(Coder& c, Probability& probability) {
  Normalise(c);
  const uint32_t p = probability;
  const uint32_t bound = (c.range >> kProbabilityBits) * p;
  if (c.code < bound) {
    c.range = bound;
    probability = static_cast<Probability>(p + ((kOne - p) >> kMoveBits));
    return false;
  }
  c.range -= bound;
  c.code -= bound;
  probability = static_cast<Probability>(p - (p >> kMoveBits));
  return true;
}

// What a probability is lowered by, times 32, when the bit was 0: negative, and rounded like a rise.
BRIX_ALWAYS_INLINE uint32_t RiseOf(uint32_t p) { return p - (kOne - (1u << kMoveBits) + 1); }

BRIX_ALWAYS_INLINE Probability Moved(uint32_t p, uint32_t fall) {
  return static_cast<Probability>(p - static_cast<uint32_t>(static_cast<int32_t>(fall) >> kMoveBits));
}

// One bit with the probability `p`, without a branch. `number` becomes twice itself and the bit; `one` becomes `zero`
// if the bit is 0. Gives back the moved probability.
BRIX_ALWAYS_INLINE Probability Select(Coder& c, uint32_t p, uint32_t* number, uint32_t* one, uint32_t zero) {
  Normalise(c);
  const uint32_t bound = (c.range >> kProbabilityBits) * p;
  uint32_t range = c.range - bound;
  uint32_t fall = p;
#if defined(__x86_64__)
  uint32_t code = c.code;
  uint32_t twice = *number * 2;
  __asm__(
      "sub %[bound], %[code]\n\t"
      "cmovb %[old_code], %[code]\n\t"
      "cmovb %[bound], %[range]\n\t"
      "cmovb %[zero], %[one]\n\t"
      "cmovb %[rise], %[fall]\n\t"
      "sbb $-1, %[twice]"
      : [code] "+&r"(code), [range] "+&r"(range), [one] "+&r"(*one), [fall] "+&r"(fall), [twice] "+&r"(twice)
      : [bound] "r"(bound), [old_code] "r"(c.code), [zero] "r"(zero), [rise] "r"(RiseOf(p))
      : "cc");
  c.range = range;
  c.code = code;
  *number = twice;
#else
  const bool bit = c.code >= bound;
  c.range = bit ? range : bound;
  c.code -= bit ? bound : 0;
  *one = bit ? *one : zero;
  fall = bit ? fall : RiseOf(p);
  *number = *number * 2 + bit;
#endif
  return Moved(p, fall);
}

// A number of kBits bits, from the top, with a leading 1.
template <uint32_t kBits>
BRIX_ALWAYS_INLINE uint32_t DecodeTree(Coder& c, Probability* tree) {
  uint32_t number = 1;
  uint32_t p = tree[1];
#pragma GCC unroll 8
  for (uint32_t i = 0; i < kBits; ++i) {
    const uint32_t at = number;
    const uint32_t children =
        i + 1 < kBits ? LoadLe32(reinterpret_cast<const uint8_t*>(tree + 2 * size_t{at})) : 0;
    const uint32_t now = p;
    p = children >> 16;
    tree[at] = Select(c, now, &number, &p, children & 0xFFFF);
  }
  return number;
}

// A number of `bits` bits from the bottom, its bits standing at their places.
BRIX_ALWAYS_INLINE uint32_t DecodeReverseTree(Coder& c, Probability* tree, uint32_t bits) {
  uint32_t number = 1;
  uint32_t result = 0;
  for (uint32_t i = 0; i < bits; ++i) {
    Probability& p = tree[number];
    uint32_t add = 1u << i;
    p = Select(c, p, &number, &add, 0);
    result += add;
  }
  return result;
}

// `bits` bits without a model, from the top, behind those of `number`.
BRIX_ALWAYS_INLINE uint32_t DecodeDirect(Coder& c, uint32_t number, uint32_t bits) {
  do {
    Normalise(c);
    c.range >>= 1;
#if defined(__x86_64__)
    uint32_t code = c.code;
    number *= 2;
    __asm__(
        "sub %[range], %[code]\n\t"
        "cmovb %[old_code], %[code]\n\t"
        "sbb $-1, %[number]"
        : [code] "+&r"(code), [number] "+&r"(number)
        : [range] "r"(c.range), [old_code] "r"(c.code)
        : "cc");
    c.code = code;
#else
    const bool bit = c.code >= c.range;
    c.code -= bit ? c.range : 0;
    number = number * 2 + bit;
#endif
  } while (--bits != 0);
  return number;
}

// A literal by the 8-bit tree that the byte at the last match's distance chooses from, as long as the two agree:
// behind the tree for what they differ in stand one for each value of the other's bit.
BRIX_ALWAYS_INLINE uint32_t DecodeMatchedLiteral(Coder& c, Probability* model, uint32_t other) {
  uint32_t number = 1;
  uint32_t agreeing = 0x100;
#pragma GCC unroll 8
  for (uint32_t i = 0; i < 8; ++i) {
    other <<= 1;
    const uint32_t other_bit = other & agreeing;
    Probability& p = model[agreeing + other_bit + number];
    uint32_t still = other_bit;  // a 1 agrees where the other has one; a 0 where it has none
    p = Select(c, p, &number, &still, agreeing ^ other_bit);
    agreeing = still;
  }
  return number;
}

BRIX_ALWAYS_INLINE uint32_t DecodeLength(Coder& c, LengthModel& model, uint32_t position_state) {
  if (!DecodeBit(c, model.choice[0]))
    return DecodeTree<3>(c, model.low[position_state].data()) - 8 + kShortestMatch;
  if (!DecodeBit(c, model.choice[1]))
    return DecodeTree<3>(c, model.middle[position_state].data()) + kShortestMatch;
  return DecodeTree<8>(c, model.high.data()) - 256 + 16 + kShortestMatch;
}

}  // namespace brix::lzma
