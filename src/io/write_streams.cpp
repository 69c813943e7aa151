// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "io/write_streams.h"

#include <algorithm>
#include <cstring>

namespace brix {

bool BufferedWriteStream::Flush() {
  if (failed_) return false;
  if (used_ != 0) failed_ = !WriteExact(*inner_, start_, buffer_.data(), used_);
  used_ = 0;
  return !failed_;
}

bool BufferedWriteStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (failed_ || size > UINT32_MAX - offset) return false;
  if (size == 0) return true;
  const bool follows = used_ != 0 && offset == start_ + used_;
  if (!follows || size > kBufferSize - used_) {
    if (!Flush()) return false;
    if (size >= kBufferSize) {
      failed_ = !WriteExact(*inner_, offset, buf, size);
      if (!failed_) *written = size;
      return !failed_;
    }
    start_ = offset;
  }
  std::memcpy(buffer_.data() + used_, buf, size);
  used_ += size;
  *written = size;
  return true;
}

bool BufferedWriteStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  return Flush() && inner_->ReadAt(offset, buf, size, got);
}

bool BufferedWriteStream::GetSize(uint32_t* size) { return Flush() && inner_->GetSize(size); }

bool BufferedWriteStream::SetSize(uint32_t size) { return Flush() && inner_->SetSize(size); }

bool LimitedWriteStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  const uint32_t kept = offset >= limit_ ? 0 : std::min(size, limit_ - offset);
  if (kept != 0) {
    if (!WriteExact(*inner_, offset, buf, kept)) return false;
    stored_ = std::max(stored_, offset + kept);
  }
  was_cut_ = was_cut_ || kept < size;
  *written = size;
  return true;
}

bool LimitedWriteStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  return inner_->ReadAt(offset, buf, size, got);
}

bool LimitedWriteStream::GetSize(uint32_t* size) { return inner_->GetSize(size); }

bool LimitedWriteStream::SetSize(uint32_t size) {
  was_cut_ = was_cut_ || size > limit_;
  if (!inner_->SetSize(std::min(size, limit_))) return false;
  stored_ = std::min(size, limit_);
  return true;
}

}  // namespace brix
