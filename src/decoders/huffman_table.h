// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// huffman_table.h - the one builder of decoding tables for canonical Huffman codes.
//
// A table has a root part, indexed by the next `root_bits` bits of the input, and behind it subtables for longer
// codes. One 32-bit entry carries everything the decoder needs, so a symbol costs one load:
//
//   bits 0-7    bits to drop in total: code length plus extra bits. Decoders subtract the whole entry from a bit
//               count of which only the low byte is ever used.
//   bits 8-11   code length alone: where the extra bits begin. Of a code that reaches into a subtable, both count
//               what is left behind the root bits, so that 16-bit codes fit.
//   bit 12      free
//   bit 13      kTableStop     ends the block, or, with kTableSubtable, no symbol at all
//   bit 14      kTableSubtable the value is the index of a subtable; bits 8-11 are the bits that index it
//   bits 15-30  value: base, symbol or subtable index; bit 31 belongs to the decoder (a literal flag)
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace brix {

inline constexpr uint32_t kTableValueShift = 15;
inline constexpr uint32_t kTableStop = 1u << 13;
inline constexpr uint32_t kTableSubtable = 1u << 14;
inline constexpr uint32_t kTableInvalid =
    kTableStop | kTableSubtable;  // no such code, or a symbol not allowed
inline constexpr uint32_t kTableLiteral = 1u << 31;
inline constexpr uint32_t kMaxCodeBits = 20;  // at most 15 of them behind the root bits
inline constexpr uint32_t kMaxTableSymbols = 1024;

// The order in which a code's bits leave the bit buffer.
enum class BitOrder { kLsbFirst, kMsbFirst };

struct HuffmanTable {
  std::span<uint32_t> entries;     // room for the root part and all subtables
  uint32_t root_bits;              // in: the most to use; out: what is used, shrunk to the longest code
  uint32_t least_root_bits = 1;    // but not below this; the same as the most makes the mask a constant
  bool may_be_incomplete = false;  // codes that are left over decode to kTableInvalid; kMsbFirst alone
};

// Entries of symbols that are values by themselves.
template <uint32_t kCount>
constexpr std::array<uint32_t, kCount> PlainSymbols() {
  std::array<uint32_t, kCount> symbols{};
  for (uint32_t s = 0; s < kCount; ++s) symbols[s] = s << kTableValueShift;
  return symbols;
}

// Builds a table.
//
// lengths  code length of each symbol, 0 to kMaxCodeBits and to root_bits + 15; 0: the symbol has no code.
// symbols  each symbol's entry without its code: flags, value, and the number of extra bits in the low byte.
//
// False for an over-subscribed set of lengths, and for an incomplete one unless that is allowed, except that a set of
// one 1-bit code and an empty set always are: their unused codes decode to kTableInvalid. False also when `entries` is
// too small.
[[nodiscard]] bool BuildHuffmanTable(std::span<const uint8_t> lengths, std::span<const uint32_t> symbols,
                                     BitOrder order, HuffmanTable* table);

}  // namespace brix
