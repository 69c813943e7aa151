// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {
namespace {

constexpr uint32_t kSzdd = 10;

Bytes Header(uint32_t length) { return Bytes().Text("SZDD").U32(0x3327F088).U8('A').U8(0).U32(length); }

// Three literals and a match of 6 that starts at them (place 4096 - 16) and so overlaps itself.
Bytes Letters(uint32_t length) { return Header(length).U8(0b00000111).Text("abc").U8(0xF0).U8(0xF0 | 3); }

TEST(Szdd, DecodesUpToTheLengthAndTheCallersLimit) {
  const struct {
    Bytes file;
    uint32_t limit;
    const char* text;
  } rows[] = {
      {Letters(12).U8(0).U8(0), 0, "abcabcabc   "},  // a match from a place never written: spaces
      {Letters(7), 0, "abcabca"},
      {Letters(7), 5, "abcab"},
      {Header(0), 0, ""},
  };
  for (const auto& row : rows) {
    const Walk walk = WalkWith(kSzdd, row.file.data, row.limit);
    ASSERT_EQ(walk.members.size(), 1u);
    EXPECT_TRUE(walk.members[0].extracted && walk.finished) << row.text;
    EXPECT_EQ(walk.members[0].name, "unknown");
    EXPECT_EQ(Text(walk.members[0].data), row.text);
  }
}

TEST(Szdd, InputThatEndsEarlyFailsAndKeepsWhatCame) {
  const Bytes whole = Letters(100);
  for (uint32_t size = 14; size <= whole.size(); ++size) {
    const Walk walk = WalkWith(kSzdd, Bytes(whole).CutTo(size).data);
    ASSERT_EQ(walk.members.size(), 1u);
    EXPECT_FALSE(walk.members[0].extracted) << size;
    EXPECT_EQ(Text(walk.members[0].data),
              std::string("abcabcabc").substr(0, size < 20 ? (size > 15 ? std::min(size - 15, 3u) : 0) : 9))
        << size;
  }
}

TEST(Szdd, LongOutputCrossesTheBufferAndEveryLimitGivesAPrefix) {
  // Matches of 18 from one byte back repeat it far past the pending buffer.
  Bytes file = Header(200000).U8(0b00000001).U8('z');
  for (uint32_t at = 1, bit = 1; at < 200000; at += 18, ++bit) {
    if (bit % 8 == 0) file.U8(0);
    file.U8((at - 1 - 16) & 0xFF).U8((((at - 1 - 16) >> 4) & 0xF0) | 15);
  }
  const Walk walk = WalkWith(kSzdd, file.data);
  EXPECT_TRUE(walk.members[0].extracted);
  EXPECT_EQ(walk.members[0].data, std::vector<uint8_t>(200000, 'z'));
  for (const uint32_t limit : {1u, 18u, 19u, 32767u, 32768u, 32769u, 199999u}) {
    EXPECT_EQ(WalkWith(kSzdd, file.data, limit).members[0].data, std::vector<uint8_t>(limit, 'z'));
  }
}

TEST(Szdd, SurvivesDamage) { SweepDamage(kSzdd, Letters(12).U8(0).U8(0).data); }

}  // namespace
}  // namespace brix
