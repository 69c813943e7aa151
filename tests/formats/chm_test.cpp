// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>

#include "core/memory_stream.h"
#include "formats/microsoft/chm/chm_content.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/lzx_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kChm = 5;

// Where the fixture holds its parts.
constexpr size_t kDirectory = 120, kChunk0 = 204, kChunk1 = 4300;
constexpr size_t kNames = 16825, kControl = 16885, kResetTable = 16959;
constexpr size_t kTopics = 72, kMembers = kTopics + 1;  // and one in section 0

Bytes Manual() { return Bytes(Fixture("chm/manual.chm")); }

// The fixture with `bytes` where its directory names `name`, at a distance from the name's first character.
Bytes InEntry(std::string_view name, int at, const std::vector<uint8_t>& bytes) {
  Bytes file = Manual();
  const auto found = std::search(file.data.begin(), file.data.end(), name.begin(), name.end());
  std::copy(bytes.begin(), bytes.end(), found + at);
  return file;
}

std::string Topic(size_t i) {
  std::string text;
  char line[64];
  for (int n = 0; n < 60; ++n) {
    std::snprintf(line, sizeof line, "Topic %02zu, line %03d of the manual.\n", i, n);
    text += line;
  }
  return text;
}

TEST(Chm, MembersAreTheTopicsWhereverTheirContentLies) {
  for (const uint32_t limit : {0u, 100u}) {
    const Walk walk = WalkWith(kChm, Manual().data, limit);
    ASSERT_TRUE(walk.finished);
    ASSERT_EQ(walk.members.size(), kMembers);
    for (size_t i = 0; i < kTopics; ++i) {
      EXPECT_TRUE(walk.members[1 + i].extracted) << i;
      EXPECT_EQ(Text(walk.members[1 + i].data), Topic(i).substr(0, limit == 0 ? 5000 : limit));
    }
  }
}

TEST(Chm, KeepsFilesWithoutACompressedSectionClosedAndMembersOfSection0Listed) {
  EXPECT_TRUE(
      WalkWith(kChm, InEntry("::DataSpace/Storage/MSCompressed/Content", 0, {'x'}).data).members.empty());
  const Walk walk = WalkWith(kChm, Manual().data);
  ASSERT_EQ(walk.members.size(), kMembers);
  EXPECT_EQ(walk.members[0].name, "/_#_README_#_");
  EXPECT_FALSE(walk.members[0].extracted);
}

TEST(Chm, HeadersAndPartsAreChecked) {
  constexpr std::string_view kNameList = "::DataSpace/NameList";
  const Rows<Bytes, std::pair<size_t, size_t>> rows = {
      // Members listed, and how many of them can be extracted.
      {"as made", Manual(), {kMembers, kTopics}},
      {"file header", Manual().PatchU8(4, 2), {0, 0}},
      {"directory header", Manual().PatchU8(kDirectory, 0), {0, 0}},
      {"directory far behind the file", Manual().PatchU32(72, 0xFFFFFFF0), {0, 0}},
      {"first chunk behind the file", Manual().PatchU32(kDirectory + 32, 0xFFFFFFFE), {0, 0}},
      {"chunk mark", Manual().PatchU8(kChunk1, 0), {0, 0}},
      {"a chunk of free space alone", Manual().PatchU32(kChunk0 + 4, 4076), {16, 16}},
      {"more free space than that", Manual().PatchU32(kChunk0 + 4, 4077), {0, 0}},
      {"an entry goes on in the free space", Manual().PatchU32(kChunk1 + 4, 2531), {0, 0}},
      {"name list in another section", InEntry(kNameList, 20, {1}), {0, 0}},
      {"no name list", InEntry(kNameList, 0, {'x'}), {0, 0}},
      {"name list behind the file", InEntry(kNameList, 21, {0xFF, 0x7F}), {0, 0}},
      {"a section of another name", Manual().PatchU8(kNames + 34, 'm'), {kMembers, 0}},
      {"only the low bytes of a name count", Manual().PatchU8(kNames + 35, 1), {kMembers, kTopics}},
      {"no reset interval", Manual().PatchU32(kControl + 12, 0), {0, 0}},
      {"a window of 3 frames", Manual().PatchU32(kControl + 16, 3), {0, 0}},
      {"no cache", Manual().PatchU32(kControl + 20, 0), {0, 0}},
      {"sizes in bytes",
       Manual().PatchU32(kControl + 8, 1).PatchU32(kControl + 12, 65536).PatchU32(kControl + 16, 65536),
       {kMembers, kTopics}},
      {"version of the reset table", Manual().PatchU32(kResetTable, 3), {0, 0}},
      {"no frames", Manual().PatchU32(kResetTable + 4, 0), {0, 0}},
      {"more frames than the file can hold", Manual().PatchU32(kResetTable + 4, 0x20000000), {0, 0}},
      {"entries of another size", Manual().PatchU32(kResetTable + 8, 16), {kMembers, 0}},
      {"the first reset point is damaged", Manual().PatchU32(kResetTable + 40, 0xFFFFFFFF), {kMembers, 41}},
  };
  ExpectRows(rows, [](const Bytes& file) {
    const Walk walk = WalkWith(kChm, file.data);
    const auto extracted = std::ranges::count(walk.members, true, &WalkedMember::extracted);
    return std::pair(walk.members.size(), static_cast<size_t>(extracted));
  });
}

TEST(Chm, AChainOfChunksThatComesBackEnds) {
  const Walk walk = WalkWith(kChm, Manual().PatchU32(kChunk1 + 16, 0).data);
  EXPECT_FALSE(walk.finished);
  EXPECT_GE(walk.members.size(), kMembers);
}

TEST(Chm, OpeningLooksThroughAMillionEntries) {
  const auto with_chunks_in_front = [](uint32_t count) {
    Bytes file = Manual();
    const auto first = static_cast<uint32_t>((file.size() - kChunk0) / 4096 + 1);
    file.PatchU32(kDirectory + 32, first).PadTo(kChunk0 + first * 4096);
    for (uint32_t next = first + 1; count != 0; ++next, --count) {  // of 1,019 empty entries each
      file.Text("PMGL").Fill(12, 0).U32(count == 1 ? 0 : next).Fill(4076, 0);
    }
    return WalkWith(kChm, file.data).members.size();
  };
  EXPECT_EQ(with_chunks_in_front(981), kMembers);
  EXPECT_EQ(with_chunks_in_front(982), 0u);
}

TEST(Chm, FramesDecodedInVainAreCounted) {
  // 200 frames of zeros without a reset point between them, which all but the first can share their bytes.
  LzxBuilder builder(15);
  builder.Put(0, 1).CodedHeader(LzxBuilder::kVerbatim, 0xFFFFFF);
  const auto frame = [&] {
    for (int i = 0; i < 127; ++i) builder.Match(1, 257);
    return builder.Match(1, 129).TakeUnit();
  };
  const std::vector<uint8_t> first = frame(), other = frame();
  const auto start = static_cast<uint32_t>(first.size()), end = start + static_cast<uint32_t>(other.size());
  Bytes file = Bytes().Fill(8, 0).U32(2).U32(1).U32(1).U32(100).PadTo(40);
  file.U32(2).U32(200).U32(8).U32(40).Fill(8, 0).U32(end).PadTo(80).Fill(8, 0);
  for (int i = 1; i < 200; ++i) file.U32(i % 2 == 0 ? end : start).U32(0);
  const uint32_t content_at = file.size();
  file.Raw(first).Raw(other).Raw(other);
  for (const auto& [spare, good] : {std::pair(150u, false), {250u, true}}) {
    FixedMemoryStream memory(file.data);
    DecoderInput in(&memory);
    chm::CompressedContent content;
    ASSERT_TRUE(content.Open(&in, {0, 40, content_at, file.size() - content_at}));
    ASSERT_TRUE(in.ChargeUnwanted(in.UnwantedLeft() - uint64_t{spare} * 32768));
    MemoryStream out;
    uint32_t written = 0;
    EXPECT_EQ(content.Extract(199 * 32768, 1, out, &written), good) << spare << ": 199 frames come before";
    EXPECT_FALSE(content.Extract(150 * 32768, 1, out, &written)) << spare;
  }
}

TEST(Chm, KeepsTheLengthOfAnUncompressedSectionAsACount) {
  // The entry of the span information becomes that of such a section, of 8 bytes, and its name that of section 1.
  const Bytes entry = Bytes().U8(40).Text("::DataSpace/Storage/Uncompressed/Content").U8(0x80);
  Bytes file = InEntry("::DataSpace/Storage/MSCompressed/SpanInfo", -1, entry.data);
  std::copy_n(&file.data[kNames + 6], 24, &file.data[kNames + 34]);
  size_t extracted = 0;
  for (const WalkedMember& member : WalkWith(kChm, file.data).members) {
    if (!member.extracted) continue;  // begins behind the file
    EXPECT_EQ(member.data.size(), 8u);
    ++extracted;
  }
  EXPECT_EQ(extracted, 2u);
}

TEST(Chm, SurvivesDamage) {
  const Bytes manual = Manual();
  SweepDamage(kChm, manual.data, 300);
  for (size_t at = kNames; at < kResetTable + 100; ++at) {
    for (const uint32_t value : {0x00u, 0xFFu})
      (void)WalkWith(kChm, Bytes(manual).PatchU8(at, value).data, 1000);
  }
}

}  // namespace
}  // namespace brix
