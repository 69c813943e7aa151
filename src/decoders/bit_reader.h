// bit_reader.h - bits of a stream, least significant first, from large pieces.
#pragma once

#include <cstdint>

#include "core/byte_order.h"
#include "core/memory_block.h"
#include "core/stream.h"

namespace brix {

// A 64-bit buffer over a piece of the input in memory. Past the end of the input every bit is zero and ok() is false
// as soon as one of those was dropped; a decoder asks at least once a block.
//
// The bits above `count` are either zero or the ones that follow in the input, so a refill may or them in again and
// a table lookup may peek at them. Decoders with a fast loop take the public state into locals, run while at least
// kFastInput bytes are left in the piece, and put it back.
class LsbBitReader {
 public:
  static constexpr uint32_t kPiece = 32768;   // bytes read at a time
  static constexpr uint32_t kFastInput = 32;  // a fast loop's turn reads at most this far ahead of `next`

  // Takes the memory for the pieces, once; false when there is none.
  [[nodiscard]] bool Allocate() { return piece_.TryResize(kPiece); }

  // Begins at offset 0 of the input. Forgets everything but the memory.
  void Restart() {
    bits = 0;
    count = 0;
    next = end = piece_.data();
    offset_ = 0;
    ended_ = false;
    invented_ = 0;
  }

  // The stream to read from until told otherwise; its content is that of the one before.
  void Attach(Stream* in) { in_ = in; }

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

  // Drops the rest of the current byte and gives whole bytes back to the piece, so that `next` is the next byte.
  void AlignToByte();

  // Copies up to `size` whole bytes, after AlignToByte; fewer only at the end of the input.
  [[nodiscard]] uint32_t CopyBytes(uint8_t* to, uint32_t size);

  // Makes a fast loop possible again: moves the unread bytes to the front and reads behind them. False when the end of the
  // input leaves fewer than kFastInput bytes, which are for Refill.
  [[nodiscard]] bool FillPiece();

  uint64_t bits = 0;
  uint32_t count = 0;             // valid bits, in the low six bits; what stands above them has no meaning
  const uint8_t* next = nullptr;  // first byte not yet in `bits`
  const uint8_t* end = nullptr;   // of the piece

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
