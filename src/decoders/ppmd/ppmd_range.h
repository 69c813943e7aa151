// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_range.h - the range decoder of RAR 2.9's PPMd; included by ppmd_decoder.cpp alone.
//
// The bounds are 32-bit numbers that wrap: low and low + range. When both share their top byte it is dropped and a byte
// of input comes in below. What is odd: there is no carry. When the range has become small while its ends still differ
// in the top byte, it is cut at the next multiple of kSmall, and a byte is dropped then too.
//
// Bounds: after Settle the range is at least kSmall, so a choice by 1 / kWhole has a part that is not empty. A total may
// be larger than the range; then nothing is below any count, which the model takes for damage. Settle ends since each turn multiplies the range,
// which is not zero, by 256.
#pragma once

#include <cstdint>

#include "decoders/input_piece.h"
#include "decoders/match_copy.h"
#include "decoders/ppmd/ppmd_decoder.h"
#include "decoders/ppmd/ppmd_model.h"

namespace brix::ppmd {

inline constexpr uint32_t kTop = 1u << 24;
inline constexpr uint32_t kSmall = 1u << 15;

// Its state lives in locals of one function; what is kept between two of them is a RangeState.
class RangeDecoder {
 public:
  RangeDecoder(InputPiece& in, const RangeState& state)
      : in_(in), state_(state), next_(in.next), end_(in.end) {}

  void Start() {
    state_ = {0, 0, UINT32_MAX, 0};
    for (int i = 0; i < 4; ++i) state_.ahead = state_.ahead << 8 | Byte();
  }

  // Ends this object's use.
  void Store(RangeState* state) {
    in_.next = next_;
    *state = state_;
  }

  [[nodiscard]] uint32_t invented() const { return state_.invented; }

  // --- For the model ---

  template <typename Open>
  BRIX_ALWAYS_INLINE void Look(const State*, const State*, Open) {}

  BRIX_ALWAYS_INLINE void Divide(uint32_t total) { state_.range /= total; }
  [[nodiscard]] BRIX_ALWAYS_INLINE bool IsBelow(uint32_t count) const {
    return state_.ahead < count * state_.range;
  }
  BRIX_ALWAYS_INLINE void Narrow(uint32_t start, uint32_t size) {
    const uint32_t below = start * state_.range;
    state_.low += below;
    state_.ahead -= below;
    state_.range *= size;
    Settle();
  }

  [[nodiscard]] BRIX_ALWAYS_INLINE bool IsBelowOf(uint32_t part) const {
    return state_.ahead < part * (state_.range >> kWholeBits);
  }
  BRIX_ALWAYS_INLINE void NarrowTo(uint32_t part) {
    state_.range = part * (state_.range >> kWholeBits);
    Settle();
  }
  BRIX_ALWAYS_INLINE void NarrowPast(uint32_t part) {
    state_.range >>= kWholeBits;
    Narrow(part, (1u << kWholeBits) - part);
  }

 private:
  BRIX_ALWAYS_INLINE void Settle() {
    for (;;) {
      if ((state_.low ^ (state_.low + state_.range)) >= kTop) {
        if (state_.range >= kSmall) [[likely]]
          return;
        state_.range = (0u - state_.low) & (kSmall - 1);
      }
      state_.low <<= 8;
      state_.range <<= 8;
      state_.ahead = state_.ahead << 8 | Byte();
    }
  }

  // Zeros behind the end of the input.
  BRIX_ALWAYS_INLINE uint32_t Byte() {
    if (next_ == end_) [[unlikely]] {
      in_.next = next_;
      in_.Fill();
      next_ = in_.next;
      end_ = in_.end;
      if (next_ == end_) {
        ++state_.invented;
        return 0;
      }
    }
    return *next_++;
  }

  InputPiece& in_;
  RangeState state_;
  const uint8_t* next_;
  const uint8_t* end_;
};

}  // namespace brix::ppmd
