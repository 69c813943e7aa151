// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzx_loop.h - LZX's bit reader and the two loops that decode the symbols of a block; included by lzx_decoder.cpp
// alone.
//
// Input is little-endian 16-bit words, read most significant bit first. The whole unit lies in memory, so the
// bytes of every word are swapped there once and a refill is one big-endian load. kSlack zero bytes stand behind
// it: the loops look at the end of the input once a turn.
//
// The fast loop takes up to three literals, or up to two literals and a match, without looking at the output's
// end: at most 22 + 16 + 16 bits up to a match's length, and 17 for its distance, or 21 in an aligned block. It
// runs while at least three bytes are wanted and only where the output does not come to the ring's end. The careful
// loop takes one symbol a turn and serves the rest.
//
// A match may not end behind the chunk. Its distance is at most the window, which the ring holds in front of every
// byte of the unit; nothing else bounds it, and what would lie before the first byte of the stream is zero.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "core/byte_order.h"
#include "decoders/lzx/lzx_tables.h"
#include "decoders/match_copy.h"
#include "decoders/msb_cursor.h"

namespace brix::lzx {

// Swaps the bytes of each whole pair.
inline void SwapPairs(uint8_t* bytes, ptrdiff_t size) {
  constexpr uint64_t kLowBytes = 0x00FF00FF00FF00FF;
  for (; size >= 8; size -= 8, bytes += 8) {
    const uint64_t word = LoadLe64(bytes);
    const uint64_t swapped = (word & kLowBytes) << 8 | (word >> 8 & kLowBytes);
    std::memcpy(bytes, &swapped, 8);
  }
  for (; size >= 2; size -= 2, bytes += 2) std::swap(bytes[0], bytes[1]);
}

// The bits of a unit. Past its end they are zero and ok() is false.
class Bits : public MsbCursor {
 public:
  // Words begin at `first`, or one byte behind it with `odd`.
  Bits(uint8_t* first, uint8_t* last, bool odd)
      : begin_(first), end_(last), words_at_(odd && first != last ? 1 : 0) {
    next = first;
    SwapPairs(first + words_at_, last - first - words_at_);
  }

  // A turn of a loop may begin up to here. It refills at most twice, so it loads no byte behind the slack; a reader
  // that comes to stand further on has dropped bits behind the end.
  [[nodiscard]] const uint8_t* stop() const { return end_ + 8; }

  // The next n bits, at most 32; zeros when the input has ended.
  [[nodiscard]] uint32_t Read(uint32_t n) {
    if (next > stop()) return 0;
    Refill();
    return Take(n);
  }

  [[nodiscard]] bool ok() const { return next <= stop() && Position() <= (end_ - begin_) * 8; }

  // Moves to the next word, as the format pads the header of an uncompressed block: by 1 to 16 bits, which is a whole
  // word at the beginning of one.
  void SkipToWord() {
    next = begin_ + words_at_ + ((Position() - words_at_ * 8) / 16 + 1) * 2;
    bits = count = 0;
  }

  // The next `size` bytes, at least one, as the input has them; null when there are fewer. Only when no bits are
  // buffered.
  [[nodiscard]] const uint8_t* Raw(uint32_t size) {
    if (next > end_ || size > end_ - next) return nullptr;
    uint8_t* const first = begin_ + (next - begin_);
    // Inside a word only at the unit's start, before the first whole one.
    uint8_t* const word = first + (inside_word() ? 1 : 0);
    next += size;
    SwapPairs(word, std::min(next - word + 1, end_ - word));
    return first;
  }

  // Whether the next byte is the second half of a word. Only when no bits are buffered.
  [[nodiscard]] bool inside_word() const { return ((next - begin_) & 1) != words_at_; }
  void SkipByte() { ++next; }
  [[nodiscard]] bool at_end() const { return next >= end_; }

 private:
  // In bits, of the next one.
  [[nodiscard]] ptrdiff_t Position() const {
    return (next - begin_) * 8 - static_cast<ptrdiff_t>(count & 63);
  }

  uint8_t* const begin_;
  uint8_t* const end_;
  const ptrdiff_t words_at_;
};

// Where a loop writes.
struct Output {
  uint8_t* ring;
  uint32_t ring_bytes;
  uint32_t position;  // in the ring
  bool ring_full;     // every byte of the ring was decoded; before, those behind the position count as zero
  std::array<uint32_t, 3>* repeated;
};

constexpr auto kSlotWords = SlotWords();

// A match whose main symbol `entry` was looked up and not dropped: its length, and its distance as the first
// repeated offset. 0: no such code.
template <bool kAligned>
BRIX_ALWAYS_INLINE uint32_t ReadMatch(const Tables& tables, uint32_t entry, MsbCursor& in, uint32_t& r0,
                                      uint32_t& r1, uint32_t& r2) {
  in.Drop(entry);
  const uint32_t symbol = entry >> kTableValueShift;
  uint32_t length = (symbol & 7) + kLeastMatch;
  if ((symbol & 7) == kLongLength) {
    const uint32_t* const table = tables.length.data();
    entry = Resolve(table, table[in.bits >> tables.length_shift], in);
    if (entry & kTableStop) [[unlikely]]
      return 0;
    in.Drop(entry);
    length = entry >> kTableValueShift;
    if (!kAligned) in.Refill();
  }
  if (kAligned) in.Refill();
  const uint32_t slot = symbol >> 3;
  if (slot >= kRepeatedSlots) [[likely]] {
    const uint32_t word = kSlotWords[slot];
    const uint32_t footer_bits = word & 31;
    uint32_t footer;
    if (kAligned && footer_bits >= 3) {
      footer = in.Take(footer_bits - 3) << 3;
      entry = tables.aligned[in.bits >> tables.aligned_shift];
      if (entry & kTableStop) [[unlikely]]
        return 0;
      in.Drop(entry);
      footer += entry >> kTableValueShift;
    } else {
      footer = in.Take(footer_bits);
    }
    r2 = r1;
    r1 = r0;
    r0 = (word >> kSlotShift) + footer;
  } else if (slot == 1) {
    std::swap(r0, r1);
  } else if (slot == 2) {
    std::swap(r0, r2);
  }
  return length;
}

// Copies a match byte by byte, around the ring's end where that comes.
inline void CopyAround(Output& output, uint32_t to, uint32_t distance, uint32_t length) {
  uint32_t from = to >= distance ? to - distance : to + output.ring_bytes - distance;
  for (; length != 0; --length) {
    output.ring[to] = from < to || output.ring_full ? output.ring[from] : uint8_t{0};
    if (++from == output.ring_bytes) from = 0;
    if (++to == output.ring_bytes) {
      to = 0;
      output.ring_full = true;
    }
  }
}

// Decodes up to `count` bytes, fewer by one or two at the end. False: no such code, a match that goes on behind
// the chunk, or the end of the input. The chunk does not come to the ring's end.
template <bool kAligned>
[[gnu::noinline]] bool FastLoop(const Tables& tables, Bits& bits, Output& output, uint32_t* count) {
  uint8_t* const ring = output.ring;
  uint8_t* out = ring + output.position;
  uint8_t* const begin = out;
  uint8_t* const end = out + *count;
  uint8_t* const last_turn = end - 3;  // the chunk has at least three bytes
  const uint8_t* const input_stop = bits.stop();
  const uint32_t* const table = tables.main.data();
  const uint32_t shift = tables.main_shift;
  const uint32_t ring_bytes = output.ring_bytes;
  const bool ring_full = output.ring_full;
  MsbCursor in = bits;
  auto [r0, r1, r2] = *output.repeated;
  bool good = false;

  if (in.next > input_stop) return false;
  in.Refill();
  uint32_t entry = table[in.bits >> shift];
  for (;;) {
    if (entry & kTableLiteral) {
      in.Drop(entry);
      *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
      entry = table[in.bits >> shift];
      if (entry & kTableLiteral) {
        in.Drop(entry);
        *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
        entry = table[in.bits >> shift];
        if (entry & kTableLiteral) {
          in.Drop(entry);
          *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
          entry = table[in.bits >> shift];
          in.Refill();
          if (out <= last_turn && in.next <= input_stop) continue;
          break;
        }
      }
    }
    if (entry & kTableSubtable) [[unlikely]] {
      if (entry & kTableStop) goto done;
      entry = Resolve(table, entry, in);
      if (entry & kTableLiteral) {
        in.Drop(entry);
        *out++ = static_cast<uint8_t>(entry >> kTableValueShift);
        in.Refill();
        entry = table[in.bits >> shift];
        if (out <= last_turn && in.next <= input_stop) continue;
        break;
      }
    }
    {
      const uint32_t length = ReadMatch<kAligned>(tables, entry, in, r0, r1, r2);
      if (length == 0 || length > end - out) [[unlikely]]
        goto done;
      in.Refill();
      entry = table[in.bits >> shift];
      if (r0 <= out - ring) [[likely]] {
        CopyMatch(out, r0, length);
      } else if (const uint8_t* const from = out + (ring_bytes - r0);
                 ring_full && from + length <= ring + ring_bytes) {
        CopyApart(out, from, length);  // the source stands behind the match
      } else {
        CopyAround(output, static_cast<uint32_t>(out - ring), r0, length);
      }
      out += length;
    }
    if (out <= last_turn && in.next <= input_stop) continue;
    break;
  }
  good = in.next <= input_stop;
done:
  static_cast<MsbCursor&>(bits) = in;
  *output.repeated = {r0, r1, r2};
  output.position += static_cast<uint32_t>(out - begin);
  *count -= static_cast<uint32_t>(out - begin);
  return good;
}

// The same for exactly `count` bytes, around the ring's end.
template <bool kAligned>
bool CarefulLoop(const Tables& tables, Bits& bits, Output& output, uint32_t count) {
  const uint32_t* const table = tables.main.data();
  auto& [r0, r1, r2] = *output.repeated;
  while (count != 0) {
    if (bits.next > bits.stop()) return false;
    bits.Refill();
    const uint32_t entry = Resolve(table, table[bits.bits >> tables.main_shift], bits);
    uint32_t length = 1;
    if (entry & kTableLiteral) {
      bits.Drop(entry);
      output.ring[output.position] = static_cast<uint8_t>(entry >> kTableValueShift);
    } else {
      if (entry & kTableStop) return false;
      length = ReadMatch<kAligned>(tables, entry, bits, r0, r1, r2);
      if (length == 0 || length > count) return false;
      CopyAround(output, output.position, r0, length);
    }
    count -= length;
    output.position += length;
    if (output.position >= output.ring_bytes) {
      output.position -= output.ring_bytes;
      output.ring_full = true;
    }
  }
  return true;
}

}  // namespace brix::lzx
