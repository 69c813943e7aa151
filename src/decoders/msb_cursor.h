// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// msb_cursor.h - the next bits of an input in memory, most significant first, for loops that keep them on locals.
#pragma once

#include <cstdint>

#include "core/byte_order.h"
#include "decoders/huffman_table.h"
#include "decoders/match_copy.h"

namespace brix {

// Those below the `count` valid bits are zero or what follows, as in LsbBitReader.
struct MsbCursor {
  uint64_t bits = 0;
  uint64_t count = 0;  // in the low six bits; what stands above them has no meaning
  const uint8_t* next = nullptr;

  // To at least 56 bits; looks at the next 8 bytes.
  BRIX_ALWAYS_INLINE void Refill() {
    bits |= LoadBe64(next) >> (count & 63);
    next += 7;
    next -= count >> 3 & 7;
    count |= 56;
  }
  // Drops as many bits as the low byte says.
  BRIX_ALWAYS_INLINE void Drop(uint32_t n) {
    bits <<= n & 63;
    count -= n;
  }
  // What the next n bits are, n at least 1.
  [[nodiscard]] BRIX_ALWAYS_INLINE uint32_t Peek(uint32_t n) const {
    return static_cast<uint32_t>(bits >> (64 - n));
  }
  // The next n bits, n below 64.
  [[nodiscard]] BRIX_ALWAYS_INLINE uint32_t Take(uint32_t n) {
    const auto value = static_cast<uint32_t>(bits >> 1 >> (63 - n));
    Drop(n);
    return value;
  }
};

// Follows an entry of the root part of a table into its subtable, if it has one.
BRIX_ALWAYS_INLINE uint32_t Resolve(const uint32_t* table, uint32_t entry, MsbCursor& in) {
  if ((entry & kTableInvalid) == kTableSubtable) [[unlikely]] {
    in.Drop(entry);
    entry = table[(entry >> kTableValueShift) + (in.bits >> (64 - (entry >> 8 & 15)))];
  }
  return entry;
}

}  // namespace brix
