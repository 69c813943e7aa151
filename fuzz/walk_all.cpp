// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "walk_all.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

#include "core/memory_stream.h"

namespace brix {

namespace {

constexpr size_t kMaxInput = 1 << 20;     // bytes
constexpr uint32_t kMaxOutput = 1 << 18;  // bytes a member
constexpr uint32_t kMaxMembers = 256;

void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace

void WalkAll(const FormatTable& formats, uint32_t type_id, const uint8_t* data, size_t size) {
  if (size > kMaxInput) return;
  const FormatEntry* row = formats.Find(type_id);
  Promise(row != nullptr && row->create != nullptr, "the format has a handler");
  FixedMemoryStream in(std::span(data, size));
  const std::unique_ptr<ArchiveHandler> handler(row->create(&in, {type_id, 0, 0, formats}));
  if (handler == nullptr) return;

  char name[kNameBufferSize];
  std::memset(name, 'x', sizeof name);
  bool ok = handler->OpenArchive(name);
  for (uint32_t member = 0; ok && member < kMaxMembers; ++member) {
    Promise(std::memchr(name, '\0', sizeof name) != nullptr, "a name is terminated inside its buffer");
    if (name[0] == '\0') break;
    uint32_t value = 0;
    uint32_t value_size = sizeof value;
    (void)handler->GetMemberSize(&value, &value_size);
    MemoryStream out;
    uint32_t written = 0;
    (void)handler->ExtractMember(&out, kMaxOutput, &written);
    Promise(out.bytes().size() <= kMaxOutput, "no more bytes than the limit");
    Promise(written <= kMaxOutput && written == out.bytes().size(), "the count is what was written");
    std::memset(name, 'x', sizeof name);
    ok = handler->NextMember(name);
  }
}

}  // namespace brix
