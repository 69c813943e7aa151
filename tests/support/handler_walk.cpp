// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "support/handler_walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "core/crc32.h"
#include "core/memory_stream.h"
#include "formats/registry.h"

namespace brix {

namespace {
constexpr uint32_t kMaxMembers = 10000;
}

std::string Text(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

std::string Digest(std::span<const uint8_t> bytes) {
  char text[32];
  std::snprintf(text, sizeof text, "%zu %08x", bytes.size(), Crc32(bytes));
  return text;
}

Walk WalkWith(uint32_t type_id, std::span<const uint8_t> bytes, uint32_t max_bytes) {
  Walk walk;
  FixedMemoryStream in(bytes);
  const FormatEntry* row = Formats().Find(type_id);
  if (row == nullptr || row->create == nullptr) return walk;
  const std::unique_ptr<ArchiveHandler> handler(row->create(&in, {type_id, 0, 0, Formats()}));
  if (handler == nullptr) return walk;
  char name[kNameBufferSize];
  std::memset(name, 'x', sizeof name);
  bool ok = handler->OpenArchive(name);
  while (ok) {
    const void* end = std::memchr(name, '\0', sizeof name);
    EXPECT_NE(end, nullptr) << "unterminated name";
    if (end == nullptr) break;
    if (name[0] == '\0') {
      walk.finished = true;
      break;
    }
    EXPECT_LT(walk.members.size(), kMaxMembers) << "walk without end";
    if (walk.members.size() >= kMaxMembers) break;
    WalkedMember member;
    member.name = name;
    MemoryStream out;
    uint32_t written = 0;
    member.extracted = handler->ExtractMember(&out, max_bytes, &written);
    member.status = handler->memberStatus;
    const auto content = out.bytes();
    EXPECT_EQ(written, content.size()) << member.name;
    EXPECT_LE(written, max_bytes == 0 ? UINT32_MAX : max_bytes) << member.name;
    member.data.assign(content.begin(), content.end());
    walk.members.push_back(std::move(member));
    std::memset(name, 'x', sizeof name);
    ok = handler->NextMember(name);
  }
  return walk;
}

std::string WalkText(uint32_t type_id, std::span<const uint8_t> bytes, uint32_t max_bytes) {
  const Walk walk = WalkWith(type_id, bytes, max_bytes);
  std::string text;
  for (const WalkedMember& member : walk.members) {
    text += member.name;
    if (member.extracted || !member.data.empty()) text += "=" + Text(member.data);
    if (!member.extracted) text += "!";
    if (member.status != 1) text += std::to_string(member.status);
    text += " ";
  }
  return text + (walk.finished ? "$" : "damaged");
}

void ExpectMemberSize(ArchiveHandler& handler, uint32_t size) {
  uint32_t answer = 0;
  uint32_t io_size = 3;
  EXPECT_FALSE(handler.GetMemberSize(&answer, &io_size));
  EXPECT_EQ(io_size, 4u);
  EXPECT_TRUE(handler.GetMemberSize(&answer, &io_size));
  EXPECT_EQ(answer, size);
}

void SweepDamage(uint32_t type_id, std::span<const uint8_t> bytes, size_t max_positions) {
  constexpr uint32_t kMaxBytes = 1 << 16;
  for (size_t size = 0; size <= std::min(bytes.size(), max_positions); ++size) {
    SCOPED_TRACE("cut to " + std::to_string(size));
    (void)WalkWith(type_id, bytes.first(size), kMaxBytes);
  }
  std::vector<uint8_t> spoiled(bytes.begin(), bytes.end());
  for (size_t at = 0; at < std::min(bytes.size(), max_positions); ++at) {
    SCOPED_TRACE("byte " + std::to_string(at));
    for (const uint8_t value : {uint8_t{0x00}, uint8_t{0xFF}}) {
      spoiled[at] = value;
      (void)WalkWith(type_id, spoiled, kMaxBytes);
    }
    spoiled[at] = bytes[at];
  }
}

}  // namespace brix
