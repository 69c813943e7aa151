// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// deflate_tables.h - what Deflate and Deflate64 symbols mean, as entries for the table builder.
#pragma once

#include <array>
#include <cstdint>

#include "decoders/huffman_table.h"

namespace brix::deflate {

inline constexpr uint32_t kLitLenSymbols = 288;
inline constexpr uint32_t kDistanceSymbols = 32;
inline constexpr uint32_t kPrecodeSymbols = 19;
inline constexpr uint32_t kEndOfBlock = 256;

// Root bits, and entries enough for every complete code of these symbol counts with codes of at most 15 (7)
// bits.
inline constexpr uint32_t kLitLenRootBits = 11;
inline constexpr uint32_t kDistanceRootBits = 8;
inline constexpr uint32_t kPrecodeRootBits = 7;
inline constexpr uint32_t kLitLenEntries = 2342;
inline constexpr uint32_t kDistanceEntries = 402;
inline constexpr uint32_t kPrecodeEntries = 1u << kPrecodeRootBits;

// Longest match, which a loop may run past its output bound by, and the reach of a distance.
constexpr uint32_t MaxMatch(bool deflate64) { return deflate64 ? 65538 : 258; }
constexpr uint32_t WindowSize(bool deflate64) { return deflate64 ? 65536 : 32768; }

constexpr uint32_t Entry(uint32_t base, uint32_t extra_bits) {
  return (base << kTableValueShift) | extra_bits;
}

// Literals, the end of the block, and match lengths with their extra bits. Symbols 286 and 287 have codes in
// the fixed set but mean nothing. Deflate64 gives the last length symbol 16 extra bits on a base of 3.
constexpr std::array<uint32_t, kLitLenSymbols> LitLenSymbols(bool deflate64) {
  std::array<uint32_t, kLitLenSymbols> symbols{};
  for (uint32_t s = 0; s < kEndOfBlock; ++s) symbols[s] = kTableLiteral | Entry(s, 0);
  symbols[kEndOfBlock] = kTableStop;
  uint32_t base = 3;
  for (uint32_t s = 257; s < 285; ++s) {
    const uint32_t extra_bits = s < 265 ? 0 : (s - 261) / 4;
    symbols[s] = Entry(base, extra_bits);
    base += 1u << extra_bits;
  }
  symbols[285] = deflate64 ? Entry(3, 16) : Entry(258, 0);
  symbols[286] = symbols[287] = kTableInvalid;
  return symbols;
}

// Distances; symbols 30 and 31 belong to Deflate64 alone.
constexpr std::array<uint32_t, kDistanceSymbols> DistanceSymbols(bool deflate64) {
  std::array<uint32_t, kDistanceSymbols> symbols{};
  uint32_t base = 1;
  for (uint32_t s = 0; s < kDistanceSymbols; ++s) {
    const uint32_t extra_bits = s < 4 ? 0 : s / 2 - 1;
    symbols[s] = s < 30 || deflate64 ? Entry(base, extra_bits) : kTableInvalid;
    base += 1u << extra_bits;
  }
  return symbols;
}

// Code lengths 0 to 15, as literals. Then runs, with extra bits as match lengths have them: 16 repeats the last length
// and is marked, 17 and 18 repeat 0.
inline constexpr uint32_t kRepeatsLast = kTableSubtable;  // there are no subtables behind codes of 7 bits
inline constexpr uint32_t kLongestRun = 138;
constexpr std::array<uint32_t, kPrecodeSymbols> PrecodeSymbols() {
  std::array<uint32_t, kPrecodeSymbols> symbols{};
  for (uint32_t s = 0; s < 16; ++s) symbols[s] = kTableLiteral | Entry(s, 0);
  symbols[16] = Entry(3, 2) | kRepeatsLast;
  symbols[17] = Entry(3, 3);
  symbols[18] = Entry(11, 7);
  return symbols;
}

// The tables always have their whole root part, so that these are constants: in registers the loop is an eighth slower.
inline constexpr uint32_t kLitLenMask = (1u << kLitLenRootBits) - 1;
inline constexpr uint32_t kDistanceMask = (1u << kDistanceRootBits) - 1;
inline constexpr uint32_t kPrecodeMask = (1u << kPrecodeRootBits) - 1;

// The decoding tables of one block.
struct BlockTables {
  std::array<uint32_t, kLitLenEntries> litlen;
  std::array<uint32_t, kDistanceEntries> distance;
};

}  // namespace brix::deflate
