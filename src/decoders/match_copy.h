// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// match_copy.h - how every LZ decoder copies a match inside its linear buffer.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/byte_order.h"

namespace brix {

// Loops that are compiled more than once, for different processors, carry their pieces with them.
#define BRIX_ALWAYS_INLINE inline __attribute__((always_inline))
#define BRIX_ALWAYS_INLINE_LAMBDA __attribute__((always_inline))

// Bytes that CopyMatch may read and write behind the end of a match.
inline constexpr uint32_t kMatchSlack = 32;

// Copies `length` bytes that do not overlap their source, or overlap it 16 bytes in front or more. Reads and writes up to
// kMatchSlack bytes too many.
BRIX_ALWAYS_INLINE void CopyApart(uint8_t* to, const uint8_t* from, uint32_t length) {
  uint8_t* const end = to + length;
  std::memcpy(to, from, 16);
  std::memcpy(to + 16, from + 16, 16);
  if (length > 32) [[unlikely]] {
    to += 32;
    from += 32;
    do {
      std::memcpy(to, from, 16);
      std::memcpy(to + 16, from + 16, 16);
      to += 32;
      from += 32;
    } while (to < end);
  }
}

// Copies `length` bytes from `distance` back, where the two may overlap. Writes up to kMatchSlack
// bytes too many.
BRIX_ALWAYS_INLINE void CopyMatch(uint8_t* to, uint32_t distance, uint32_t length) {
  const uint8_t* from = to - distance;
  uint8_t* const end = to + length;
  if (distance >= 16) [[likely]] {
    CopyApart(to, from, length);
  } else if (distance >= 8) {
    do {
      std::memcpy(to, from, 8);
      std::memcpy(to + 8, from + 8, 8);
      to += 16;
      from += 16;
    } while (to < end);
  } else if (distance == 1) {
    const uint64_t run = uint64_t{0x0101010101010101} * *from;
    do {
      std::memcpy(to, &run, 8);
      std::memcpy(to + 8, &run, 8);
      to += 16;
    } while (to < end);
  } else {
    // Each step stores 8 bytes of which `distance` are final; the next step overwrites the rest.
    do {
      const uint64_t word = LoadLe64(from);
      std::memcpy(to, &word, 8);
      to += distance;
      from += distance;
    } while (to < end);
  }
}

}  // namespace brix
