// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sector_table.cpp - reads the tables of a compound file piece by piece; neither is ever held whole.
//
// Bounds: the list of FAT sectors has at most as many numbers as the file has sectors, 32,768 at the most; the
// walk along the DIFAT sectors ends because each yields at least one number. A number that lies outside the
// file makes the lookups that need it fail, and no others.
#include "formats/microsoft/compound/sector_table.h"

#include <algorithm>
#include <cstring>

#include "core/byte_order.h"
#include "formats/microsoft/compound/compound_format.h"

namespace brix::compound {

namespace {

constexpr uint32_t kNumberBytes = 4;

// Reads from sector `number`; short at the end of the file.
bool ReadSector(Stream& sectors, uint32_t number, uint32_t shift, uint32_t at, uint8_t* buf, uint32_t size,
                uint32_t* got) {
  *got = 0;
  const uint64_t from = (uint64_t{number} << shift) + at;
  return number < kFirstMark && from <= UINT32_MAX &&
         sectors.ReadAt(static_cast<uint32_t>(from), buf, size, got) && *got <= size;
}

}  // namespace

bool FatStream::Collect(Stream* sectors, uint32_t shift, const uint8_t* in_header, uint32_t first_difat,
                        uint32_t wanted) {
  sectors_ = sectors;
  shift_ = shift;
  count_ = std::min(wanted, kHeaderDifatEntries);
  if (wanted == 0) return true;
  if (!numbers_.TryResize(size_t{wanted} * kNumberBytes)) return false;
  std::memcpy(numbers_.data(), in_header, size_t{count_} * kNumberBytes);
  const uint32_t most = (1u << shift) / kNumberBytes - 1;  // behind them stands the number of the next sector
  for (uint32_t sector = first_difat; count_ < wanted;) {
    const uint32_t numbers = std::min(most, wanted - count_);
    uint8_t* const to = numbers_.data() + size_t{count_} * kNumberBytes;
    uint32_t got = 0;
    if (!ReadSector(*sectors, sector, shift, 0, to, numbers * kNumberBytes, &got)) break;
    count_ += got / kNumberBytes;
    uint8_t next[kNumberBytes];
    if (!ReadSector(*sectors, sector, shift, most * kNumberBytes, next, kNumberBytes, &got)) break;
    if (got != kNumberBytes) break;
    sector = LoadLe32(next);
  }
  return true;
}

bool FatStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  const uint32_t sector_bytes = 1u << shift_;
  while (*got < size && offset >> shift_ < count_) {  // each turn reads bytes or leaves
    const uint32_t at = offset & (sector_bytes - 1);
    const uint32_t piece = std::min(size - *got, sector_bytes - at);
    const uint32_t number = LoadLe32(numbers_.data() + size_t{offset >> shift_} * kNumberBytes);
    uint32_t piece_got = 0;
    if (!ReadSector(*sectors_, number, shift_, at, buf + *got, piece, &piece_got)) break;
    *got += piece_got;
    if (piece_got != piece || piece > UINT32_MAX - offset) break;
    offset += piece;
  }
  return *got != 0;
}

bool FatStream::GetSize(uint32_t* size) {
  *size = static_cast<uint32_t>(std::min<uint64_t>(uint64_t{count_} << shift_, UINT32_MAX));
  return true;
}

uint32_t SectorTable::Follow(uint32_t sector, uint32_t most, uint32_t* next) {
  const uint32_t number = sector / kWindowEntries;
  Window& window = windows_[number % kWindows];
  uint32_t at = sector % kWindowEntries;
  if ((window.number != number && !Load(number, &window)) || at >= window.count) {
    *next = kEndOfChain;
    return 1;
  }
  // No sum reaches the marks: a table of 4 GiB tells of 2^30 sectors.
  uint32_t taken = 1;
  while (taken < most && at + 1 < window.count && window.entries[at] == sector + taken) {
    ++at;
    ++taken;
  }
  *next = window.entries[at];
  return taken;
}

bool SectorTable::Load(uint32_t number, Window* window) {
  window->number = kNothing;
  constexpr uint32_t kBytes = kWindowEntries * kNumberBytes;
  const uint64_t from = uint64_t{number} * kBytes;
  std::array<uint8_t, kBytes> bytes;
  uint32_t got = 0;
  if (from > UINT32_MAX || !table_->ReadAt(static_cast<uint32_t>(from), bytes.data(), kBytes, &got))
    return false;
  window->count = std::min(got, kBytes) / kNumberBytes;
  for (uint32_t i = 0; i < window->count; ++i) window->entries[i] = LoadLe32(bytes.data() + i * kNumberBytes);
  window->number = number;
  return true;
}

}  // namespace brix::compound
