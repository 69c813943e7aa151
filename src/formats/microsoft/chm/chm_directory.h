// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_directory.h - walks the entries of a help file's directory.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/archive_handler.h"
#include "core/stream.h"
#include "formats/microsoft/chm/chm_detect.h"

namespace brix::chm {

struct Entry {
  std::array<char, kNameBufferSize> name;
  uint32_t name_bytes;  // kept of the name, at most 511
  uint32_t section;
  uint32_t offset;  // in the section
  uint32_t length;

  [[nodiscard]] std::string_view Name() const { return {name.data(), name_bytes}; }
};

// What a step of the walk came to.
enum class Step {
  kEntry,
  kEnd,
  kDamage,  // also when the file cannot be read
  kCircle,  // the chunks' chain came back on itself
};

// A forward walk over the entries, chunk by chunk, through a window of fixed size: the chunks' size is the file's
// to choose.
class Directory {
 public:
  // Stands in front of the first entry. False when the file's size is not known.
  [[nodiscard]] bool Start(Stream* in, const Headers& headers);

  [[nodiscard]] Step Next(Entry* entry);

 private:
  [[nodiscard]] Step OpenChunk();
  [[nodiscard]] bool ReadEntry(Entry* entry);
  [[nodiscard]] bool ReadName(uint32_t length, Entry* entry);
  [[nodiscard]] bool ReadNumber(uint32_t* number);
  // Fills the window from at_ on. False at the end of the chunk's entries, or when they cannot be read.
  [[nodiscard]] bool FillWindow();

  Stream* in_ = nullptr;
  Headers headers_{};
  uint32_t next_chunk_ = 0;
  uint32_t chunks_left_ = 0;  // how many more the walk may enter: all that the file has room for
  uint32_t at_ = 0;           // file offset of the next byte behind the window
  uint32_t end_ = 0;          // file offset of the end of the chunk's entries
  uint32_t window_at_ = 0;    // next byte in the window
  uint32_t window_end_ = 0;
  std::array<uint8_t, 4096> window_;
};

}  // namespace brix::chm
