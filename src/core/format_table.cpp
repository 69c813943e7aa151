// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/format_table.h"

#include <array>

#include "core/cached_read_stream.h"

namespace brix {

namespace {

constexpr uint32_t kHead = 32;  // bytes; every magic lies in these

bool Begins(std::string_view head, const Magic& magic) {
  return magic.bytes.empty() || (magic.at <= head.size() && head.substr(magic.at).starts_with(magic.bytes));
}

}  // namespace

const FormatEntry* FormatTable::Find(uint32_t type_id) const {
  for (const FormatEntry& row : rows_) {
    if (row.type_id == type_id) return &row;
  }
  return nullptr;
}

uint32_t FormatTable::DetectArchiveType(Stream& in, uint32_t detect_flags) const {
  uint32_t size = 0;
  if (!in.GetSize(&size) || size == 0) return kTypeNone;
  std::array<uint8_t, kHead> start;
  uint32_t got = 0;
  if (!in.ReadAt(0, start.data(), kHead, &got) || got > kHead) got = 0;
  const std::string_view head(reinterpret_cast<const char*>(start.data()), got);
  uint32_t (*asked)(Stream&) = nullptr;  // the last of those that answer for several rows; it said no
  for (const FormatEntry& row : rows_) {
    if (!Begins(head, row.magic)) continue;
    if (row.identify == nullptr) {
      if (row.detect(in, detect_flags, *this)) return row.type_id;
    } else if (row.identify != asked) {
      asked = row.identify;
      const uint32_t type_id = asked(in);
      if (type_id != kTypeNone) return type_id;
    }
  }
  return kTypeNone;
}

ArchiveHandler* FormatTable::CreateArchiveHandler(Stream* in, const uint32_t* enabled, uint32_t ownership,
                                                  uint32_t detect_flags) const {
  uint32_t type_id = kTypeNone;
  {
    CachedReadStream cache;  // the detectors' many small reads cost a few of the stream below
    cache.SetInner(in, 0);
    type_id = DetectArchiveType(cache, detect_flags);
  }
  if (type_id == kTypeNone || type_id > kTypeCount) return nullptr;
  // Kept: data of a disabled type are never taken for a later one's.
  if (enabled != nullptr && enabled[type_id - 1] == 0) return nullptr;
  const FormatEntry* row = Find(type_id);
  if (row == nullptr || row->create == nullptr) return nullptr;
  return row->create(in, {type_id, ownership, detect_flags, *this});
}

ArchiveHandler* FormatTable::CreateArchiveHandlerAnyType(Stream* in, uint32_t ownership,
                                                         uint32_t detect_flags) const {
  std::array<uint32_t, kTypeCount> enabled;
  enabled.fill(1);
  return CreateArchiveHandler(in, enabled.data(), ownership, detect_flags);
}

}  // namespace brix
