// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_directory.cpp - entries are packed: name length, name, section, offset and length, all numbers in groups of
// seven bits, most significant first, with the top bit set on all but the last.
//
// Bounds: a chunk is entered only when it lies inside 32-bit offsets and its entries inside the chunk; an entry lies
// inside its chunk. The chain of chunks may form a circle, so no walk enters more chunks than the file has room for.
// Numbers of any length are taken, of which the low 32 bits count, and end with the chunk.
#include "formats/microsoft/chm/chm_directory.h"

#include <algorithm>
#include <cstring>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/chm/chm_format.h"

namespace brix::chm {

bool Directory::Start(Stream* in, const Headers& headers) {
  in_ = in;
  headers_ = headers;
  uint32_t size = 0;
  if (!in->GetSize(&size)) return Refuse("chm: no stream size");
  if (headers.chunk_size < kChunkEntries) return Refuse("chm: chunk size");
  next_chunk_ = headers.first_chunk;
  chunks_left_ = (size - std::min(size, headers.chunks)) / headers.chunk_size + 1;
  at_ = end_ = window_at_ = window_end_ = 0;
  return true;
}

Step Directory::Next(Entry* entry) {
  // Ends by chunks_left_: every turn enters a chunk.
  while (window_at_ == window_end_ && at_ == end_) {
    if (next_chunk_ == kNoChunk) return Step::kEnd;
    const Step step = OpenChunk();
    if (step != Step::kEntry) return step;
  }
  return ReadEntry(entry) ? Step::kEntry : Step::kDamage;
}

Step Directory::OpenChunk() {
  if (chunks_left_ == 0) return Step::kCircle;
  --chunks_left_;
  const uint64_t start = headers_.chunks + uint64_t{next_chunk_} * headers_.chunk_size;
  if (start + headers_.chunk_size > UINT32_MAX) return Step::kDamage;
  const auto at = static_cast<uint32_t>(start);
  FieldReader chunk(*in_, at);
  if (!chunk.Is(0, kChunkMagic)) return Step::kDamage;
  const uint32_t free_space = chunk.U32(kChunkFreeSpace);
  next_chunk_ = chunk.U32(kChunkNext);
  if (!chunk.ok() || free_space > headers_.chunk_size - kChunkEntries) return Step::kDamage;
  at_ = at + kChunkEntries;
  end_ = at + headers_.chunk_size - free_space;
  window_at_ = window_end_ = 0;
  return Step::kEntry;
}

bool Directory::FillWindow() {
  const uint32_t size = std::min(end_ - at_, static_cast<uint32_t>(window_.size()));
  if (size == 0) return Refuse("chm: an entry goes on behind its chunk");
  if (!ReadExact(*in_, at_, window_.data(), size)) return Refuse("chm: chunk cut");
  at_ += size;
  window_at_ = 0;
  window_end_ = size;
  return true;
}

bool Directory::ReadNumber(uint32_t* number) {
  uint32_t value = 0;
  for (;;) {  // ends with the chunk
    if (window_at_ == window_end_ && !FillWindow()) return false;
    const uint8_t group = window_[window_at_++];
    value = value << 7 | (group & 0x7F);  // wraps
    if ((group & 0x80) == 0) break;
  }
  *number = value;
  return true;
}

bool Directory::ReadName(uint32_t length, Entry* entry) {
  if (length > end_ - at_ + (window_end_ - window_at_)) return Refuse("chm: name goes on behind its chunk");
  entry->name_bytes = 0;
  while (length != 0) {
    if (window_at_ == window_end_ && !FillWindow()) return false;
    const uint32_t run = std::min(length, window_end_ - window_at_);
    const uint32_t kept = std::min(run, kNameBufferSize - 1 - entry->name_bytes);
    std::memcpy(entry->name.data() + entry->name_bytes, window_.data() + window_at_, kept);
    entry->name_bytes += kept;
    window_at_ += run;
    length -= run;
  }
  return true;
}

bool Directory::ReadEntry(Entry* entry) {
  uint32_t name_length = 0;
  return ReadNumber(&name_length) && ReadName(name_length, entry) && ReadNumber(&entry->section) &&
         ReadNumber(&entry->offset) && ReadNumber(&entry->length);
}

}  // namespace brix::chm
