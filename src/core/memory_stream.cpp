// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/memory_stream.h"

#include <algorithm>
#include <cstring>

namespace brix {

namespace {

// The part of [offset, offset + size) that lies inside `bytes`, copied out.
uint32_t CopyOut(std::span<const uint8_t> bytes, uint32_t offset, uint8_t* buf, uint32_t size) {
  if (offset >= bytes.size()) return 0;
  const auto count = static_cast<uint32_t>(std::min<size_t>(size, bytes.size() - offset));
  if (count != 0) std::memcpy(buf, bytes.data() + offset, count);
  return count;
}

}  // namespace

bool MemoryStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = CopyOut(bytes(), offset, buf, size);
  return true;
}

bool MemoryStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (size == 0) return true;
  if (size > UINT32_MAX - offset) return false;
  const uint32_t end = offset + size;
  if (end > block_.size() && !GrowTo(end)) return false;
  if (offset > size_) std::memset(block_.data() + size_, 0, offset - size_);
  std::memcpy(block_.data() + offset, buf, size);
  size_ = std::max(size_, end);
  *written = size;
  return true;
}

bool MemoryStream::GetSize(uint32_t* size) {
  *size = size_;
  return true;
}

bool MemoryStream::SetSize(uint32_t size) {
  if (size > size_) {
    if (size > block_.size() && !GrowTo(size)) return false;
    std::memset(block_.data() + size_, 0, size - size_);
  }
  size_ = size;
  return true;
}

bool MemoryStream::Reserve(uint32_t capacity) { return capacity <= block_.size() || Resize(capacity); }

uint8_t* MemoryStream::Release() {
  // What is not used goes back; without that it is as good. Something is given in any case.
  (void)block_.TryResize(std::max(size_, 1u));
  size_ = 0;
  return block_.Release();
}

// Doubles, so that n appended bytes cost O(n) moves; falls back to the exact size when that much is not to be
// had. With large pages the step at kLargeBlock goes far enough that no move need follow, since moving them costs more
// than they save; what is not filled is never touched.
bool MemoryStream::GrowTo(uint32_t needed) {
  constexpr uint64_t kSmallest = 4096;
  constexpr uint64_t kLargeStep = 64 << 20;
  uint64_t capacity = std::max<uint64_t>({kSmallest, needed, uint64_t{block_.size()} * 2});
  if (advice_ != nullptr && capacity >= kLargeBlock) capacity = std::max(capacity, kLargeStep);
  return Resize(static_cast<size_t>(std::min<uint64_t>(capacity, UINT32_MAX))) || Resize(needed);
}

bool MemoryStream::Resize(size_t capacity) {
  if (!block_.TryResize(capacity)) return false;
  if (advice_ != nullptr && capacity >= kLargeBlock) advice_(block_.data(), capacity);
  return true;
}

bool FixedMemoryStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = CopyOut(bytes_, offset, buf, size);
  return true;
}

bool FixedMemoryStream::WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t* written) {
  *written = 0;
  return false;
}

bool FixedMemoryStream::GetSize(uint32_t* size) {
  *size = static_cast<uint32_t>(bytes_.size());
  return bytes_.size() <= UINT32_MAX;
}

bool FixedMemoryStream::SetSize(uint32_t) { return false; }

}  // namespace brix
