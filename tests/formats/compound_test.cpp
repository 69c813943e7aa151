// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// compound_test.cpp - compound files with one field spoiled, mostly shown through the handler of installer
// databases, which lists every stream of the root.
#include <gtest/gtest.h>

#include <random>

#include "core/memory_stream.h"
#include "formats/microsoft/compound/compound_file.h"
#include "formats/registry.h"
#include "support/compound_builder.h"
#include "support/recording_stream.h"
#include "support/rows.h"

namespace brix {
namespace {

using compound::ChainMemory;
using compound::ChainStream;
using compound::CompoundFile;
using compound::Entry;

Bytes Random(uint32_t size) {
  std::mt19937 random(size);
  Bytes bytes;
  while (bytes.size() < size) bytes.U8(random() & 0xFF);
  return bytes;
}

// The streams "a" and "b" of 65 bytes, in the mini stream, and "c" to "e" of two sectors.
CompoundBuilder Five() {
  CompoundBuilder file;
  file.cutoff = 1000;
  for (char16_t name = u'a'; name <= u'e'; ++name) {
    file.Stream(std::u16string(1, name), Bytes().Fill(name <= u'b' ? 65 : 1024, 'x'));
  }
  file.Build();
  return file;
}

// Which members come, in which order; a capital letter for one that cannot be extracted whole.
std::string Members(const Bytes& bytes) {
  const Walk walk = WalkWith(11, bytes.data);
  std::string line;
  for (const WalkedMember& m : walk.members)
    line += static_cast<char>(m.name[0] - (m.extracted ? 0 : 'a' - 'A'));
  return line + (walk.finished ? "$" : "!");
}

TEST(Compound, ReadsStreamsOfEverySizeInAnyOrder) {
  constexpr uint32_t kSizes[] = {0, 1, 63, 64, 65, 4095, 4096, 4097, 100000};
  for (const auto& [shift, backwards] : {std::pair(9u, false), {9u, true}, {12u, true}, {16u, false}}) {
    CompoundBuilder file;
    file.shift = shift;
    file.backwards = backwards;
    for (const uint32_t size : kSizes) file.Stream(u"n", Random(size));
    FixedMemoryStream in(file.Build().data);
    CompoundFile compound;
    ASSERT_TRUE(compound.Open(in)) << shift;
    for (uint32_t i = 0; i < 2 * std::size(kSizes); ++i) {
      const Bytes expected = Random(kSizes[i / 2]);
      std::vector<uint8_t> buf = expected.data;
      const uint32_t size = expected.size();
      Entry entry;
      ASSERT_TRUE(compound.ReadEntry(i / 2 + 1, &entry));
      ChainStream stream;
      compound.OpenStream(entry, i % 2 == 0 ? ChainMemory::kCursor : ChainMemory::kAll, &stream);
      for (uint32_t turn = 0, at = 0; turn < 50;
           ++turn, at = (at * 7 / 5 + size / 3) % (size + 1)) {  // to and fro
        const uint32_t count = turn == 0 ? size : std::min(size - at, at % 3000);
        std::fill_n(buf.begin() + at, count, uint8_t{0});
        ASSERT_TRUE(ReadExact(stream, at, buf.data() + at, count));
        ASSERT_TRUE(buf == expected.data) << size << " " << at;
      }
      uint32_t got = 1;
      EXPECT_TRUE(stream.ReadAt(size, buf.data(), 1, &got) && got == 0 &&
                  !stream.ReadAt(size + 1, buf.data(), 1, &got));
    }
  }
}

TEST(Compound, FindsFatSectorsThroughTheirOwnSectors) {
  CompoundBuilder file;
  file.Stream(u"z", Bytes().Fill(7'400'000, 'z'));  // takes 114 sectors of FAT, 5 more than the header lists
  file.Stream(u"a", Bytes().Fill(5000, 'a'));
  const Bytes whole = file.Build();
  const auto with = [&](uint32_t at, uint32_t value) { return Bytes(whole).PatchU32(at, value); };
  const Rows<Bytes, const char*> rows = {
      {"as written", whole, "za$"},
      {"one FAT sector outside the file", with(file.SectorAt(file.fat_sector - 1), 0x00FFFFFF), "Za$"},
      {"only those in the header are counted", with(44, 109), "ZA$"},
      {"no list behind the header's", with(68, 0xFFFFFFFE), "ZA$"},
  };
  ExpectRows(rows, Members);
}

TEST(Compound, ChecksTheHeader) {
  const Bytes whole = Five().bytes;
  const auto with = [&](uint32_t at, uint32_t value) { return Bytes(whole).PatchU32(at, value); };
  const Rows<Bytes, const char*> rows = {
      {"as written", whole, "abcde$"},
      {"sector shift 17", with(30, 0x60011), "!"},
      {"mini shift 17", with(30, 0x110009), "!"},
      {"the most FAT and mini FAT sectors", with(44, 32768).PatchU32(64, 32768), "abcde$"},
      {"one FAT sector more", with(44, 32769), "!"},
      {"one mini FAT sector more", with(64, 32769), "!"},
      {"the most DIFAT sectors", with(72, 256), "abcde$"},
      {"one more", with(72, 257), "!"},
      {"no FAT: the first sector of each chain", with(44, 0), "abC!"},
      {"no directory", with(48, 0xFFFFFFFE), "!"},
      {"no mini FAT", with(60, 0xFFFFFFFE), "ABcde$"},
      {"a cutoff of a stream's size puts it among the large", with(56, 1024), "abcde$"},
      {"cut in the header", Bytes(whole).CutTo(511), "!"},
  };
  ExpectRows(rows, Members);
}

TEST(Compound, DamageFailsWhatItHitsAndNothingElse) {
  const CompoundBuilder f = Five();
  const auto with = [&](uint32_t at, uint32_t value) { return Bytes(f.bytes).PatchU32(at, value); };
  const auto next = [&](uint32_t entry, uint32_t sector) { return with(f.FatAt(f.StartOf(entry)), sector); };
  const auto field = [&](uint32_t entry, uint32_t at, uint32_t value) {
    return with(f.EntryAt(entry) + at, value);
  };
  const Rows<Bytes, const char*> rows = {
      {"a chain in a circle", next(3, f.StartOf(3)), "abcde$"},
      {"longer than the file", next(3, f.StartOf(3)).PatchU32(f.EntryAt(3) + 120, 0x7FFFFFFF), "abCde$"},
      {"a sector outside the file", next(4, 0x00FFFFFF), "abcDe$"},
      {"a sector whose offset wraps", next(4, 0x00800000), "abcDe$"},
      {"a start outside the file", field(4, 116, 0x00FFFFFF), "abcDe$"},
      {"a mini stream without sectors", field(0, 116, 0xFFFFFFFE), "ABcde$"},
      {"a left sibling above", field(3, 68, 1), "abcde!"},
      {"a right sibling above: what is behind it is lost", field(3, 72, 1), "abc!"},
      {"the root as a sibling", field(5, 72, 0), "abcde!"},
      {"two links to one entry: it comes once", field(2, 68, 5), "abcde!"},
      {"a link behind the directory", field(5, 72, 1000), "abcde!"},
      {"a name of 66 bytes hides its entry, not those below", Bytes(f.bytes).PatchU16(f.EntryAt(2) + 64, 66),
       "acde!"},
      {"the root's name and type are not looked at", field(0, 64, 0), "abcde$"},
  };
  ExpectRows(rows, Members);
}

TEST(Compound, KeepsTheRootsNameAndTypeWhateverItsEntrySays) {
  const CompoundBuilder file = Five();
  for (const uint32_t name_bytes : {0u, 4u, 64u, 66u}) {  // the builder names it "R"
    Bytes bytes =
        Bytes(file.bytes).PatchU16(file.EntryAt(0) + 64, name_bytes).PatchU8(file.EntryAt(0) + 66, 2);
    FixedMemoryStream in(bytes.data);
    CompoundFile compound;
    ASSERT_TRUE(compound.Open(in)) << name_bytes;
    Entry root;
    EXPECT_TRUE(compound.ReadEntry(0, &root) && HasName(root, u"Root Entry") && root.type == 5) << name_bytes;
  }
}

TEST(Compound, KeepsSectorsTooSmallForAnEntryOut) {
  for (const auto& [shift, line] : {std::pair(7u, "ab$"), {6u, "!"}, {0u, "!"}}) {
    CompoundBuilder file;
    file.shift = std::max(shift, 6u);
    file.Stream(u"a", Bytes().Fill(5000, 'x'));
    file.Stream(u"b", Bytes().Fill(100, 'x'));
    EXPECT_EQ(Members(Bytes(file.Build()).PatchU16(30, shift)), line) << shift;
  }
}

TEST(Compound, KeepsTheDirectoryAsLongAsItsChainAndTheMiniFatAsItsHeaderSays) {
  const CompoundBuilder f = Five();
  const uint32_t directory = (f.directory_at >> 9) - 1;  // two sectors of four entries
  const auto with = [&](uint32_t at, uint32_t value) { return Bytes(f.bytes).PatchU32(at, value); };
  const Rows<Bytes, const char*> rows = {
      {"a count of directory sectors is not read", with(40, 1), "abcde$"},
      {"the directory's chain ends earlier", with(f.FatAt(directory), 0xFFFFFFFE), "abc!"},
      {"the directory's chain in a circle, which counts as empty", with(f.FatAt(directory + 1), directory),
       "!"},
      {"no sectors of the mini FAT", with(64, 0), "ABcde$"},
      {"more of them than its chain has", with(64, 2), "abcde$"},
  };
  ExpectRows(rows, Members);
}

TEST(Compound, KeepsTreesOfAnyDepth) {
  CompoundBuilder file;  // every entry is the right sibling of the one before it; then the left
  for (uint32_t i = 0; i < 300; ++i) file.Stream(u"s", Bytes().Text("x"));
  Bytes chain = file.Build();
  EXPECT_EQ(Members(chain), std::string(300, 's') + "$");
  for (uint32_t i = 1; i <= 300; ++i)
    chain.PatchU32(file.EntryAt(i) + 68, i < 300 ? i + 1 : ~0u).PatchU32(file.EntryAt(i) + 72, ~0u);
  EXPECT_EQ(Members(chain), std::string(300, 's') + "$");
}

TEST(Compound, FiveFormatsCostOneOpening) {
  using Names = std::vector<std::u16string>;
  const std::u16string t[] = {
      u"\x4840\x3F7F\x4164\x422F\x4836", u"\x4840\x3F3F\x4577\x446C\x3E6A\x44B2\x482F",
      u"\x4840\x3F3F\x4577\x446C\x3B6A\x45E4\x4824"};  // _Tables, _StringData, _StringPool
  const Rows<Names, uint32_t> rows = {
      {"Word", {u"WordDocument"}, 17},
      {"Excel", {u"Workbook"}, 18},
      {"PowerPoint, as it is spelt", {u"PowerPoint Document"}, 19},
      {"in other cases", {u"powerpoint DOCUMENT"}, 19},
      {"a package", {u"\x01Ole10Native"}, 20},
      {"an installer database", {t[0], t[1], t[2]}, 11},
      {"Excel and Word", {u"Workbook", u"WordDocument"}, 17},
      {"a package and PowerPoint", {u"\x01ole10native", u"PowerPoint Document"}, 19},
      {"an installer database and a package", {t[0], t[1], t[2], u"\x01Ole10Native"}, 20},
      {"a longer name and a shorter", {u"Workbook2", u"Workboo"}, 0},
  };
  ExpectRows(rows, [](const Names& names) {
    CompoundBuilder file;
    for (const std::u16string& name : names) file.Stream(name, Bytes().Text("x"));
    file.Build();
    RecordingStream in;
    EXPECT_TRUE(WriteExact(in, 0, file.bytes.data.data(), file.bytes.size()));
    const uint32_t type_id = Formats().DetectArchiveType(in, 0);
    EXPECT_EQ(std::ranges::count(in.reads, std::pair(file.directory_at, 128u)), 1)
        << "times the root was read";
    EXPECT_TRUE(type_id == 0 || Formats().Find(type_id)->detect(in, 0, Formats()));
    return type_id;
  });
  RecordingStream other;
  EXPECT_TRUE(WriteExact(other, 0, Random(4000).data.data(), 4000));
  EXPECT_EQ(Formats().Find(17)->identify(other), 0u);
  EXPECT_EQ(other.reads, (std::vector<std::pair<uint32_t, uint32_t>>{{0, 8}}));
}

}  // namespace
}  // namespace brix
