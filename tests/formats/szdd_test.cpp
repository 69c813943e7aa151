#include <gtest/gtest.h>

#include "core/memory_stream.h"
#include "formats/microsoft/szdd/szdd_handler.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"

namespace brix {
namespace {

constexpr uint32_t kSzdd = 10;

Bytes Header(uint32_t length) { return Bytes().Text("SZDD").U32(0x3327F088).U8('A').U8(0).U32(length); }

std::string Text(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(Szdd, DetectsByTheWholeMagic) {
  const struct {
    const char* label;
    Bytes file;
    bool detected;
  } rows[] = {
      {"as written", Header(0), true},
      {"magic only, no length field", Bytes().Text("SZDD").U32(0x3327F088), true},
      {"second half of the magic differs", Header(0).PatchU32(4, 0x3327F089), false},
      {"cut inside the magic", Header(0).CutTo(7), false},
  };
  for (const auto& row : rows) {
    FixedMemoryStream in(row.file.data);
    EXPECT_EQ(szdd::DetectSzdd(in, 0, Formats()), row.detected) << row.label;
  }
}

TEST(Szdd, DecodesLiteralsMatchesAndSpaces) {
  // 3 literals "abc"; a match of 6 that starts at them (place 4096 - 16) and so overlaps itself; a match of 3
  // from a place never written.
  const Bytes file = Header(12).U8(0b00000111).Text("abc").U8(0xF0).U8(0xF0 | 3).U8(0x00).U8(0x00);
  const Walk walk = WalkWith(kSzdd, file.data);
  ASSERT_EQ(walk.members.size(), 1u);
  EXPECT_EQ(walk.members[0].name, "unknown");
  EXPECT_TRUE(walk.members[0].extracted);
  EXPECT_EQ(Text(walk.members[0].data), "abcabcabc   ");
  EXPECT_TRUE(walk.finished);
}

TEST(Szdd, StopsExactlyAtTheLengthAndAtTheCallersLimit) {
  const Bytes file = Header(7).U8(0b00000111).Text("abc").U8(0xF0).U8(0xF0 | 3);
  EXPECT_EQ(Text(WalkWith(kSzdd, file.data).members[0].data), "abcabca");
  EXPECT_EQ(Text(WalkWith(kSzdd, file.data, 5).members[0].data), "abcab");
  const Walk empty = WalkWith(kSzdd, Header(0).data);
  EXPECT_TRUE(empty.members[0].extracted);
  EXPECT_TRUE(empty.members[0].data.empty());
}

TEST(Szdd, InputThatEndsEarlyFailsAndKeepsWhatCame) {
  const Bytes whole = Header(100).U8(0b00000111).Text("abc").U8(0xF0).U8(0xF3);
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
  Bytes file = Header(200000);
  file.U8(0b00000001).U8('z');
  uint32_t at = 1;
  for (int i = 0; i < 7; ++i, at += 18) file.U8((at - 1 - 16) & 0xFF).U8((((at - 1 - 16) >> 4) & 0xF0) | 15);
  while (at < 200000) {
    file.U8(0);
    for (int i = 0; i < 8; ++i, at += 18)
      file.U8((at - 1 - 16) & 0xFF).U8((((at - 1 - 16) >> 4) & 0xF0) | 15);
  }
  const Walk walk = WalkWith(kSzdd, file.data);
  EXPECT_TRUE(walk.members[0].extracted);
  EXPECT_EQ(walk.members[0].data, std::vector<uint8_t>(200000, 'z'));
  for (const uint32_t limit : {1u, 18u, 19u, 32767u, 32768u, 32769u, 199999u}) {
    EXPECT_EQ(WalkWith(kSzdd, file.data, limit).members[0].data, std::vector<uint8_t>(limit, 'z'));
  }
}

TEST(Szdd, SurvivesDamage) {
  SweepDamage(kSzdd, Header(12).U8(0b00000111).Text("abc").U8(0xF0).U8(0xF3).U8(0).U8(0).data);
}

}  // namespace
}  // namespace brix
