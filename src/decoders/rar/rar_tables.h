// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_tables.h - sizes and symbols of the two RAR methods, and the tables that decode their blocks.
#pragma once

#include <array>
#include <cstdint>

#include "decoders/huffman_table.h"

namespace brix::rar {

enum class Method : uint8_t { kRar20, kRar29 };

inline constexpr uint32_t kLiterals = 256;
inline constexpr uint32_t kRepeats = 4;  // distances that are remembered
inline constexpr uint32_t kShorts = 8;   // symbols of matches of two bytes
inline constexpr uint32_t kLengths = 28;
inline constexpr uint32_t kDistances20 = 48;
inline constexpr uint32_t kDistances29 = 60;
inline constexpr uint32_t kLowDistances = 17;
inline constexpr uint32_t kRepeatLow = 16;     // of these: the one before again, and
inline constexpr uint32_t kRepeatLowRun = 15;  // for as many more without a symbol
inline constexpr uint32_t kLowBits = 4;
inline constexpr uint32_t kFirstLowSlot = 10;  // from this slot on the last four bits are a symbol

// Main symbols behind the literals: in 2.0 the last match again, four repeated distances, eight short matches, new
// tables, and matches; in 2.9 the end of the block, a filter, and then the same without the tables.
inline constexpr uint32_t kMain20 = 298;
inline constexpr uint32_t kMain29 = 299;
inline constexpr uint32_t kNewTables20 = 269;
inline constexpr uint32_t kEndOfBlock29 = 256;
inline constexpr uint32_t kFilter29 = 257;

inline constexpr uint32_t kAudioSymbols = 257;
inline constexpr uint32_t kAudioNewTables = 256;
inline constexpr uint32_t kMostChannels = 4;

inline constexpr uint32_t kPretree20 = 19;
inline constexpr uint32_t kPretree29 = 20;
inline constexpr uint32_t kLengthModulus = 16;  // code lengths are differences to those of the block before
inline constexpr uint32_t kLengths20 = kMain20 + kDistances20 + kLengths;
inline constexpr uint32_t kLengths29 = kMain29 + kDistances29 + kLowDistances + kLengths;
inline constexpr uint32_t kMostLengths = kAudioSymbols * kMostChannels;
static_assert(kMostLengths >= kLengths20 && kMostLengths >= kLengths29);

// Code lengths reach 15 bits. A subtable of n bits holds at least n + 1 symbols, but for the last one, which an
// incomplete code may leave nearly empty.
constexpr uint32_t Entries(uint32_t root_bits, uint32_t symbols) {
  const uint32_t sub_bits = 15 - root_bits;
  return (1u << root_bits) + ((symbols << sub_bits) + sub_bits) / (sub_bits + 1) + (1u << sub_bits);
}

inline constexpr uint32_t kMainRootBits = 11;
inline constexpr uint32_t kDistanceRootBits = 9;
inline constexpr uint32_t kLowRootBits = 8;
inline constexpr uint32_t kRepeatRootBits = 8;
inline constexpr uint32_t kPretreeRootBits = 8;

// What a main symbol that is no literal means stands above its base, in the entry's value.
inline constexpr uint32_t kKindShift = 9;
enum Kind : uint32_t {
  kMatch = 0,      // base: length; a distance follows
  kLastMatch = 1,  // the last match once more
  kRepeat = 2,     // base: which of the remembered distances; a length follows
  kShort = 3,      // base: distance; two bytes
};
inline constexpr uint32_t kBaseMask = (1u << kKindShift) - 1;

inline constexpr std::array<uint8_t, kShorts> kShortBases = {0, 4, 8, 16, 32, 64, 128, 192};
inline constexpr std::array<uint8_t, kShorts> kShortBits = {2, 2, 3, 4, 5, 6, 6, 6};

// The entry of the length slot: four slots for each count of extra bits from the ninth on, up to five.
constexpr uint32_t LengthEntry(uint32_t slot, uint32_t least) {
  const uint32_t extra = slot < 8 ? 0 : slot / 4 - 1;
  const uint32_t base = slot < 8 ? slot : (4 + slot % 4) << extra;
  return (base + least) << kTableValueShift | extra;
}

template <Method kMethod>
constexpr auto MainSymbols() {
  constexpr bool k20 = kMethod == Method::kRar20;
  constexpr uint32_t kFirst = k20 ? 256 : 258;  // the last match
  constexpr uint32_t kFirstRepeat = kFirst + 1;
  constexpr uint32_t kFirstShort = kFirstRepeat + kRepeats;
  constexpr uint32_t kFirstMatch = kFirstShort + kShorts + (k20 ? 1 : 0);
  std::array<uint32_t, k20 ? kMain20 : kMain29> symbols{};
  for (uint32_t s = 0; s < symbols.size(); ++s) {
    const auto value = [](uint32_t kind, uint32_t base) {
      return (kind << kKindShift | base) << kTableValueShift;
    };
    if (s < kLiterals) {
      symbols[s] = kTableLiteral | s << kTableValueShift;
    } else if (s < kFirst || s == kNewTables20 * uint32_t{k20}) {
      symbols[s] = kTableStop | s << kTableValueShift;
    } else if (s < kFirstRepeat) {
      symbols[s] = value(kLastMatch, 0);
    } else if (s < kFirstShort) {
      symbols[s] = value(kRepeat, s - kFirstRepeat);
    } else if (s < kFirstShort + kShorts) {
      symbols[s] = value(kShort, kShortBases[s - kFirstShort] + 1u) | kShortBits[s - kFirstShort];
    } else {
      symbols[s] = LengthEntry(s - kFirstMatch, 3);
    }
  }
  return symbols;
}

constexpr std::array<uint32_t, kLengths> RepeatLengthSymbols() {
  std::array<uint32_t, kLengths> symbols{};
  for (uint32_t s = 0; s < kLengths; ++s) symbols[s] = LengthEntry(s, 2);
  return symbols;
}

// What a distance slot says, in one word: the smallest distance shifted by kSlotShift, and the count of extra bits;
// of the 2.9 method without those that are a symbol, for which kSlotLow stands. Two slots for each count of extra bits
// up to 15, then fourteen of 16 and twelve of 18.
inline constexpr uint32_t kSlotShift = 8;
inline constexpr uint32_t kSlotLow = 1u << 7;
inline constexpr uint32_t kSlotBits = 31;
template <Method kMethod>
constexpr auto SlotWords() {
  constexpr bool k20 = kMethod == Method::kRar20;
  std::array<uint32_t, k20 ? kDistances20 : kDistances29> words{};
  uint32_t base = 1;
  for (uint32_t slot = 0; slot < words.size(); ++slot) {
    const uint32_t extra = slot < 4 ? 0 : slot < 34 ? slot / 2 - 1 : slot < 48 ? 16 : 18;
    const bool low = !k20 && slot >= kFirstLowSlot;
    words[slot] = base << kSlotShift | (low ? kSlotLow | (extra - kLowBits) : extra);
    base += 1u << extra;
  }
  return words;
}

// The tables of a block of matches and literals.
struct LzTables {
  std::array<uint32_t, Entries(kMainRootBits, kMain29)> main;
  std::array<uint32_t, Entries(kDistanceRootBits, kDistances29)> distance;
  std::array<uint32_t, Entries(kLowRootBits, kLowDistances)> low;
  std::array<uint32_t, Entries(kRepeatRootBits, kLengths)> repeat;
};

using AudioTable = std::array<uint32_t, Entries(kMainRootBits, kAudioSymbols)>;

}  // namespace brix::rar
