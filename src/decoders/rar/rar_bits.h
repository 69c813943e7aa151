// rar_bits.h - bits of a member's packed data, most significant first, from large pieces.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/field_reader.h"
#include "core/memory_block.h"
#include "core/stream.h"
#include "decoders/msb_cursor.h"

namespace brix::rar {

// Past the end of the input every bit is zero and ok() is false as soon as one of those was dropped.
//
// A fast loop copies the cursor and puts it back. Its turn begins with refilled bits and `next` at most fast_end(),
// takes at most kFastBits and refills at most twice; so it neither takes bits from behind the end of the input nor
// looks at more than kSlack bytes behind the piece.
class Bits : public MsbCursor {
 public:
  static constexpr uint32_t kFastBits = 88;

  // Begins with the first byte of `in`. False: no memory.
  [[nodiscard]] bool Begin(Stream& in) {
    if (!piece_.TryResize(kFront + kPiece + kSlack)) return false;
    static_cast<MsbCursor&>(*this) = {};
    next = end_ = piece_.data() + kFront;
    fast_end_ = nullptr;
    in_ = &in;
    offset_ = 0;
    ended_ = false;
    return true;
  }

  // Goes on with another stream of the same content.
  void Attach(Stream& in) { in_ = &in; }

  [[nodiscard]] const uint8_t* fast_end() const { return fast_end_; }

  // Makes a fast turn possible; false at the end of the input, whose last bytes are for Fill and the like.
  [[nodiscard]] bool FillPiece() {
    if (next > fast_end_) ReadMore();
    return next <= fast_end_;
  }

  // At least 56 bits, of which those behind the end of the input are zero; the cursor's own Refill may follow it once.
  void Fill() {
    if (end_ - next < ptrdiff_t{kFastInput}) ReadMore();
    // Further on ok() is false for good: a cursor holds less than eight bytes.
    if (next - end_ < 16) Refill();
  }

  // The next n bits, at most 32.
  [[nodiscard]] uint32_t Read(uint32_t n) {
    Fill();
    return Take(n);
  }

  // False once a bit behind the end of the input was dropped.
  [[nodiscard]] bool ok() const { return (next - end_) * 8 <= static_cast<ptrdiff_t>(count & 63); }

  // Whether at least `bytes`, up to 6, are left.
  [[nodiscard]] bool Holds(uint32_t bytes) {
    Fill();
    return (end_ - next + bytes_in_cursor()) >= static_cast<ptrdiff_t>(bytes);
  }

  void SkipToByte() { Drop(static_cast<uint32_t>(count & 7)); }

  // For who reads the bytes themselves from `next` to end(): gives whole bytes back, and the next piece when those are
  // used up; false at the end of the input.
  void GiveBackBytes() {
    next -= bytes_in_cursor();
    bits = count = 0;
  }
  [[nodiscard]] bool NextPiece() {
    if (next >= end_) ReadMore();
    return next < end_;
  }
  [[nodiscard]] const uint8_t* end() const { return end_; }

 private:
  static constexpr uint32_t kPiece = 65536;  // bytes read at a time
  static constexpr uint32_t kSlack = 32;     // zeros behind the last piece
  static constexpr uint32_t kFront = 8;      // bytes in front of a piece: those that the cursor may give back
  // What a turn's refills look at and, at the end of the input, what a turn may take beyond the bits it begins with.
  static constexpr uint32_t kFastInput = 24;
  static constexpr uint32_t kFastTail = (kFastBits - 56) / 8;

  [[nodiscard]] ptrdiff_t bytes_in_cursor() const { return static_cast<ptrdiff_t>((count & 63) / 8); }

  // Moves the unread bytes to the front of the piece and reads behind them. A stream may hand out less than it was
  // asked for before its end; only a failed or empty read is the end.
  void ReadMore() {
    if (ended_) return;
    uint8_t* const front = piece_.data() + kFront;
    const auto unread = static_cast<uint32_t>(end_ - next);
    std::memmove(front - kFront, next - kFront, unread + kFront);
    uint32_t filled = unread;
    do {
      const uint32_t room = kPiece - filled;
      uint32_t got = 0;
      if (!in_->ReadAt(offset_, front + filled, room, &got) || got > room) got = 0;
      filled += got;
      ended_ = got == 0 || !CheckedAdd(&offset_, got);
    } while (!ended_ && filled < kFastInput);
    next = front;
    end_ = front + filled;
    if (ended_) std::memset(front + filled, 0, kSlack);
    const uint32_t reserve = ended_ ? kFastTail : kFastInput;
    fast_end_ = filled < reserve ? nullptr : end_ - reserve;
  }

  MemoryBlock piece_;
  Stream* in_ = nullptr;
  const uint8_t* end_ = nullptr;       // of the piece
  const uint8_t* fast_end_ = nullptr;  // where a fast turn may still begin
  uint32_t offset_ = 0;                // in the stream, of the byte at end_
  bool ended_ = false;                 // the stream has no more
};

}  // namespace brix::rar
