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

  // The number behind `sector`, which may be a mark. False when the table does not tell.
  [[nodiscard]] bool Next(uint32_t sector, uint32_t* next) {
    const uint32_t number = sector / kWindowEntries;
    Window& window = windows_[number % kWindows];
    if (window.number != number && !Load(number, &window)) return false;
    const uint32_t at = sector % kWindowEntries;
    if (at >= window.count) return false;
    *next = window.entries[at];
    return true;
  }

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
