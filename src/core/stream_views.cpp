// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/stream_views.h"

#include <algorithm>
#include <cstring>

#include "core/field_reader.h"

namespace brix {

bool RangeStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  if (offset > length_) return false;
  const uint32_t count = std::min(size, length_ - offset);
  if (count == 0) return true;
  if (offset > UINT32_MAX - start_) return false;
  return parent_->ReadAt(start_ + offset, buf, count, got);
}

// Kept: a write that crosses the end is refused whole, although a read there is cut.
bool RangeStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (!Fits(offset, size, length_) || offset > UINT32_MAX - start_) return false;
  return parent_->WriteAt(start_ + offset, buf, size, written);
}

bool RangeStream::GetSize(uint32_t* size) {
  *size = length_;
  return true;
}

bool RangeStream::SetSize(uint32_t size) {
  uint32_t parent_size = 0;
  if (!parent_->GetSize(&parent_size) || !Fits(start_, size, parent_size)) return false;
  length_ = size;
  return true;
}

void RangeStream::Reframe(uint32_t advance, uint32_t new_end) {
  start_ += advance;             // wraps
  length_ += new_end - advance;  // wraps
}

bool NullStream::ReadAt(uint32_t, uint8_t* buf, uint32_t size, uint32_t* got) {
  if (size != 0) std::memset(buf, 0, size);
  *got = size;
  return true;
}

bool NullStream::WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) { return true; }

bool NullStream::GetSize(uint32_t* size) {
  *size = 0;
  return true;
}

bool NullStream::SetSize(uint32_t) { return true; }

}  // namespace brix
