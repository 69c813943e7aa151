// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// directory_walk.cpp - the entries of one storage form a binary tree of their own, ordered by name.
//
// Kept: a tree is walked by its links alone. Its order, its balance and its depth are not checked, because writers
// differ and what cannot be found cannot be examined. Listing goes through a tree from its right end to its left, so
// that the last entry listed is the first to come.
//
// Bounds: a bit for each entry of the directory. Every step takes an entry that was not met before, so the
// stacks hold at most as many numbers as there are entries, and a whole walk is linear in the directory, however
// the entries are linked.
#include "formats/microsoft/compound/directory_walk.h"

#include <algorithm>
#include <cstring>

namespace brix::compound {

namespace {
constexpr size_t kFirstNumbers = 64;  // room for so many at first, then twice as many each time
}

uint32_t EntryStack::At(uint32_t place) const {
  uint32_t index;
  std::memcpy(&index, numbers_.data() + size_t{place} * sizeof index, sizeof index);
  return index;
}

void EntryStack::Push(uint32_t index) {
  const size_t at = size_t{size_} * sizeof index;
  NeedMemory(numbers_.TryGrow(at + sizeof index, kFirstNumbers * sizeof index));
  std::memcpy(numbers_.data() + at, &index, sizeof index);
  ++size_;
}

uint32_t EntryStack::Pop() { return At(--size_); }

void DirectoryWalk::Begin(CompoundFile& file) {
  file_ = &file;
  damaged_ = false;
  to_come_.CutTo(0);
  const size_t bytes = (size_t{file.entry_count()} + 7) / 8;
  NeedMemory(visited_.TryResize(bytes));
  std::memset(visited_.data(), 0, bytes);
  (void)Visit(kRootEntry);
}

bool DirectoryWalk::Visit(uint32_t index) {
  if (index == kNoEntry) return false;
  if (index < file_->entry_count()) {
    uint8_t& bits = visited_.data()[index / 8];
    const auto bit = static_cast<uint8_t>(1u << (index % 8));
    if ((bits & bit) == 0) {
      bits |= bit;
      return true;
    }
  }
  damaged_ = true;
  return false;
}

void DirectoryWalk::Enter(const Entry& storage) {
  path_.CutTo(0);
  Entry entry;
  for (uint32_t link = storage.child;;) {  // each turn visits an entry, or takes one off the path
    if (Visit(link)) {
      (void)file_->ReadEntry(link, &entry);  // an entry that cannot be read has no links, or only those
      path_.Push(link);
      link = entry.right;
    } else {
      if (path_.size() == 0) return;
      const uint32_t index = path_.Pop();
      to_come_.Push(index);
      (void)file_->ReadEntry(index, &entry);
      link = entry.left;
    }
  }
}

bool DirectoryWalk::Next(Entry* entry) {
  while (to_come_.size() != 0) {
    if (file_->ReadEntry(to_come_.Pop(), entry)) return true;
    damaged_ = true;
  }
  return false;
}

bool DirectoryWalk::EnterUnlessHolding(const Entry& storage, std::u16string_view name, Entry* found) {
  const uint32_t before = to_come_.size();
  Enter(storage);
  for (uint32_t place = to_come_.size(); place > before; --place) {
    if (file_->ReadEntry(to_come_.At(place - 1), found) && found->type == kStream && HasName(*found, name)) {
      to_come_.CutTo(before);
      return true;
    }
  }
  return false;
}

}  // namespace brix::compound
