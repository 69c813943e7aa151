// msb_bits.h - bits of a stream, most significant first, from large pieces.
#pragma once

#include <cstdint>

#include "core/byte_order.h"
#include "decoders/input_piece.h"

namespace brix {

// A 64-bit buffer over a piece of the input, the next bit on top. Past the end of the input every bit is zero and ok()
// is false as soon as one of those was dropped. In a loop that stores, it is copied to a local and back: what lives in
// memory is loaded and stored for every bit taken.
class MsbBits {
 public:
  // Begins with the byte that `input` stands at.
  explicit MsbBits(InputPiece& input) : input_(&input), next_(input.next), end_(input.end) {}

  // Makes at least 56 bits available, zeros behind the end of the input.
  void Refill() {
    if (end_ - next_ >= 8) [[likely]] {
      bits_ |= LoadBe64(next_) >> count_;
      next_ += (63 - count_) >> 3;
      count_ |= 56;
    } else {
      RefillSlowly();
    }
  }

  // What follows in the input, as many bits from the top as were refilled and not dropped.
  [[nodiscard]] uint64_t bits() const { return bits_; }

  // n is at least 1.
  [[nodiscard]] uint32_t Peek(uint32_t n) const { return static_cast<uint32_t>(bits_ >> (64 - n)); }

  void Drop(uint32_t n) {
    bits_ <<= n;
    count_ -= n;
  }

  // The next n bits, 1 to 32. Refills first.
  [[nodiscard]] uint32_t Read(uint32_t n) {
    Refill();
    const uint32_t value = Peek(n);
    Drop(n);
    return value;
  }

  // Drops the rest of the current byte.
  void AlignToByte() { Drop(count_ % 8); }

  // False once a bit behind the end of the input was dropped.
  [[nodiscard]] bool ok() const { return invented_ * 8 <= count_; }

 private:
  void RefillSlowly() {
    input_->next = next_;
    input_->Fill();
    next_ = input_->next;
    end_ = input_->end;
    if (end_ - next_ >= 8) return Refill();
    while (count_ <= 56) {
      if (next_ != end_) {
        bits_ |= uint64_t{*next_++} << (56 - count_);
      } else if (invented_ < 16) {
        ++invented_;  // enough for ok() to stay false whatever is dropped
      }
      count_ += 8;
    }
  }

  InputPiece* input_;
  const uint8_t* next_;  // first byte not yet in the bits
  const uint8_t* end_;
  uint64_t bits_ = 0;
  uint32_t count_ = 0;
  uint32_t invented_ = 0;  // zero bytes put into the bits behind the end of the input
};

}  // namespace brix
