// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzx_tables.h - sizes and symbols of the LZX method, and the tables that decode a block.
#pragma once

#include <array>
#include <cstdint>

#include "decoders/huffman_table.h"

namespace brix::lzx {

enum class BlockType : uint8_t { kNone = 0, kVerbatim = 1, kAligned = 2, kUncompressed = 3 };

inline constexpr uint32_t kLeastWindowBits = 15;
inline constexpr uint32_t kMostWindowBits = 21;

inline constexpr uint32_t kLiterals = 256;
inline constexpr uint32_t kMostSlots = 50;
inline constexpr uint32_t kMainSymbols = kLiterals + 8 * kMostSlots;
inline constexpr uint32_t kLengthSymbols = 249;
inline constexpr uint32_t kAlignedSymbols = 8;
inline constexpr uint32_t kPretreeSymbols = 20;

// Position slots by window size, from 15 bits up.
inline constexpr std::array<uint8_t, 7> kSlots = {30, 32, 34, 36, 38, 42, kMostSlots};

inline constexpr uint32_t kRepeatedSlots = 3;  // slots that name a repeated offset
inline constexpr uint32_t kLeastMatch = 2;
inline constexpr uint32_t kLongLength = 7;  // a length header to which a symbol of the length tree is added

// Root bits, and entries enough for every complete code of these symbol counts: a subtable of n bits holds at
// least n + 1 symbols. Code lengths reach 16 bits in the main and the length tree, 15 in the pretree, 7 in the
// aligned one.
inline constexpr uint32_t kMainRootBits = 11;
inline constexpr uint32_t kLengthRootBits = 10;
inline constexpr uint32_t kAlignedRootBits = 7;
inline constexpr uint32_t kPretreeRootBits = 8;
inline constexpr uint32_t kMainEntries = (1u << kMainRootBits) + (kMainSymbols * 32 + 5) / 6;
inline constexpr uint32_t kLengthEntries = (1u << kLengthRootBits) + (kLengthSymbols * 64 + 6) / 7;
inline constexpr uint32_t kAlignedEntries = 1u << kAlignedRootBits;
inline constexpr uint32_t kPretreeEntries = (1u << kPretreeRootBits) + kPretreeSymbols * 128 / 8;

// A symbol's entry is its number, a literal's with the literal flag; those of matches count from the first match,
// so that the low three bits are the length header and the rest is the position slot.
constexpr std::array<uint32_t, kMainSymbols> MainSymbols() {
  std::array<uint32_t, kMainSymbols> symbols{};
  for (uint32_t s = 0; s < kMainSymbols; ++s) {
    symbols[s] =
        s < kLiterals ? kTableLiteral | (s << kTableValueShift) : (s - kLiterals) << kTableValueShift;
  }
  return symbols;
}

// The length tree's entries are whole match lengths.
constexpr std::array<uint32_t, kLengthSymbols> LengthSymbols() {
  std::array<uint32_t, kLengthSymbols> symbols{};
  for (uint32_t s = 0; s < kLengthSymbols; ++s)
    symbols[s] = (kLeastMatch + kLongLength + s) << kTableValueShift;
  return symbols;
}

// What a position slot says, in one word: the smallest distance shifted by kSlotShift, and the number of footer
// bits. The format's bases count from 2 less: distance = base + footer - 2.
inline constexpr uint32_t kSlotShift = 8;
constexpr std::array<uint32_t, kMostSlots> SlotWords() {
  std::array<uint32_t, kMostSlots> words{};
  uint32_t base = 3;
  for (uint32_t slot = kRepeatedSlots; slot < kMostSlots; ++slot) {
    const uint32_t footer_bits = slot < 36 ? slot / 2 - 1 : 17;
    words[slot] = ((base - 2) << kSlotShift) | footer_bits;
    base += 1u << footer_bits;
  }
  return words;
}

// The tables of a block and the code lengths, to which those of the next block are coded as differences.
struct Tables {
  std::array<uint32_t, kMainEntries> main;
  std::array<uint32_t, kLengthEntries> length;
  std::array<uint32_t, kAlignedEntries> aligned;
  std::array<uint32_t, kPretreeEntries> pretree;
  // How far to shift the 64 bits of a bit buffer right to index each table's root.
  uint32_t main_shift, length_shift, aligned_shift, pretree_shift;
  std::array<uint8_t, kMainSymbols> main_lengths;
  std::array<uint8_t, kLengthSymbols> length_lengths;
};

}  // namespace brix::lzx
