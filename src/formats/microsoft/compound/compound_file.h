// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// compound_file.h - a file system inside a file: a tree of storages (folders) and streams.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "core/stream.h"
#include "core/stream_views.h"
#include "formats/microsoft/compound/chain_stream.h"
#include "formats/microsoft/compound/compound_format.h"
#include "formats/microsoft/compound/sector_table.h"

namespace brix::compound {

// An entry of the directory.
struct Entry {
  uint32_t index = kRootEntry;
  std::array<char16_t, kNameUnits> name{};  // zeros behind its end; none when all units are in use
  uint8_t type = 0;
  uint32_t left = kNoEntry;  // siblings in the tree of the storage that holds the entry
  uint32_t right = kNoEntry;
  uint32_t child = kNoEntry;  // root of a storage's own tree
  uint32_t start = 0;         // first sector, or mini sector
  uint32_t size = 0;          // bytes; the upper half of the field is not read
};

// Whether the entry has this name. Names compare without regard to case, for which those asked for here need
// only the letters A to Z.
[[nodiscard]] bool HasName(const Entry& entry, std::u16string_view name);

// Memory that runs out shows as std::bad_alloc: an entry that was not found for that is no entry that is not there.
class CompoundFile {
 public:
  // Reads the header, and the root entry. Costs one small read when the signature is not there. `in` must
  // outlive the object, which may be opened again on the same data.
  [[nodiscard]] bool Open(Stream& in);

  [[nodiscard]] const Entry& root() const { return root_; }
  [[nodiscard]] uint32_t entry_count() const { return entry_count_; }

  // The entry of a number. With false, because its name is too long, the links are still those of the entry;
  // they are kNoEntry when it cannot be read at all.
  [[nodiscard]] bool ReadEntry(uint32_t index, Entry* entry);

  // Lets `stream` read the bytes of a stream entry. It must not outlive this object.
  void OpenStream(const Entry& entry, ChainMemory memory, ChainStream* stream);

  // The first entry of this name and type that the root holds.
  [[nodiscard]] bool FindInRoot(std::u16string_view name, EntryType type, Entry* found);

  // Which of these names the root holds as streams: bit n for names[n], at most 32.
  [[nodiscard]] uint32_t StreamsInRoot(std::span<const std::u16string_view> names);

 private:
  Entry root_;
  uint32_t entry_count_ = 0;
  uint32_t mini_cutoff_ = 0;
  std::optional<RangeStream> sectors_;  // the file behind the header's sector
  FatStream fat_bytes_;
  SectorTable fat_{&fat_bytes_};
  ChainStream directory_;
  ChainStream mini_fat_bytes_;
  SectorTable mini_fat_{&mini_fat_bytes_};
  ChainStream mini_stream_;
  SectorSpace space_{};
  SectorSpace mini_space_{};
};

}  // namespace brix::compound
