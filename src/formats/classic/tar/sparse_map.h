// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sparse_map.h - which parts of a sparse member are stored.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "formats/classic/tar/tar_header.h"

namespace brix::tar {

// One stored part of the file; all else is zeros.
struct Chunk {
  uint32_t offset;  // in the file
  uint32_t length;
};

class SparseMap {
 public:
  // Takes in up to `entries` map entries from `at` on, until the first that is no number or has length 0. False: no
  // memory.
  [[nodiscard]] bool Add(const Block& block, uint32_t at, uint32_t entries);

  // The chunks as stored; nothing says that they are in order.
  [[nodiscard]] std::span<const Chunk> chunks() const;
  // Whether there were more than are kept.
  [[nodiscard]] bool cut() const { return cut_; }

  // Forgets the chunks and keeps the memory.
  void Clear() {
    count_ = 0;
    cut_ = false;
  }

 private:
  [[nodiscard]] bool Append(Chunk chunk);

  MemoryBlock memory_;  // of chunks
  uint32_t count_ = 0;
  bool cut_ = false;
};

}  // namespace brix::tar
