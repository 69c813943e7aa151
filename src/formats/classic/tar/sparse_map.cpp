// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sparse_map.cpp - reads a sparse member's map out of its header and extension blocks.
//
// Bounds: memory grows by doubling, as entries really arrive: 8 bytes for each 24 of the archive, at most 16 for a
// moment after it has grown. At most kMaxChunks are kept, 32 MiB: a packer looks for holes by blocks of 512 bytes, so
// a chunk and its hole are 1 KiB at least and a file of 4 GiB has no more. The chunks beyond are noted as missing.
#include "formats/classic/tar/sparse_map.h"

#include <algorithm>
#include <new>

#include "core/refuse.h"

namespace brix::tar {

namespace {
constexpr uint32_t kMaxChunks = 1 << 22;
constexpr uint32_t kFirstChunks = 64;
}  // namespace

bool SparseMap::Add(const Block& block, uint32_t at, uint32_t entries) {
  for (; entries != 0; --entries, at += kEntryBytes) {
    Chunk chunk;
    if (!ParseSize(block, at, &chunk.offset) || !ParseSize(block, at + kEntryFieldWidth, &chunk.length))
      break;
    if (chunk.length == 0) break;
    if (!Append(chunk)) return false;
  }
  return true;
}

bool SparseMap::Append(Chunk chunk) {
  if (count_ == kMaxChunks) {
    cut_ = true;
    return true;
  }
  if (!memory_.TryGrow((count_ + 1) * sizeof chunk, kFirstChunks * sizeof chunk)) {
    return Refuse("tar: no memory for the sparse map");
  }
  new (memory_.data() + count_ * sizeof chunk) Chunk(chunk);
  ++count_;
  return true;
}

std::span<const Chunk> SparseMap::chunks() const {
  return {reinterpret_cast<const Chunk*>(memory_.data()), count_};
}

}  // namespace brix::tar
