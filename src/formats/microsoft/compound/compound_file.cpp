// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// compound_file.cpp - opens a compound file and reads its directory.
//
// Sector n lies one sector behind where its number puts it, because the header takes the place of the first.
// Short streams lie in mini sectors, of 64 bytes as a rule, inside the mini stream, which is the root entry's own stream.
//
// Bounds: a chain has at most as many sectors as the file; the counts in the header are limited, and cut to the
// file's sectors before memory is taken for them. Nothing else is taken on the header's word. Opening follows
// the directory's chain to its end and reads no other stream.
//
// Kept: the number of the mini FAT's sectors makes its length, whatever its chain is like; the directory is as
// long as its chain.
#include "formats/microsoft/compound/compound_file.h"

#include <algorithm>
#include <iterator>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/compound/directory_walk.h"

namespace brix::compound {

namespace {

constexpr std::u16string_view kRootName = u"Root Entry";

constexpr char16_t UpperCase(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
}

// The bytes that `count` sectors hold, as far as 32 bits tell.
uint32_t BytesOf(uint32_t count, uint32_t shift) {
  return static_cast<uint32_t>(std::min<uint64_t>(uint64_t{count} << shift, UINT32_MAX));
}

}  // namespace

bool HasName(const Entry& entry, std::u16string_view name) {
  const auto end = std::ranges::find(entry.name, u'\0');
  return std::equal(entry.name.begin(), end, name.begin(), name.end(),
                    [](char16_t a, char16_t b) { return UpperCase(a) == UpperCase(b); });
}

bool CompoundFile::Open(Stream& in) {
  FieldReader fields(in, 0);
  if (!fields.Is(0, kSignature)) return Refuse("compound: no signature");
  std::array<uint8_t, kHeaderBytes> header;
  uint32_t size = 0;
  if (!fields.Bytes(0, header.data(), kHeaderBytes) || !in.GetSize(&size))
    return Refuse("compound: header is cut");
  const uint32_t shift = LoadLe16(&header[kSectorShift]);
  const uint32_t mini_shift = LoadLe16(&header[kMiniShift]);
  const uint32_t fat_sectors = LoadLe32(&header[kFatSectors]);
  const uint32_t mini_fat_sectors = LoadLe32(&header[kMiniFatSectors]);
  if (shift < kLeastSectorShift || shift > kMostShift || mini_shift > kMostShift) {
    return Refuse("compound: sector size out of range");
  }
  if (fat_sectors > kMostFatSectors || mini_fat_sectors > kMostFatSectors ||
      LoadLe32(&header[kDifatSectors]) > kMostDifatSectors) {
    return Refuse("compound: too many table sectors");
  }
  mini_cutoff_ = LoadLe32(&header[kMiniCutoff]);
  const uint32_t sectors_at = std::min(size, 1u << shift);
  sectors_.emplace(&in, sectors_at, size - sectors_at);
  space_ = {&*sectors_, &fat_, shift, size >> shift};
  NeedMemory(fat_bytes_.Collect(&*sectors_, shift, &header[kHeaderDifat], LoadLe32(&header[kFirstDifat]),
                                std::min(fat_sectors, space_.most_sectors)));
  directory_.Begin(space_, LoadLe32(&header[kFirstDirectory]), 0, ChainMemory::kAll);
  directory_.TakeLengthOfChain();
  uint32_t directory_size = 0;
  entry_count_ = directory_.GetSize(&directory_size) ? directory_size / kEntryBytes : 0;
  if (!ReadEntry(kRootEntry, &root_)) return Refuse("compound: no root entry");

  mini_fat_bytes_.Begin(space_, LoadLe32(&header[kFirstMiniFat]), BytesOf(mini_fat_sectors, shift),
                        ChainMemory::kAll);
  // No longer than all sectors of the file together, so that its mini sectors are no more than those can hold.
  const uint32_t mini_size = std::min(root_.size, space_.most_sectors << shift);
  mini_stream_.Begin(space_, root_.start, mini_size, ChainMemory::kAll);
  mini_space_ = {&mini_stream_, &mini_fat_, mini_shift, (mini_size >> mini_shift) + 1};
  return true;
}

bool CompoundFile::ReadEntry(uint32_t index, Entry* entry) {
  *entry = Entry{};
  entry->index = index;
  std::array<uint8_t, kEntryBytes> record;
  if (index >= entry_count_ || !ReadExact(directory_, index * kEntryBytes, record.data(), kEntryBytes)) {
    return Refuse("compound: no such entry");
  }
  entry->child = LoadLe32(&record[kEntryChild]);
  entry->start = LoadLe32(&record[kEntryStart]);
  entry->size = LoadLe32(&record[kEntrySize]);
  if (index == kRootEntry) {  // Kept: named so whatever its name field holds
    std::ranges::copy(kRootName, entry->name.begin());
    entry->type = kRoot;
    return true;
  }
  entry->type = record[kEntryType];
  entry->left = LoadLe32(&record[kEntryLeft]);
  entry->right = LoadLe32(&record[kEntryRight]);
  const uint32_t name_bytes = LoadLe16(&record[kEntryNameLength]);
  if (name_bytes > kMostNameBytes) return Refuse("compound: name too long");
  for (uint32_t i = 0; i < name_bytes / 2; ++i) entry->name[i] = LoadLe16(&record[2 * i]);
  return true;
}

void CompoundFile::OpenStream(const Entry& entry, ChainMemory memory, ChainStream* stream) {
  stream->Begin(entry.size >= mini_cutoff_ ? space_ : mini_space_, entry.start, entry.size, memory);
}

bool CompoundFile::FindInRoot(std::u16string_view name, EntryType type, Entry* found) {
  DirectoryWalk walk;
  walk.Begin(*this);
  walk.Enter(root_);
  while (walk.Next(found)) {
    if (found->type == type && HasName(*found, name)) return true;
  }
  return false;
}

uint32_t CompoundFile::StreamsInRoot(std::span<const std::u16string_view> names) {
  uint32_t held = 0;
  DirectoryWalk walk;
  walk.Begin(*this);
  walk.Enter(root_);
  for (Entry entry; walk.Next(&entry);) {
    if (entry.type != kStream) continue;
    for (size_t n = 0; n < names.size(); ++n) {
      if (HasName(entry, names[n])) held |= 1u << n;
    }
  }
  return held;
}

}  // namespace brix::compound
