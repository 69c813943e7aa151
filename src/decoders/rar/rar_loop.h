// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_loop.h - the loops that decode the symbols of a block of literals and matches.
//
// The fast loop runs while the bits allow a turn and the output has not reached `stop`. A turn takes up to three
// literals, or up to two literals and a match, without a bound check: at most 22 + 20 bits up to a match's length and
// 44 for its distance, and kTurn bytes behind `stop`, for which the ring has room. The careful loop takes one symbol a
// turn and serves the last bytes of the input, and of a 2.0 member, whose data have no end mark.
//
// The ring is a window and some: output goes on behind its soft end until a turn is over, and the next lap begins at
// its front. Where a lap ended is kept, so that no output ever wraps inside a loop and only a source may. Distances are
// at most the window by their slots; of others, and before the first lap is full, it is checked for each match that its
// source was decoded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "decoders/match_copy.h"
#include "decoders/msb_bits.h"
#include "decoders/rar/rar_tables.h"

namespace brix::rar {

inline constexpr uint32_t kWindow = 4u << 20;     // of both methods, whatever a header says
inline constexpr uint32_t kMostMatch = 255 + 32;  // of a PPMd block; others have less
inline constexpr uint32_t kTurn = 2 + kMostMatch + kMatchSlack;

// What symbols refer to, from block to block and from member to member.
struct Memory {
  std::array<uint32_t, kRepeats> distance{};  // the last one first; 0: none yet
  uint32_t length = 0;                        // of the last match
  uint32_t low = 0;                           // the low bits that were a symbol, and
  uint32_t low_run = 0;                       // for how many distances to come they stand
};

// Where a loop writes.
struct Output {
  uint8_t* ring;
  uint32_t at;    // in the ring, of the next byte
  uint32_t lap;   // where the former lap ended; 0: this is the first
  uint32_t stop;  // enough is decoded here
  Memory* memory;
};

enum class LoopEnd {
  kOutputFull,  // `at` has reached `stop`
  kInputLow,    // too little input in the piece for the fast loop
  kBlockEnd,    // the method's symbol that ends a block
  kFilter,
  kBad,  // no such code, a source that was not decoded, or the end of the input
};

constexpr auto kSlots20 = SlotWords<Method::kRar20>();
constexpr auto kSlots29 = SlotWords<Method::kRar29>();

inline constexpr uint32_t kBadMatch = UINT32_MAX;

// Copies a match whose distance is not inside this lap. False: its source was never decoded.
[[gnu::noinline]] inline bool CopyFromLap(const Output& output, uint32_t at, uint32_t distance,
                                          uint32_t length) {
  if (distance == 0 || distance > kWindow || output.lap == 0) return false;
  uint8_t* const ring = output.ring;
  // Behind the match by more than a turn: the ring holds the window and some.
  uint32_t from = output.lap + at - distance;
  if (length <= output.lap - from) {
    CopyApart(ring + at, ring + from, length);
    return true;
  }
  for (; length != 0; --length) {
    ring[at++] = ring[from++];
    if (from == output.lap) from = 0;
  }
  return true;
}

BRIX_ALWAYS_INLINE bool CopyMatchTo(const Output& output, uint32_t at, uint32_t distance, uint32_t length) {
  if (distance - 1 < at) [[likely]] {  // 0 wraps
    CopyMatch(output.ring + at, distance, length);
    return true;
  }
  return length == 0 || CopyFromLap(output, at, distance, length);
}

// The extra bits of a symbol, from the bits as they stood before it was dropped.
BRIX_ALWAYS_INLINE uint32_t Extra(uint64_t saved, uint32_t entry) {
  const uint32_t extra = (entry & 0xFF) - (entry >> 8 & 15);
  return static_cast<uint32_t>(saved >> ((0u - entry) & 63)) & ((1u << extra) - 1);
}

// The next symbol of a table whose entries have no extra bits to take; kTableStop stays for the caller to see.
template <uint32_t kRootBits>
BRIX_ALWAYS_INLINE uint32_t Symbol(const uint32_t* table, MsbCursor& in) {
  const uint32_t entry = Resolve(table, table[in.bits >> (64 - kRootBits)], in);
  in.Drop(entry);
  return entry;
}

// The distance of a new match, 0 for no such code. Takes at most 44 bits.
template <Method kMethod>
BRIX_ALWAYS_INLINE uint32_t ReadDistance(const LzTables& tables, MsbCursor& in, Memory& memory) {
  const uint32_t entry = Symbol<kDistanceRootBits>(tables.distance.data(), in);
  if (entry & kTableStop) [[unlikely]]
    return 0;
  const uint32_t slot = entry >> kTableValueShift;
  if constexpr (kMethod == Method::kRar20) {
    return (kSlots20[slot] >> kSlotShift) + in.Take(kSlots20[slot] & kSlotBits);
  }
  const uint32_t word = kSlots29[slot];
  uint32_t distance = word >> kSlotShift;
  const uint32_t high = in.Take(word & kSlotBits);
  if ((word & kSlotLow) == 0) return distance + high;
  distance += high << kLowBits;
  if (memory.low_run != 0) {
    --memory.low_run;
    return distance + memory.low;
  }
  const uint32_t low = Symbol<kLowRootBits>(tables.low.data(), in);
  if (low & kTableStop) [[unlikely]]
    return 0;
  if (low >> kTableValueShift == kRepeatLow) {
    memory.low_run = kRepeatLowRun;
  } else {
    memory.low = low >> kTableValueShift;
  }
  return distance + memory.low;
}

BRIX_ALWAYS_INLINE void Remember(Memory& memory, uint32_t distance) {
  memory.distance = {distance, memory.distance[0], memory.distance[1], memory.distance[2]};
}

// A match whose main symbol was dropped: its length, and its distance as the first that is remembered. kBadMatch: no
// such code. `saved`: the bits in front of the symbol. Refills.
template <Method kMethod>
BRIX_ALWAYS_INLINE uint32_t ReadMatch(const LzTables& tables, uint32_t entry, uint64_t saved, MsbCursor& in,
                                      Memory& memory) {
  constexpr bool k20 = kMethod == Method::kRar20;
  const uint32_t value = entry >> kTableValueShift;
  const uint32_t base = (value & kBaseMask) + Extra(saved, entry);
  in.Refill();
  uint32_t length = base;
  if (value < kLastMatch << kKindShift) [[likely]] {
    const uint32_t distance = ReadDistance<kMethod>(tables, in, memory);
    if (distance == 0) [[unlikely]]
      return kBadMatch;
    length += uint32_t{distance >= 0x2000} + uint32_t{distance >= 0x40000};
    Remember(memory, distance);
  } else if (value >= kShort << kKindShift) {
    Remember(memory, base);
    length = 2;
  } else if (value < kRepeat << kKindShift) {
    if (k20) Remember(memory, memory.distance[0]);
    length = memory.length;
  } else {
    const uint32_t repeat =
        Resolve(tables.repeat.data(), tables.repeat[in.bits >> (64 - kRepeatRootBits)], in);
    const uint64_t at_symbol = in.bits;
    if (repeat & kTableStop) [[unlikely]]
      return kBadMatch;
    in.Drop(repeat);
    length = (repeat >> kTableValueShift) + Extra(at_symbol, repeat);
    auto& d = memory.distance;
    const uint32_t distance = d[base];
    if (k20) {
      length += uint32_t{distance > 0x100} + uint32_t{distance >= 0x2000} + uint32_t{distance >= 0x40000};
      Remember(memory, distance);
    } else {
      // To the front; those in front of it move back.
      if (base == 3) d[3] = d[2];
      if (base >= 2) d[2] = d[1];
      if (base >= 1) d[1] = d[0];
      d[0] = distance;
    }
  }
  memory.length = length;
  return length;
}

template <Method kMethod>
BRIX_ALWAYS_INLINE LoopEnd StopOf(uint32_t entry) {
  if ((entry & kTableSubtable) != 0) return LoopEnd::kBad;
  if (kMethod == Method::kRar20) return LoopEnd::kBlockEnd;
  return entry >> kTableValueShift == kFilter29 ? LoopEnd::kFilter : LoopEnd::kBlockEnd;
}

template <Method kMethod>
[[gnu::noinline]] LoopEnd FastLoop(const LzTables& tables, MsbBits& bits, Output& output) {
  constexpr uint32_t kShift = 64 - kMainRootBits;
  const uint32_t* const table = tables.main.data();
  const uint8_t* const input_end = bits.fast_end();
  uint8_t* const ring = output.ring;
  uint32_t at = output.at;
  const uint32_t stop = output.stop;
  MsbCursor in = bits;
  Memory memory = *output.memory;
  LoopEnd result = LoopEnd::kInputLow;

  if (at >= stop) return LoopEnd::kOutputFull;
  if (in.next > input_end) return LoopEnd::kInputLow;
  in.Refill();
  uint32_t entry = table[in.bits >> kShift];
  const auto goes_on = [&]() BRIX_ALWAYS_INLINE_LAMBDA { return at < stop && in.next <= input_end; };
  const auto literal = [&]() BRIX_ALWAYS_INLINE_LAMBDA {
    in.Drop(entry);
    ring[at++] = static_cast<uint8_t>(entry >> kTableValueShift);
    entry = table[in.bits >> kShift];
  };
  while (goes_on()) {
    if (entry & kTableLiteral) {
      literal();
      if (entry & kTableLiteral) {
        literal();
        if (entry & kTableLiteral) {
          literal();
          in.Refill();
          continue;
        }
      }
    }
    if (entry & (kTableSubtable | kTableStop)) [[unlikely]] {
      entry = Resolve(table, entry, in);
      if (entry & kTableLiteral) {
        literal();
        in.Refill();
        entry = table[in.bits >> kShift];
        continue;
      }
      if (entry & kTableStop) {
        in.Drop(entry);
        result = StopOf<kMethod>(entry);
        goto done;
      }
    }
    {
      const uint64_t saved = in.bits;
      in.Drop(entry);
      const uint32_t length = ReadMatch<kMethod>(tables, entry, saved, in, memory);
      in.Refill();
      entry = table[in.bits >> kShift];
      if (length == kBadMatch || !CopyMatchTo(output, at, memory.distance[0], length)) [[unlikely]] {
        result = LoopEnd::kBad;
        goto done;
      }
      at += length;
    }
  }
  if (at >= stop) result = LoopEnd::kOutputFull;
done:
  static_cast<MsbCursor&>(bits) = in;
  *output.memory = memory;
  output.at = at;
  return result;
}

// One symbol a turn, checked at every step. May pass `stop` by a match.
template <Method kMethod>
[[gnu::noinline]] LoopEnd CarefulLoop(const LzTables& tables, MsbBits& bits, Output& output) {
  while (output.at < output.stop) {
    bits.Fill();
    const uint32_t entry = Resolve(tables.main.data(), tables.main[bits.bits >> (64 - kMainRootBits)], bits);
    const uint64_t saved = bits.bits;
    bits.Drop(entry);
    if (!bits.ok()) return LoopEnd::kBad;
    if (entry & kTableLiteral) {
      output.ring[output.at++] = static_cast<uint8_t>(entry >> kTableValueShift);
      continue;
    }
    if (entry & kTableStop) return StopOf<kMethod>(entry);
    bits.Fill();
    const uint32_t length = ReadMatch<kMethod>(tables, entry, saved, bits, *output.memory);
    if (!bits.ok() || length == kBadMatch ||
        !CopyMatchTo(output, output.at, output.memory->distance[0], length)) {
      return LoopEnd::kBad;
    }
    output.at += length;
  }
  return LoopEnd::kOutputFull;
}

}  // namespace brix::rar
