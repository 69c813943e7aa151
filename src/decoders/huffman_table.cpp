// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// huffman_table.cpp - builds decoding tables, which is nearly the whole cost of a small compressed member.
//
// Codes are visited in canonical order, shortest first. In least-significant-first order a code of n bits owns every
// table slot whose low n bits are the code, so the table is built for 1 bit, then doubled by copying for each further
// bit: a slot is stored once and copied in bulk. In most-significant-first order the slots of a code are neighbours.
#include "decoders/huffman_table.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/byte_order.h"

namespace brix {

namespace {

struct SortedCodes {
  std::array<uint16_t, kMaxCodeBits + 1> count{};  // symbols of each length; that of 0 is not kept
  std::array<uint16_t, kMaxTableSymbols> symbol;   // those with a code, by length, then by number
  uint32_t symbols = 0;                            // how many these are
  uint32_t longest = 0;
};

enum class Completeness { kComplete, kSingleBit, kEmpty, kIncomplete, kOverSubscribed };

// The symbols' entries gain their code length in both places at once.
constexpr uint32_t WithLength(uint32_t entry, uint32_t length) { return entry + length * 0x101; }

// Calls `visit` with each symbol that has a code, and its length. Most sets are largely runs of zeros, which are passed
// over 8 at a time.
template <typename Visit>
inline void ForEachCode(std::span<const uint8_t> lengths, Visit visit) {
  uint32_t s = 0;
  const auto size = static_cast<uint32_t>(lengths.size());
  for (; size - s >= 8; s += 8) {
    uint64_t eight = LoadLe64(lengths.data() + s);
    for (uint32_t of_eight = s; eight != 0; ++of_eight, eight >>= 8) visit(of_eight, eight & 0xFF);
  }
  for (; s < size; ++s) visit(s, lengths[s]);
}

void Sort(std::span<const uint8_t> lengths, SortedCodes* codes) {
  ForEachCode(lengths, [&](uint32_t, uint64_t length) { ++codes->count[length]; });
  codes->count[0] = 0;
  std::array<uint16_t, kMaxCodeBits + 1> place;  // of the next symbol of each length
  uint32_t total = 0;
  for (uint32_t n = 0; n <= kMaxCodeBits; ++n) {
    place[n] = static_cast<uint16_t>(total);
    total += codes->count[n];
    if (codes->count[n] != 0) codes->longest = n;
  }
  codes->symbols = total;
  place[0] = static_cast<uint16_t>(total);  // behind all; a test for zero would often be mispredicted
  ForEachCode(lengths, [&](uint32_t s, uint64_t length) {
    codes->symbol[place[length]++] = static_cast<uint16_t>(s);
  });
}

Completeness Judge(const SortedCodes& codes) {
  if (codes.symbols == 0) return Completeness::kEmpty;
  uint32_t left = 1;  // codes of the current length still free
  for (uint32_t n = 1; n <= codes.longest; ++n) {
    left <<= 1;
    if (codes.count[n] > left) return Completeness::kOverSubscribed;
    left -= codes.count[n];
  }
  if (left == 0) return Completeness::kComplete;
  return codes.symbols == 1 && codes.longest == 1 ? Completeness::kSingleBit : Completeness::kIncomplete;
}

// How many index bits the subtable needs that starts with a code of `length` bits: grown until the codes that are
// left, shortest first, fill it. `count[length]` still includes the code itself.
uint32_t SubtableBits(const SortedCodes& codes, uint32_t length, uint32_t left_of_length,
                      uint32_t root_bits) {
  uint32_t bits = length - root_bits;
  uint32_t filled = left_of_length;
  while (filled < (1u << bits) && root_bits + bits < codes.longest) {
    ++bits;
    filled = (filled << 1) + codes.count[root_bits + bits];
  }
  return bits;
}

// The code after `code` of `bits` bits in reversed notation: adds one at the far end.
inline uint32_t NextReversed(uint32_t code, uint32_t bits) {
  const uint32_t zeros = code ^ ((1u << bits) - 1);  // not 0: the last code has no next
  const uint32_t high = 1u << (31u - static_cast<uint32_t>(__builtin_clz(zeros)));
  return (code & (high - 1)) | high;
}

// Codes in least-significant-first order; the set is complete.
bool FillLsbFirst(const SortedCodes& codes, std::span<const uint32_t> symbols, uint32_t root_bits,
                  std::span<uint32_t> table) {
  uint32_t* const entries = table.data();
  uint32_t next = 0;  // index into codes.symbol
  uint32_t code = 0;  // reversed
  uint32_t size = 1;  // slots built so far
  entries[0] = 0;
  for (uint32_t n = 1; n <= root_bits; ++n) {
    std::memcpy(entries + size, entries, size * sizeof *entries);
    size <<= 1;
    for (uint32_t left = codes.count[n]; left != 0; --left) {
      entries[code] = WithLength(symbols[codes.symbol[next++]], n);
      if (code == size - 1) break;  // all ones: the last code
      code = NextReversed(code, n);
    }
    // A longer code starts with this code's bits and goes on with zeros: in reversed notation the number is the same.
  }
  uint32_t end = 1u << root_bits;  // of the table so far
  const uint32_t root_mask = end - 1;
  uint32_t prefix = UINT32_MAX;  // root bits of the subtable being filled
  uint32_t start = 0;            // its first slot
  uint32_t sub_bits = 0;
  for (uint32_t n = root_bits + 1; n <= codes.longest; ++n) {
    for (uint32_t left = codes.count[n]; left != 0; --left) {
      if ((code & root_mask) != prefix) {
        prefix = code & root_mask;
        start = end;
        sub_bits = SubtableBits(codes, n, left, root_bits);
        if ((1u << sub_bits) > table.size() - end) return false;
        end += 1u << sub_bits;
        entries[prefix] = (start << kTableValueShift) | kTableSubtable | (sub_bits << 8) | root_bits;
      }
      const uint32_t entry = WithLength(symbols[codes.symbol[next++]], n - root_bits);
      for (uint32_t slot = start + (code >> root_bits); slot < end; slot += 1u << (n - root_bits))
        entries[slot] = entry;
      if (code == (1u << n) - 1) return true;
      code = NextReversed(code, n);
    }
  }
  return true;
}

// Codes in most-significant-first order.
bool FillMsbFirst(const SortedCodes& codes, std::span<const uint32_t> symbols, uint32_t root_bits,
                  std::span<uint32_t> table) {
  uint32_t next = 0;
  uint32_t slot = 0;  // the next free slot of the root part
  for (uint32_t n = 1; n <= root_bits; ++n) {
    for (uint32_t left = codes.count[n]; left != 0; --left) {
      const uint32_t width = 1u << (root_bits - n);
      std::fill_n(table.begin() + slot, width, WithLength(symbols[codes.symbol[next++]], n));
      slot += width;
    }
  }
  uint32_t end = 1u << root_bits;
  uint32_t fill = end;  // the next free slot of the subtable being filled, which ends at `end`
  uint32_t sub_bits = 0;
  for (uint32_t n = root_bits + 1; n <= codes.longest; ++n) {
    for (uint32_t left = codes.count[n]; left != 0; --left) {
      if (fill == end) {
        sub_bits = SubtableBits(codes, n, left, root_bits);
        if ((1u << sub_bits) > table.size() - end) return false;
        end += 1u << sub_bits;
        table[slot++] = (fill << kTableValueShift) | kTableSubtable | (sub_bits << 8) | root_bits;
      }
      const uint32_t width = 1u << (root_bits + sub_bits - n);
      std::fill_n(table.begin() + fill, width, WithLength(symbols[codes.symbol[next++]], n - root_bits));
      fill += width;
    }
  }
  // What no code owns stands at the end of the root part and of the last subtable.
  const auto rest = [&](size_t from, size_t to) {
    std::ranges::fill(table.subspan(from, to - from), WithLength(kTableInvalid, 1));
  };
  rest(slot, size_t{1} << root_bits);
  rest(fill, end);
  return true;
}

}  // namespace

bool BuildHuffmanTable(std::span<const uint8_t> lengths, std::span<const uint32_t> symbols, BitOrder order,
                       HuffmanTable* table) {
  if (lengths.size() > kMaxTableSymbols || lengths.size() > symbols.size()) return false;
  SortedCodes codes;
  Sort(lengths, &codes);
  const Completeness completeness = Judge(codes);
  if (completeness == Completeness::kOverSubscribed) return false;
  if (completeness == Completeness::kIncomplete &&
      !(table->may_be_incomplete && order == BitOrder::kMsbFirst)) {
    return false;
  }
  table->root_bits = std::clamp(codes.longest, table->least_root_bits, table->root_bits);
  if ((size_t{1} << table->root_bits) > table->entries.size()) return false;
  if (completeness == Completeness::kSingleBit || completeness == Completeness::kEmpty) {
    // One bit of input decides: the single code is a 0 bit in either order.
    const uint32_t invalid = WithLength(kTableInvalid, 1);
    const uint32_t single =
        completeness == Completeness::kSingleBit ? WithLength(symbols[codes.symbol[0]], 1) : invalid;
    const uint32_t deciding = order == BitOrder::kLsbFirst ? 1 : (1u << table->root_bits) >> 1;
    for (uint32_t i = 0; i < 1u << table->root_bits; ++i) {
      table->entries[i] = (i & deciding) == 0 ? single : invalid;
    }
    return true;
  }
  return order == BitOrder::kLsbFirst ? FillLsbFirst(codes, symbols, table->root_bits, table->entries)
                                      : FillMsbFirst(codes, symbols, table->root_bits, table->entries);
}

}  // namespace brix
