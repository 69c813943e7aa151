// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// shannon_fano_table.h - the decoding table of one code of the imploding method.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace brix::zip {

// The method numbers its codes from the longest to the shortest and sends them most significant bit first.
// For a complete set that is the usual canonical code with every bit inverted, so the table works on inverted
// input.
class ShannonFanoTable {
 public:
  static constexpr uint32_t kMaxBits = 16;
  static constexpr uint32_t kMaxSymbols = 256;

  struct Symbol {
    uint8_t value;
    uint8_t bits;  // length of its code
  };

  // `lengths`: 1 to 16 for each of at most 256 symbols. False for a set that is not complete: no packer
  // writes one, and with it some input would mean nothing.
  [[nodiscard]] bool Build(std::span<const uint8_t> lengths);

  // The symbol whose code comes first in `bits`, of which 16 count.
  [[nodiscard]] Symbol Find(uint64_t bits) const {
    const auto inverted = static_cast<uint32_t>(~bits & 0xFFFF);
    const Symbol found = root_[inverted & (kRootSize - 1)];
    return found.bits != 0 ? found : FindLong(inverted);
  }

 private:
  static constexpr uint32_t kRootBits = 9;
  static constexpr uint32_t kRootSize = 1u << kRootBits;

  [[nodiscard]] Symbol FindLong(uint32_t inverted) const;

  std::array<Symbol, kRootSize> root_;       // by the next bits, first one lowest; bits 0: a longer code
  std::array<uint8_t, kMaxSymbols> sorted_;  // by length, then by number
  std::array<uint32_t, kMaxBits + 1>
      code_end_;  // behind the last code of each length, left-justified to 16 bits
  std::array<uint32_t, kMaxBits + 1> code_start_;  // of each length
  std::array<uint32_t, kMaxBits + 1> first_;       // index in sorted_ of each length's first symbol
};

}  // namespace brix::zip
