// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// limits.h - what bounds a descent into hostile input: depth, bytes a member, and a ratio along the chain.
//
// The ratio is measured against the smallest container on the way to a member. Everything extracted below
// that container, counted from it, may be at most ratio times its size; so a bomb cannot hide behind a large
// outer archive, nor spread its growth over several levels.
#pragma once

#include <cstdint>

namespace brix {

struct Limits {
  uint32_t max_extract_size = 52'428'800;  // bytes one member may yield
  uint32_t max_ratio = 1000;               // bytes out for each byte in
  uint32_t max_nesting_level = 10;         // the outermost archive is level 1
};

// The sizes along the chain of containers that are open, as one of them sees it. All are bytes; the sums
// wrap.
struct ChainSizes {
  uint32_t total;     // of this container and all it lies in
  uint32_t smallest;  // the smallest container among them
  uint32_t
      total_at_smallest;  // the total of those around the smallest; its own size when it is the outermost

  // For the outermost archive.
  [[nodiscard]] static ChainSizes Outermost(uint32_t size);
  // For a container of `size` bytes inside the one that this describes.
  [[nodiscard]] ChainSizes Nested(uint32_t size) const;

  // The most bytes that a member may yield before the ratio test would refuse it.
  [[nodiscard]] uint32_t RatioAllowance(uint32_t max_ratio) const;
  // Whether a member that yielded `produced` bytes reaches the ratio. A smallest container of 0 bytes, which
  // only a stream that lies about its size can make, always does.
  [[nodiscard]] bool RatioReached(uint32_t produced, uint32_t max_ratio) const;
};

// The most bytes to take from a member: the extract size or the ratio's allowance, whichever is less.
[[nodiscard]] uint32_t MemberLimit(const Limits& limits, const ChainSizes& sizes);

}  // namespace brix
