// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// passed_blocks.h - the output of the blocks that a folder's decoder has just passed.
//
// A file may list its members backwards, a block at a time, so that each costs a pass over the folder. Once a folder
// was gone back in, the last blocks passed are kept, and one pass serves the members of them all; a folder no larger
// than that is decoded twice at most while the members stay in it. Going forward costs nothing.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <span>

#include "core/memory_block.h"
#include "formats/microsoft/cabinet/cabinet_format.h"

namespace brix::cabinet {

class PassedBlocks {
 public:
  void Clear() { count_ = 0; }

  // Keeps a block, the one that follows the last kept, in the place of the oldest. Without memory nothing is kept.
  void Keep(uint32_t start, std::span<const uint8_t> plain) {
    if (!bytes_.TryResize(kBlocks * kMaxPlain)) return Clear();
    const uint32_t slot = count_++ % kBlocks;
    std::memcpy(bytes_.data() + slot * kMaxPlain, plain.data(), plain.size());
    entries_[slot] = {start, static_cast<uint32_t>(plain.size())};
  }

  // What is kept from an offset in the folder to the end of its block; empty when it is not.
  [[nodiscard]] std::span<const uint8_t> Find(uint32_t offset) const {
    for (uint32_t slot = 0; slot < kBlocks && slot < count_; ++slot) {
      const uint32_t into = offset - entries_[slot].start;  // wraps for an offset before the block
      if (into < entries_[slot].size) {
        return {bytes_.data() + slot * kMaxPlain + into, entries_[slot].size - into};
      }
    }
    return {};
  }

 private:
  static constexpr uint32_t kBlocks = 32;

  struct Entry {
    uint32_t start;  // offset in the folder
    uint32_t size;
  };

  MemoryBlock bytes_;
  std::array<Entry, kBlocks> entries_;
  uint32_t count_ = 0;  // kept since the last Clear, also those that others replaced
};

}  // namespace brix::cabinet
