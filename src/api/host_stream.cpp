// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/host_stream.h"

#include <cstddef>

namespace brix {

// Hosts in any language lay this record out by hand: seven machine words in this order.
static_assert(sizeof(ArcStream) == 7 * sizeof(void*));
static_assert(offsetof(ArcStream, context) == 0 * sizeof(void*));
static_assert(offsetof(ArcStream, close) == 1 * sizeof(void*));
static_assert(offsetof(ArcStream, read) == 2 * sizeof(void*));
static_assert(offsetof(ArcStream, write) == 3 * sizeof(void*));
static_assert(offsetof(ArcStream, get_size) == 4 * sizeof(void*));
static_assert(offsetof(ArcStream, set_size) == 5 * sizeof(void*));
static_assert(offsetof(ArcStream, get_file_name) == 6 * sizeof(void*));

bool IsComplete(const ArcStream* record) {
  return record != nullptr && record->close != nullptr && record->read != nullptr &&
         record->write != nullptr && record->get_size != nullptr;
}

bool HostStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  if (size == 0) return true;
  uint32_t count = 0;
  if (record_.read(record_.context, offset, buf, size, &count) != 0 || count > size) return false;
  *got = count;
  return true;
}

bool HostStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (size == 0) return true;
  if (record_.write(record_.context, offset, buf, size) != 0) return false;
  *written = size;
  return true;
}

bool HostStream::GetSize(uint32_t* size) {
  *size = 0;
  return record_.get_size(record_.context, size) == 0;
}

bool HostStream::SetSize(uint32_t size) {
  return record_.set_size != nullptr && record_.set_size(record_.context, size, 0) == 0;
}

}  // namespace brix
