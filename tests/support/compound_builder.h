// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// compound_builder.h - writes a compound file entry by entry, and tells where its fields stand, so that a test can
// spoil one of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/byte_order.h"
#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {

struct CompoundBuilder {
  uint32_t shift = 9;
  uint32_t cutoff = 4096;
  bool backwards = false;  // every chain's sectors lie in reverse order, so that none has its neighbour next

  // Adds an entry, numbered from 1, 0 being the root: a storage, or a stream of these bytes. It is the right sibling
  // of the one that was added to the same parent before.
  uint32_t Storage(const std::u16string& name, uint32_t parent = 0) { return Add({name, 1, {}}, parent); }
  uint32_t Stream(const std::u16string& name, const Bytes& data, uint32_t parent = 0) {
    return Add({name, 2, data}, parent);
  }

  const Bytes& Build() {
    if (shift < 9) fat_.Fill(((512u >> shift) - 1) * 4, 0xFF);  // sectors inside the header
    Bytes mini_fat;
    for (Entry& e : entries_) {
      Bytes& mini = entries_[0].data;
      if (e.type != 2 || e.data.size() == 0) continue;
      e.start = e.data.size() >= cutoff ? Place(e.data) : mini.size() / 64;
      if (e.data.size() >= cutoff) continue;
      mini.Raw(e.data).PadTo((mini.size() + 63) / 64 * 64);
      while (mini_fat.size() < mini.size() / 16) mini_fat.U32(mini_fat.size() / 4 + 1);
      mini_fat.PatchU32(mini_fat.size() - 4, 0xFFFFFFFE);
    }
    entries_[0].start = Place(entries_[0].data);
    bytes = Bytes().U32(0xE011CFD0).U32(0xE11AB1A1).PadTo(30).U16(shift).U16(6).PadTo(56).U32(cutoff);
    bytes.U32(Place(mini_fat)).U32((mini_fat.size() + (1u << shift) - 1) >> shift).U32(0xFFFFFFFE).U32(0);
    Bytes directory;
    for (const Entry& e : entries_) directory.Raw(Record(e));
    bytes.PatchU32(48, Place(directory));
    directory_at = SectorAt(LoadLe32(&bytes.data[48]));
    return Finish();
  }

  // Offsets in the file that Build gave.
  [[nodiscard]] uint32_t SectorAt(uint32_t sector) const { return (sector + 1) << shift; }
  [[nodiscard]] uint32_t FatAt(uint32_t sector) const { return SectorAt(fat_sector) + sector * 4; }
  [[nodiscard]] uint32_t EntryAt(uint32_t entry) const { return directory_at + 128 * entry; }
  [[nodiscard]] uint32_t StartOf(uint32_t entry) const { return entries_[entry].start; }

  Bytes bytes;
  uint32_t directory_at = 0;
  uint32_t fat_sector = 0;  // the first; the one of the DIFAT, if there is one, stands before it

 private:
  struct Entry {
    std::u16string name;
    uint32_t type;
    Bytes data;
    uint32_t start = 0xFFFFFFFE, right = ~0u, child = ~0u, last_child = 0;
  };

  uint32_t Add(const Entry& entry, uint32_t parent) {
    const auto index = static_cast<uint32_t>(entries_.size());
    const uint32_t before = std::exchange(entries_[parent].last_child, index);
    (before == 0 ? entries_[parent].child : entries_[before].right) = index;
    entries_.push_back(entry);
    return index;
  }
  static Bytes Record(const Entry& e) {
    Bytes to;
    for (const char16_t unit : e.name) to.U16(unit);
    to.PadTo(64).U16(static_cast<uint32_t>(std::min<size_t>(e.name.size() * 2 + 2, 64))).U16(e.type).U32(~0u);
    return to.U32(e.right).U32(e.child).Fill(36, 0).U32(e.start).U32(e.data.size()).U32(0);
  }
  // Appends data as a chain of sectors; the first one's number.
  uint32_t Place(Bytes data) {
    const uint32_t count = (data.size() + (1u << shift) - 1) >> shift;
    const uint32_t base = fat_.size() / 4;
    data.PadTo(size_t{count} << shift);
    const auto at = [&](uint32_t i) { return base + (backwards ? count - 1 - i : i); };
    for (uint32_t n = 0; n < count; ++n) {  // at() is its own inverse
      const uint32_t i = at(n) - base;
      fat_.U32(i + 1 == count ? 0xFFFFFFFE : at(i + 1));
      sectors_.Raw(std::span(data.data).subspan(i << shift, 1u << shift));
    }
    return count == 0 ? 0xFFFFFFFE : at(0);
  }
  const Bytes& Finish() {
    const uint32_t numbers = 1u << (shift - 2);  // in a sector
    fat_sector = fat_.size() / 4 + 1;
    const uint32_t fats = (fat_sector + numbers) / (numbers - 1);  // some more than needed at times
    fat_.U32(0xFFFFFFFC).Fill(4 * fats, 0xFD).Fill((fats << shift) - fat_.size(), 0xFF);
    Bytes list;
    for (uint32_t i = 0; i < fats; ++i) list.U32(fat_sector + i);
    list.Fill(436 + (1u << shift) - 4 - list.size(), 0xFF).U32(0xFFFFFFFE);
    bytes.PatchU32(44, fats);
    if (fats > 109) bytes.PatchU32(68, fat_sector - 1).PatchU32(72, 1);
    bytes.Raw(std::span(list.data).first(436)).PadTo(1u << shift).Raw(sectors_);
    return bytes.Raw(std::span(list.data).subspan(436)).Raw(fat_);
  }

  std::vector<Entry> entries_ = {Entry{u"R", 5, {}}};
  Bytes fat_;
  Bytes sectors_;
};

// The walk as one line: name=content, "!" behind what could not be extracted, and "$" when the walk came to its end.
inline std::string WalkLine(uint32_t type_id, const Bytes& bytes, uint32_t max_bytes = 0) {
  const Walk walk = WalkWith(type_id, bytes.data, max_bytes);
  std::string line;
  for (const WalkedMember& m : walk.members) line += m.name + "=" + Text(m.data) + (m.extracted ? " " : "! ");
  return line + (walk.finished ? "$" : "damaged");
}

}  // namespace brix
