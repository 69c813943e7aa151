// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sector_table.h - which sector follows which: the FAT, the mini FAT, and the list of the FAT's own sectors.
#pragma once

#include <array>
#include <cstdint>

#include "core/memory_block.h"
#include "formats/microsoft/compound/read_only_stream.h"

namespace brix::compound {

// The FAT as a stream of bytes, put together from its sectors wherever they lie.
class FatStream final : public ReadOnlyStream {
 public:
  // Collects the numbers of up to `wanted` FAT sectors: those in the header (109 numbers at `in_header`), then
  // those in the DIFAT sectors from `first_difat` on. A list that ends early or cannot be read makes a FAT that
  // ends early. False only when memory is exhausted. The caller has bounded `wanted` by the sectors there are.
  [[nodiscard]] bool Collect(Stream* sectors, uint32_t shift, const uint8_t* in_header, uint32_t first_difat,
                             uint32_t wanted);

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;

 private:
  Stream* sectors_ = nullptr;
  uint32_t shift_ = 0;
  MemoryBlock numbers_;  // of the FAT's sectors, 4 bytes each
  uint32_t count_ = 0;
};

// Looks sectors up in the FAT or the mini FAT through a few windows, so that walking along a chain reads the
// table about once.
class SectorTable {
 public:
  // `table` holds 4 bytes for each sector.
  explicit SectorTable(Stream* table) : table_(table) {}

  // Takes `sector` and the neighbours that follow it, at least one sector and at most `most`; fewer than there are
  // where a window ends. Returns how many; `*next` is the number behind the last, or a mark, which is the end of
  // the chain where the table does not tell.
  [[nodiscard]] uint32_t Follow(uint32_t sector, uint32_t most, uint32_t* next);

 private:
  static constexpr uint32_t kWindows = 8;
  static constexpr uint32_t kWindowEntries = 128;
  static constexpr uint32_t kNothing = UINT32_MAX;  // no window has this number

  struct Window {
    uint32_t number = kNothing;
    uint32_t count = 0;  // entries that could be read
    std::array<uint32_t, kWindowEntries> entries;
  };

  [[nodiscard]] bool Load(uint32_t number, Window* window);

  Stream* table_;
  std::array<Window, kWindows> windows_;
};

}  // namespace brix::compound
