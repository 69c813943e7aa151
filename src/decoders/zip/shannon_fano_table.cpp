// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/zip/shannon_fano_table.h"

namespace brix::zip {

namespace {

constexpr uint32_t kAllCodes = 1u << ShannonFanoTable::kMaxBits;

uint32_t Reverse16(uint32_t v) {
  v = (v & 0x5555) << 1 | (v >> 1 & 0x5555);
  v = (v & 0x3333) << 2 | (v >> 2 & 0x3333);
  v = (v & 0x0F0F) << 4 | (v >> 4 & 0x0F0F);
  return (v & 0x00FF) << 8 | v >> 8;
}

}  // namespace

bool ShannonFanoTable::Build(std::span<const uint8_t> lengths) {
  if (lengths.size() > kMaxSymbols) return false;
  std::array<uint32_t, kMaxBits + 1> count{};
  for (const uint8_t length : lengths) {
    if (length == 0 || length > kMaxBits) return false;
    ++count[length];
  }
  uint32_t code = 0;  // left-justified
  uint32_t index = 0;
  for (uint32_t n = 1; n <= kMaxBits; ++n) {
    code_start_[n] = code;
    first_[n] = index;
    code += count[n] << (kMaxBits - n);  // at most 256 << 15 at a time
    index += count[n];
    code_end_[n] = code;
  }
  if (code != kAllCodes) return false;

  std::array<uint32_t, kMaxBits + 1> place = first_;
  for (uint32_t s = 0; s < lengths.size(); ++s) sorted_[place[lengths[s]]++] = static_cast<uint8_t>(s);
  root_.fill({0, 0});
  code = 0;
  for (uint32_t i = 0; i < lengths.size(); ++i) {
    const uint8_t value = sorted_[i];
    const uint32_t n = lengths[value];
    if (n > kRootBits) break;
    for (uint32_t slot = Reverse16(code); slot < kRootSize; slot += 1u << n)
      root_[slot] = {value, static_cast<uint8_t>(n)};
    code += 1u << (kMaxBits - n);
  }
  return true;
}

ShannonFanoTable::Symbol ShannonFanoTable::FindLong(uint32_t inverted) const {
  const uint32_t code = Reverse16(inverted);
  uint32_t n = kRootBits + 1;
  while (code >= code_end_[n]) ++n;  // ends: the set is complete, so the last end is above every code
  return {sorted_[first_[n] + ((code - code_start_[n]) >> (kMaxBits - n))], static_cast<uint8_t>(n)};
}

}  // namespace brix::zip
