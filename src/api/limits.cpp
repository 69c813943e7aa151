// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/limits.h"

#include <algorithm>

namespace brix {

ChainSizes ChainSizes::Outermost(uint32_t size) { return {size, size, size}; }

ChainSizes ChainSizes::Nested(uint32_t size) const {
  ChainSizes nested{total + size, smallest, total_at_smallest};  // wraps
  if (size < smallest) {
    nested.smallest = size;
    nested.total_at_smallest = total;
  }
  return nested;
}

// Kept: whether the product fits 32 bits is decided in single precision, the product itself is made in
// integers.
uint32_t ChainSizes::RatioAllowance(uint32_t max_ratio) const {
  constexpr float kTooLarge = 4294967296.0F;
  if (static_cast<float>(smallest) * static_cast<float>(max_ratio) >= kTooLarge) return UINT32_MAX;
  return smallest * max_ratio - total + total_at_smallest;  // wraps
}

// The sum is made in 64 bits: a wrap there would let the largest members pass.
bool ChainSizes::RatioReached(uint32_t produced, uint32_t max_ratio) const {
  if (smallest == 0) return true;
  const uint64_t grown =
      uint64_t{total - total_at_smallest} + produced;  // the difference wraps as the sums do
  return grown / smallest >= max_ratio;
}

uint32_t MemberLimit(const Limits& limits, const ChainSizes& sizes) {
  return std::min(limits.max_extract_size, sizes.RatioAllowance(limits.max_ratio));
}

}  // namespace brix
