// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/cached_read_stream.h"

#include <algorithm>
#include <cstring>

namespace brix {

CachedReadStream::~CachedReadStream() {
  if (owns_inner_ != 0) delete inner_;
}

void CachedReadStream::SetInner(Stream* inner, uint32_t own) {
  if (own != 0 && inner_ != inner) delete inner_;
  inner_ = inner;
  owns_inner_ = own;
  ForgetBlocks();
}

bool CachedReadStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  const Block& front = blocks_[0];
  const uint32_t at = offset - front.start;  // wraps for an offset before the block
  if (at < front.valid && size <= front.valid - at) {
    std::memcpy(buf, memory_.data() + front.place + at, size);
    *got = size;
    return true;
  }
  *got = 0;
  if (size == 0) return true;
  if (inner_ == nullptr) return false;
  if (size <= kBlockSize && size - 1 <= UINT32_MAX - offset) {
    const uint32_t room = kBlockSize - offset % kBlockSize;  // to the end of the first byte's block
    const uint32_t from_first = std::min(size, room);
    uint32_t copied = CopyFromBlock(offset, buf, from_first);
    if (copied == from_first && size > room) {
      const uint32_t from_second = CopyFromBlock(offset + room, buf + room, size - room);
      copied = from_second == 0 ? 0 : copied + from_second;
    }
    if (copied != 0) {
      *got = copied;
      return true;
    }
  }
  return inner_->ReadAt(offset, buf, size, got);
}

uint32_t CachedReadStream::CopyFromBlock(uint32_t offset, uint8_t* buf, uint32_t size) {
  const Block* block = Fetch(offset);
  if (block == nullptr) return 0;
  const uint32_t at = offset - block->start;
  if (at >= block->valid) return 0;
  const uint32_t count = std::min(size, block->valid - at);
  std::memcpy(buf, memory_.data() + block->place + at, count);
  return count;
}

const CachedReadStream::Block* CachedReadStream::Fetch(uint32_t offset) {
  const uint32_t start = offset / kBlockSize * kBlockSize;
  uint32_t found = 0;
  while (found < kBlocks - 1 && blocks_[found].valid != 0 && blocks_[found].start != start) ++found;
  Block block = blocks_[found];
  if (block.valid == 0 || block.start != start) {
    block.start = start;
    blocks_[found].valid = 0;  // holds also when a host's stream throws
    uint32_t got = 0;
    block.valid =
        inner_->ReadAt(start, memory_.data() + block.place, kBlockSize, &got) && got <= kBlockSize ? got : 0;
  }
  for (; found != 0; --found) blocks_[found] = blocks_[found - 1];
  blocks_[0] = block;
  return block.valid == 0 ? nullptr : &blocks_[0];
}

bool CachedReadStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  ForgetBlocks();
  return inner_ != nullptr && inner_->WriteAt(offset, buf, size, written);
}

bool CachedReadStream::GetSize(uint32_t* size) { return inner_ != nullptr && inner_->GetSize(size); }

bool CachedReadStream::SetSize(uint32_t size) {
  ForgetBlocks();
  return inner_ != nullptr && inner_->SetSize(size);
}

void CachedReadStream::ForgetBlocks() {
  for (uint32_t i = 0; i < kBlocks; ++i) blocks_[i] = {0, 0, i * kBlockSize};
}

}  // namespace brix
