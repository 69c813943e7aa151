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
  *got = 0;
  if (size == 0) return true;
  if (inner_ == nullptr) return false;
  if (size <= block_size_ && size - 1 <= UINT32_MAX - offset) {
    const uint32_t room = block_size_ - offset % block_size_;  // to the end of the first byte's block
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
  std::memcpy(buf, block->bytes + at, count);
  return count;
}

CachedReadStream::Block* CachedReadStream::Fetch(uint32_t offset) {
  const uint32_t start = offset / block_size_ * block_size_;
  if (!memory_.TryResize(max_blocks_ * block_size_)) return nullptr;
  Block* const first = blocks_.data();
  Block* const last = first + block_count_;
  Block* found = std::find_if(first, last, [&](const Block& b) { return b.valid == 0 || b.start == start; });
  if (found == last || found->valid == 0) {
    if (block_count_ < max_blocks_) {
      found = first + block_count_;
      found->bytes = memory_.data() + block_count_ * block_size_;
      ++block_count_;
    } else {
      found = last - 1;
    }
    found->valid = 0;
    found->start = start;
  }
  if (found != first) {
    std::rotate(first, found, found + 1);
    found = first;
  }
  if (found->valid == 0) {
    uint32_t got = 0;
    if (!inner_->ReadAt(start, found->bytes, block_size_, &got) || got > block_size_) return nullptr;
    found->valid = got;
  }
  return found->valid == 0 ? nullptr : found;
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
  for (uint32_t i = 0; i < block_count_; ++i) blocks_[i].valid = 0;
}

}  // namespace brix
