// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// local_bits.h - a bit reader's state on locals, for a decoder with one loop.
#pragma once

#include <cstdint>

#include "decoders/bit_reader.h"

namespace brix {

// Stands in for `reader` inside one function: the loop's stores to its output could alias a reader that lives
// in memory, so every bit taken would be a load and a store. This object's address never leaves the function;
// only its values go to the reader and back, when a piece of input is used up. Store() ends its use.
class LocalBits {
 public:
  explicit LocalBits(LsbBitReader& reader) : reader_(reader) { Load(); }

  // Makes at least 56 bits available, zeros behind the end of the input.
  void Refill() {
    if (end_ - next_ >= 8) [[likely]] {
      bits_ |= LoadLe64(next_) << count_;
      next_ += (63 - count_) >> 3;
      count_ |= 56;
    } else {
      Store();
      reader_.Refill();
      Load();
    }
  }

  // What follows in the input, as many bits as were refilled and not dropped.
  [[nodiscard]] uint64_t bits() const { return bits_; }

  [[nodiscard]] uint32_t Peek(uint32_t n) const {
    return static_cast<uint32_t>(bits_ & ((uint64_t{1} << n) - 1));
  }

  void Drop(uint32_t n) {
    bits_ >>= n;
    count_ -= n;
  }

  [[nodiscard]] uint32_t Take(uint32_t n) {
    const uint32_t value = Peek(n);
    Drop(n);
    return value;
  }

  // False once a bit behind the end of the input was dropped. The reader invents bits only when its piece is
  // empty.
  [[nodiscard]] bool ok() {
    if (next_ != end_) [[likely]]
      return true;
    Store();
    return reader_.ok();
  }

  void Store() {
    reader_.bits = bits_;
    reader_.count = count_;
    reader_.next = next_;
  }

 private:
  void Load() {
    bits_ = reader_.bits;
    count_ = reader_.count & 63;
    next_ = reader_.next;
    end_ = reader_.end;
  }

  LsbBitReader& reader_;
  uint64_t bits_;
  uint32_t count_;
  const uint8_t* next_;
  const uint8_t* end_;
};

}  // namespace brix
