// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bit_reader.h - bits of a stream, least significant first, from large pieces.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/byte_order.h"
#include "core/memory_block.h"
#include "core/stream.h"

namespace brix {

// A 64-bit buffer over a piece of the input in memory. Past the end of the input every bit is zero and ok() is
// false as soon as one of those was dropped; a decoder asks at least once a block.
//
// The bits above `count` are either zero or the ones that follow in the input, so a refill may or them in again and
// a table lookup may peek at them.
//
// A decoder with a fast loop takes the public state into locals and gives it back with Land. A turn begins with
// refilled bits and `next` at most `fast_end`, takes at most kFastBits and refills at most twice; so it neither takes
// bits from behind the end of the input nor reads more than kSlack bytes behind the piece.
class LsbBitReader {
 public:
  static constexpr uint32_t kPiece = 32768;  // bytes read at a time
  static constexpr uint32_t kSlack = 32;     // zeros behind the last piece
  static constexpr uint32_t kFastBits = 88;

  // Takes the memory for the pieces, once; false when there is none.
  [[nodiscard]] bool Allocate() { return piece_.TryResize(kPiece + kSlack); }

  // Begins at offset 0 of the input. Forgets everything but the memory.
  void Restart() {
    bits = 0;
    count = 0;
    next = end = piece_.data();
    fast_end = nullptr;
    offset_ = 0;
    ended_ = false;
    invented_ = 0;
  }

  // The stream to read from until told otherwise; its content is that of the one before.
  void Attach(Stream* in) { in_ = in; }

  // Begins with an input that stands whole in memory, the caller's, with kSlack zeros behind it.
  void Lend(const uint8_t* input, uint32_t size);

  // Makes at least 56 bits available, inventing zeros behind the end of the input.
  void Refill() {
    if (end - next >= 8) {
      bits |= LoadLe64(next) << (count & 63);
      next += (63 - (count & 63)) >> 3;
      count = (count & 63) | 56;
    } else {
      RefillSlowly();
    }
  }

  [[nodiscard]] uint32_t Peek(uint32_t n) const {
    return static_cast<uint32_t>(bits & ((uint64_t{1} << n) - 1));
  }

  void Drop(uint32_t n) {
    bits >>= n;
    count = (count & 63) - n;
  }

  // The next n bits, at most 32. Refills first.
  [[nodiscard]] uint32_t Read(uint32_t n) {
    Refill();
    const uint32_t value = Peek(n);
    Drop(n);
    return value;
  }

  // False once a bit behind the end of the input was dropped.
  [[nodiscard]] bool ok() const { return invented_ * 8 <= (count & 63); }

  // The offset in the input of the byte that holds the next bit, or follows the last one taken.
  [[nodiscard]] uint32_t Position() const {
    const uint32_t whole_bytes = (count & 63) / 8;
    return offset_ - static_cast<uint32_t>(end - next) - (whole_bytes - std::min(invented_, whole_bytes));
  }

  // Drops the rest of the current byte and gives whole bytes back to the piece, so that `next` is the next byte.
  void AlignToByte();

  // Copies up to `size` whole bytes, after AlignToByte; fewer only at the end of the input.
  [[nodiscard]] uint32_t CopyBytes(uint8_t* to, uint32_t size);

  // Makes a fast loop possible again: moves the unread bytes to the front and reads behind them. False at the end
  // of the input, whose last bytes are for Refill.
  [[nodiscard]] bool FillPiece();

  // Takes back the state from a fast loop, which may have gone on into the zeros behind the end.
  void Land(const uint8_t* loop_next, uint64_t loop_bits, uint32_t loop_count) {
    if (loop_next > end) {
      invented_ += static_cast<uint32_t>(loop_next - end);
      loop_next = end;
    }
    next = loop_next;
    bits = loop_bits;
    count = loop_count;
  }

  uint64_t bits = 0;
  uint32_t count = 0;             // valid bits, in the low six bits; what stands above them has no meaning
  const uint8_t* next = nullptr;  // first byte not yet in `bits`
  const uint8_t* end = nullptr;   // of the piece
  const uint8_t* fast_end = nullptr;  // where a fast turn may still begin

 private:
  void RefillSlowly();
  void ReadMore();
  void GiveBackBytes();

  MemoryBlock piece_;
  Stream* in_ = nullptr;
  uint32_t offset_ = 0;    // in the stream, of the byte at `end`
  bool ended_ = false;     // the stream has no more
  uint32_t invented_ = 0;  // zero bytes put into `bits` behind the end of the input
};

}  // namespace brix
