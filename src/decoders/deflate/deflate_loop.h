// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// deflate_loop.h - the two loops that decode the symbols of a block; included by deflate_decoder.cpp alone.
//
// The fast loop runs while the bit reader allows a turn and the output has not reached `out_stop`. A turn takes
// up to three literals, or up to two literals and a match, without a bound check: at most 22 + 31 + 29 bits of
// input, and 3 + MaxMatch + kMatchSlack bytes behind `out_stop`, for which the buffer has room. The careful loop
// takes one symbol a turn and serves the last few bytes of the input.
//
// A match copies from at most out - begin bytes back, which is checked for each; nothing else bounds a
// distance.
#pragma once

#include <cstdint>

#include "core/byte_order.h"
#include "decoders/bit_reader.h"
#include "decoders/deflate/deflate_tables.h"
#include "decoders/local_bits.h"
#include "decoders/match_copy.h"

namespace brix::deflate {

enum class LoopEnd {
  kOutputFull,  // `out` has reached `out_stop`
  kInputLow,    // too little input in the piece for the fast loop
  kBlockEnd,
  kBad,  // no such code, a distance before the first byte, or the end of the input
};

// What a loop works on, beside the bit reader.
struct Output {
  uint8_t* begin;     // the oldest byte of history
  uint8_t* out;       // next byte to write
  uint8_t* out_stop;  // enough is decoded here; the buffer goes on behind it
};

// The low n bits of a value; n is the low byte of `n`, below 64. With BMI2 that is one instruction, which
// compilers do not find by themselves.
template <bool kBmi2>
BRIX_ALWAYS_INLINE uint64_t LowBits(uint64_t value, uint32_t n) {
  if constexpr (kBmi2) {
    uint64_t low;
    __asm__("bzhi %2, %1, %0" : "=r"(low) : "r"(value), "r"(uint64_t{n}) : "cc");
    return low;
  } else {
    return value & ((uint64_t{1} << (n & 63)) - 1);
  }
}

// The extra bits of a symbol, out of the bit buffer as it stood before the symbol was dropped.
template <bool kBmi2>
BRIX_ALWAYS_INLINE uint32_t ExtraBits(uint64_t saved, uint32_t entry) {
  return static_cast<uint32_t>(LowBits<kBmi2>(saved, entry) >> (entry >> 8 & 63));
}

BRIX_ALWAYS_INLINE uint32_t SubtableIndex(uint64_t bits, uint32_t entry) {
  return (entry >> kTableValueShift) + static_cast<uint32_t>(LowBits<false>(bits, entry >> 8 & 15));
}

template <bool kDeflate64, bool kBmi2>
BRIX_ALWAYS_INLINE LoopEnd FastLoop(const BlockTables& tables, LsbBitReader& in, Output& output) {
  // A distance takes at most this many bits, and the next symbol's lookup the root bits.
  constexpr uint32_t kDistanceBits = 15 + (kDeflate64 ? 14 : 13);
  const uint32_t* const litlen = tables.litlen.data();
  const uint8_t* next = in.next;
  const uint8_t* const fast_end = in.fast_end;
  uint64_t bits = in.bits;
  uint64_t count = in.count;
  uint8_t* out = output.out;
  uint8_t* const out_stop = output.out_stop;
  const uint8_t* const begin = output.begin;
  LoopEnd result = LoopEnd::kInputLow;

  const auto refill = [&]() BRIX_ALWAYS_INLINE_LAMBDA {
    bits |= LoadLe64(next) << (count & 63);
    next += 7;
    next -= count >> 3 & 7;
    count |= 56;
  };
  const auto drop = [&](uint32_t entry) BRIX_ALWAYS_INLINE_LAMBDA {
    bits >>= entry & 63;
    count -= entry;
  };

  if (next > fast_end) return LoopEnd::kInputLow;
  if (out >= out_stop) return LoopEnd::kOutputFull;
  refill();
  if (next > fast_end) {
    in.Land(next, bits, static_cast<uint32_t>(count & 63));
    return LoopEnd::kInputLow;
  }
  uint32_t entry = litlen[bits & kLitLenMask];
  for (;;) {
    uint64_t saved = bits;
    drop(entry);
    if (entry & kTableLiteral) {
      *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
      entry = litlen[bits & kLitLenMask];
      saved = bits;
      drop(entry);
      if (entry & kTableLiteral) {
        *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
        entry = litlen[bits & kLitLenMask];
        saved = bits;
        drop(entry);
        if (entry & kTableLiteral) {
          *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
          entry = litlen[bits & kLitLenMask];  // looked up before the refill, so that the two loads overlap
          refill();
          if (next <= fast_end && out < out_stop) continue;
          break;
        }
      }
    }
    if (entry & (kTableSubtable | kTableStop)) [[unlikely]] {
      if ((entry & kTableInvalid) == kTableSubtable) {
        entry = litlen[SubtableIndex(bits, entry)];
        saved = bits;
        drop(entry);
        if (entry & kTableLiteral) {
          *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
          entry = litlen[bits & kLitLenMask];
          refill();
          if (next <= fast_end && out < out_stop) continue;
          break;
        }
      }
      if (entry & kTableStop) {
        result = (entry & kTableSubtable) != 0 ? LoopEnd::kBad : LoopEnd::kBlockEnd;
        goto done;
      }
    }
    const uint32_t length = (entry >> kTableValueShift) + ExtraBits<kBmi2>(saved, entry);

    // Bits so far: two literals and a length, at most 22 + 31 of the 64 that the refill made valid to look
    // at.
    entry = tables.distance[bits & kDistanceMask];
    if (entry & kTableSubtable) [[unlikely]] {
      if (entry & kTableStop) {
        result = LoopEnd::kBad;
        goto done;
      }
      if ((count & 63) < kDistanceBits + kLitLenRootBits) refill();
      drop(entry);
      entry = tables.distance[SubtableIndex(bits, entry)];
      if (entry & kTableSubtable) {
        result = LoopEnd::kBad;
        goto done;
      }
    } else if ((count & 63) < kDistanceRootBits + (kDeflate64 ? 14 : 13) + kLitLenRootBits) [[unlikely]] {
      refill();
    }
    saved = bits;
    drop(entry);
    const uint32_t distance = (entry >> kTableValueShift) + ExtraBits<kBmi2>(saved, entry);
    if (distance > static_cast<uint64_t>(out - begin)) [[unlikely]] {
      result = LoopEnd::kBad;
      goto done;
    }
    entry = litlen[bits & kLitLenMask];
    refill();
    CopyMatch(out, distance, length);
    out += length;
    if (next <= fast_end && out < out_stop) continue;
    break;
  }
  if (out >= out_stop) result = LoopEnd::kOutputFull;
done:
  in.Land(next, bits, static_cast<uint32_t>(count & 63));
  output.out = out;
  return result;
}

// One symbol a turn, checked at every step.
template <bool kDeflate64>
LoopEnd CarefulLoop(const BlockTables& tables, LsbBitReader& in, Output& output) {
  LocalBits bits(in);
  const auto next_symbol = [&](const uint32_t* table, uint64_t mask, uint32_t* value) {
    bits.Refill();  // at least 56 bits: a symbol takes at most 15 + 16
    uint32_t entry = table[bits.bits() & mask];
    if ((entry & kTableInvalid) == kTableSubtable) {
      bits.Drop(entry & 63);
      entry = table[SubtableIndex(bits.bits(), entry)];
    }
    *value = ((entry & ~kTableLiteral) >> kTableValueShift) + ExtraBits<false>(bits.bits(), entry);
    bits.Drop(entry & 63);
    return entry;
  };
  uint8_t* out = output.out;
  LoopEnd result = LoopEnd::kOutputFull;
  while (out < output.out_stop) {
    uint32_t value = 0;
    const uint32_t entry = next_symbol(tables.litlen.data(), kLitLenMask, &value);
    result = LoopEnd::kBad;
    if (!bits.ok() || (entry & kTableInvalid) == kTableInvalid) break;
    if (entry & kTableLiteral) {
      *out++ = static_cast<uint8_t>(value);
      result = LoopEnd::kOutputFull;
      continue;
    }
    if (entry & kTableStop) {
      result = LoopEnd::kBlockEnd;
      break;
    }
    uint32_t distance = 0;
    const uint32_t distance_entry = next_symbol(tables.distance.data(), kDistanceMask, &distance);
    if (!bits.ok() || (distance_entry & kTableInvalid) == kTableInvalid) break;
    if (distance > static_cast<uint64_t>(out - output.begin)) break;
    CopyMatch(out, distance, value);
    out += value;
    result = LoopEnd::kOutputFull;
  }
  bits.Store();
  output.out = out;
  return result;
}

}  // namespace brix::deflate
