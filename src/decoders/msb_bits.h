// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// msb_bits.h - bits of a stream, most significant first, from large pieces.
#pragma once

#include <cstddef>
#include <cstdint>

#include "decoders/input_piece.h"
#include "decoders/msb_cursor.h"

namespace brix {

// Past the end of the input every bit is zero and ok() is false as soon as one of those was dropped. In a loop that
// stores, it is copied to a local and back: what lives in memory is loaded and stored for every bit taken.
//
// A fast loop copies the cursor alone and puts it back. Its turn begins with refilled bits and `next` at most
// fast_end(), takes at most kFastBits and refills at most twice; so it neither takes bits from behind the end of the
// input nor looks at more than InputPiece::kSlack bytes behind the piece.
class MsbBits : public MsbCursor {
 public:
  static constexpr uint32_t kFastBits = 88;

  MsbBits() = default;
  // Begins with the byte that `input` stands at, and takes from it from now on.
  explicit MsbBits(InputPiece& input) : input_(&input), end_(input.end) { next = input.next; }

  [[nodiscard]] const uint8_t* fast_end() const { return fast_end_; }

  // Makes a fast turn possible; false at the end of the input, whose last bytes are for Fill and the like.
  [[nodiscard]] bool FillPiece() {
    if (next > fast_end_) ReadMore();
    return next <= fast_end_;
  }

  // At least 56 bits, of which those behind the end of the input are zero; the cursor's own Refill may follow it once.
  void Fill() {
    if (end_ - next >= ptrdiff_t{kFastInput}) [[likely]] {
      Refill();
      return;
    }
    ReadMore();
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

  // Drops the rest of the current byte.
  void SkipToByte() { Drop(static_cast<uint32_t>(count & 7)); }

  // Leaves the input at the first byte of which no bit was dropped, to be read in another way. Only while ok().
  void GiveBack() {
    next -= bytes_in_cursor();
    bits = count = 0;
    input_->next = next;
  }

 private:
  // What a turn's refills look at and, at the end of the input, what a turn may take beyond the bits it begins with.
  static constexpr uint32_t kFastInput = 24;
  static constexpr uint32_t kFastTail = (kFastBits - 56) / 8;
  static_assert(kFastInput <= InputPiece::kSlack && sizeof(bits) <= InputPiece::kFront);

  [[nodiscard]] ptrdiff_t bytes_in_cursor() const { return static_cast<ptrdiff_t>((count & 63) / 8); }

  void ReadMore() {
    if (next >= end_ && input_->ended()) return;
    input_->next = next;
    input_->Fill();
    next = input_->next;
    end_ = input_->end;
    const uint32_t reserve = input_->ended() ? kFastTail : kFastInput;
    fast_end_ = input_->left() < reserve ? nullptr : end_ - reserve;
  }

  InputPiece* input_ = nullptr;
  const uint8_t* end_ = nullptr;       // of the piece
  const uint8_t* fast_end_ = nullptr;  // where a fast turn may still begin
};

}  // namespace brix
