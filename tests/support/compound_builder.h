// compound_builder.h - writes a compound file entry by entry, and tells where its fields stand, so that a test can
// spoil one of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {

struct CompoundBuilder {
  uint32_t shift = 9;  // at least
  uint32_t cutoff = 4096;
  bool backwards = false;  // every chain's sectors lie in reverse order, so that none has its neighbour next

  // Entries are numbered from 1 in the order in which they are added; 0 is the root. Each is the right sibling of
  // the one before it.
  uint32_t Storage(const std::u16string& name, uint32_t parent = 0) { return Add({name, 1, {}}, parent); }
  uint32_t Stream(const std::u16string& name, const Bytes& data, uint32_t parent = 0) {
    return Add({name, 2, data}, parent);
  }

  const Bytes& Build() {
    Bytes mini;
    Bytes mini_fat;
    for (Entry& e : entries_) {
      if (e.type != 2 || e.data.size() == 0) continue;
      e.start = e.data.size() >= cutoff ? Place(e.data) : mini.size() / 64;
      if (e.data.size() >= cutoff) continue;
      mini.Raw(e.data).PadTo((mini.size() + 63) / 64 * 64);
      while (mini_fat.size() < mini.size() / 16) mini_fat.U32(mini_fat.size() / 4 + 1);
      mini_fat.PatchU32(mini_fat.size() - 4, 0xFFFFFFFE);
    }
    entries_[0].data = mini;
    entries_[0].start = Place(mini);
    const uint32_t mini_fat_sector = Place(mini_fat);
    Bytes directory;
    for (const Entry& e : entries_) directory.Raw(Record(e));
    const uint32_t directory_sector = Place(directory);
    directory_at = SectorAt(directory_sector);
    return Finish(directory_sector, mini_fat_sector, Sectors(mini_fat.size()));
  }

  // Offsets in the file that Build gave.
  [[nodiscard]] uint32_t SectorAt(uint32_t sector) const { return (sector + 1) << shift; }
  [[nodiscard]] uint32_t FatAt(uint32_t sector) const { return SectorAt(fat_sector) + sector * 4; }
  [[nodiscard]] uint32_t EntryAt(uint32_t entry) const { return directory_at + 128 * entry; }
  [[nodiscard]] uint32_t StartOf(uint32_t entry) const { return entries_[entry].start; }

  Bytes bytes;
  uint32_t directory_at = 0;
  uint32_t fat_sector = 0;    // the first
  uint32_t difat_sector = 0;  // the first, if there is one

 private:
  struct Entry {
    std::u16string name;
    uint32_t type;
    Bytes data;
    uint32_t start = 0xFFFFFFFE, right = ~0u, child = ~0u;
    uint32_t last_child = 0;
  };

  uint32_t Add(const Entry& entry, uint32_t parent) {
    const auto index = static_cast<uint32_t>(entries_.size());
    const uint32_t before = entries_[parent].last_child;
    (before == 0 ? entries_[parent].child : entries_[before].right) = index;
    entries_[parent].last_child = index;
    entries_.push_back(entry);
    return index;
  }
  static Bytes Record(const Entry& e) {
    Bytes to;
    for (const char16_t unit : e.name) to.U16(unit);
    to.PadTo(64).U16(static_cast<uint32_t>(std::min<size_t>(e.name.size() * 2 + 2, 64))).U8(e.type).U8(1);
    return to.U32(~0u).U32(e.right).U32(e.child).Fill(36, 0).U32(e.start).U32(e.data.size()).U32(0);
  }
  [[nodiscard]] uint32_t Sectors(uint32_t size) const { return (size + (1u << shift) - 1) >> shift; }
  // Appends data as a chain of sectors; the first one's number.
  uint32_t Place(const Bytes& data) {
    const uint32_t count = Sectors(data.size());
    const uint32_t base = fat_.size() / 4;
    const auto at = [&](uint32_t i) { return base + (backwards ? count - 1 - i : i); };
    fat_.PadTo(4 * (base + count));
    sectors_.PadTo(size_t{base + count} << shift);
    for (uint32_t i = 0; i < count; ++i) {
      fat_.PatchU32(4 * at(i), i + 1 == count ? 0xFFFFFFFE : at(i + 1));
      const auto piece = std::span(data.data).subspan(i << shift);
      std::ranges::copy(piece.first(std::min<size_t>(piece.size(), 1u << shift)),
                        sectors_.data.begin() + (at(i) << shift));
    }
    return count == 0 ? 0xFFFFFFFE : at(0);
  }
  const Bytes& Finish(uint32_t directory, uint32_t mini_fat, uint32_t mini_fat_sectors) {
    const uint32_t numbers = 1u << (shift - 2);  // in a sector
    fat_sector = fat_.size() / 4;
    uint32_t fats = 0;
    uint32_t difats = 0;
    for (; fats * numbers < fat_sector + fats + difats; ++fats)
      difats = fats < 109 ? 0 : (fats - 109) / (numbers - 1) + 1;
    difat_sector = difats == 0 ? 0xFFFFFFFE : fat_sector + fats;
    fat_.Fill(4 * fats, 0xFD)
        .Fill(4 * difats, 0xFC)
        .Fill(size_t{fats} << shift, 0xFF)
        .CutTo(size_t{fats} << shift);
    bytes = Bytes().U32(0xE011CFD0).U32(0xE11AB1A1).PadTo(30);
    bytes.U16(shift).U16(6).PadTo(44).U32(fats).U32(directory).U32(0).U32(cutoff);
    bytes.U32(mini_fat).U32(mini_fat_sectors).U32(difat_sector).U32(difats);
    Bytes list;
    for (uint32_t i = 0; i < fats; ++i) {
      if (i >= 109 && (i - 108) % (numbers - 1) == 0) list.U32(difat_sector + (i - 108) / (numbers - 1));
      list.U32(fat_sector + i);
    }
    list.Fill(512 + (size_t{difats} << shift), 0xFF).CutTo(436 + (size_t{difats} << shift));
    const std::span all(list.data);
    return bytes.Raw(all.first(436)).PadTo(1u << shift).Raw(sectors_).Raw(fat_).Raw(all.subspan(436));
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
