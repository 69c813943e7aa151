// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// directory_walk.h - goes through the entries of storages in the order of their names.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "formats/microsoft/compound/compound_file.h"

namespace brix::compound {

// A last-in, first-out list of entry numbers. No longer than its user lets it grow.
class EntryStack {
 public:
  [[nodiscard]] uint32_t size() const { return size_; }
  [[nodiscard]] uint32_t At(uint32_t place) const;
  void Push(uint32_t index);
  uint32_t Pop();  // not when it is empty
  void CutTo(uint32_t size) { size_ = size; }

 private:
  MemoryBlock numbers_;
  uint32_t size_ = 0;
};

// The walk holds the entries that are still to come. Entering a storage puts its entries in front of those. No
// entry comes twice, so a directory that runs in circles ends like any other; damage is passed over and noted. Memory
// that runs out is thrown.
class DirectoryWalk {
 public:
  // `file` must outlive the walk.
  void Begin(CompoundFile& file);

  // Puts the entries of a storage in front.
  void Enter(const Entry& storage);

  // The entry in front; false at the end, where damaged() tells what there was on the way.
  [[nodiscard]] bool Next(Entry* entry);

  // Enters `storage` unless it holds a stream of this name, which is then in `found`: true.
  [[nodiscard]] bool EnterUnlessHolding(const Entry& storage, std::u16string_view name, Entry* found);

  // Whether entries or links were met that cannot be right.
  [[nodiscard]] bool damaged() const { return damaged_; }

 private:
  // Whether a link leads to an entry that was not met before; notes that it is now.
  [[nodiscard]] bool Visit(uint32_t index);

  CompoundFile* file_ = nullptr;
  MemoryBlock visited_;  // a bit for each entry
  EntryStack to_come_;
  EntryStack path_;  // entries of a tree whose left side is still to be listed
  bool damaged_ = false;
};

}  // namespace brix::compound
