// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_symbols.h - the Huffman coded part of a bzip2 block: from bits to the last column of the sorted rotations.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "core/memory_block.h"
#include "decoders/msb_bits.h"

namespace brix::bzip2 {

// The last column of a block.
struct Column {
  static constexpr uint32_t kSlack = 32;  // bytes that may be written behind it

  MemoryBlock bytes;
  uint32_t size = 0;
  std::array<uint32_t, 256> counts;  // of each byte in it
};

// Reads one block at a time. Memory, taken by the first: 660 KiB for tables, of which 24 are used by codes of at most
// 10 bits.
class SymbolReader {
 public:
  // Takes the memory; false when there is none.
  [[nodiscard]] bool Allocate();

  // Reads a block from its map of bytes in use to its end symbol. The column grows with what arrives, to at most
  // `most_bytes`. False: damage or no memory.
  [[nodiscard]] bool Read(MsbBits& in, uint32_t most_bytes, Column* column);

 private:
  static constexpr uint32_t kTables = 6;
  static constexpr uint32_t kMostSymbols = 258;
  static constexpr uint32_t kMostSelectors = 18002;  // for the largest block
  // Each subtable but the last is full, so one of 2^k entries takes k + 1 symbols, k being at most 10.
  static constexpr uint32_t kEntries = 1024 + kMostSymbols * 1024 / 11 + 1024;

  struct Memory {
    std::array<std::array<uint32_t, kEntries>, kTables> tables;
    std::array<uint8_t, kMostSelectors> selectors;
  };

  [[nodiscard]] bool ReadBytesInUse(MsbBits& in);
  [[nodiscard]] bool ReadSelectors(MsbBits& in);
  [[nodiscard]] bool ReadTables(MsbBits& in);
  [[nodiscard]] bool ReadColumn(MsbBits& in, uint32_t most_bytes, Column* column);

  std::unique_ptr<Memory> memory_;
  std::array<uint8_t, 256> in_use_;  // bytes in ascending order
  uint32_t symbols_ = 0;             // two for runs, one for each byte in use but the first, the end
  uint32_t tables_ = 0;
  uint32_t selectors_ = 0;
};

}  // namespace brix::bzip2
