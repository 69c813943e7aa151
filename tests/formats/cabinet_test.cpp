// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_test.cpp - cabinets with one field spoiled, and what a walk over them shows.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/cabinet_builder.h"
#include "support/handler_walk.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kType = 3;
const std::string kWhole = "abcdefghijklmn";  // what each folder holds
const std::string kOk = "a=abcdefg b=hijklm $";

// The walk as one line: name=content, "!" behind what failed, "$" at a proper end.
std::string WalkOf(const Bytes& bytes, uint32_t max_bytes = 0) {
  const Walk walk = WalkWith(kType, bytes.data, max_bytes);
  std::string text;
  for (const WalkedMember& m : walk.members) {
    EXPECT_EQ(m.status, 1u) << m.name;
    text += m.name + "=" + Text(m.data) + (m.extracted ? " " : "! ");
  }
  return text + (walk.finished ? "$" : "damaged");
}
const auto kWalkOf = [](const Bytes& bytes) { return WalkOf(bytes); };

bool Detected(const Bytes& bytes) {
  FixedMemoryStream in(bytes.data);
  return Formats().DetectArchiveType(in, 0) == kType;
}

Cabinet Sample(uint32_t method = 0) {
  Cabinet cabinet;
  cabinet.folders = {PackFolder(method)};
  cabinet.files = {{"a", 7, 0}, {"b", 6, 7}};
  return cabinet;
}

template <class Change>
Bytes Changed(uint32_t method, Change change) {
  Cabinet cabinet = Sample(method);
  change(cabinet);
  return cabinet.Build();
}

Bytes WithFiles(std::vector<CabinetFile> files) {
  return Changed(0, [&](Cabinet& c) { c.files = std::move(files); });
}

TEST(Cabinet, TheHeaderStandsInTheFirstKilobyteAndItsCountsAgree) {
  const auto with = [](uint32_t at, uint32_t value) { return Sample().Build().PatchU16(at, value); };
  const auto prefixed = [](size_t size) { return Changed(0, [=](Cabinet& c) { c.prefix.Fill(size, 'M'); }); };
  const Rows<Bytes, bool> rows = {
      {"as written", Sample().Build(), true},
      {"a prefix", prefixed(1019), true},
      {"a longer one", prefixed(1020), false},
      {"size 0", with(8, 0), false},
      {"1 GiB", with(8, 0).PatchU32(8, 0x40000000), true},
      {"and a byte", with(8, 0).PatchU32(8, 0x40000001), false},
      {"files inside the header", with(16, 35), false},
      {"no folders", with(26, 0), false},
      {"no files", with(28, 0), false},
      {"header cut", Sample().Build().CutTo(29), false},
  };
  ExpectRows(rows, Detected);
  EXPECT_EQ(WalkOf(prefixed(1019)), kOk);
}

TEST(Cabinet, KeepsToTheFirstSignatureAndTenSpareFolders) {
  const Bytes good = Sample().Build();
  EXPECT_FALSE(Detected(Bytes().Text("MSCF").Fill(40, 0).Raw(good)));
  EXPECT_FALSE(Detected(Bytes().Text("x MSCF").Fill(40, 0).Raw(good)));
  EXPECT_EQ(WalkOf(Bytes().Text("x MSCF").Fill(40, 0).Raw(good)), "damaged");
  const auto with_folders = [](size_t count) {
    return Changed(0, [=](Cabinet& c) { c.folders.resize(count); });
  };
  EXPECT_TRUE(Detected(with_folders(12)));
  EXPECT_FALSE(Detected(with_folders(13)));
  EXPECT_EQ(WalkOf(with_folders(13)), "damaged");
}

TEST(Cabinet, WalksTheFileEntries) {
  const auto patched = [](uint32_t at, uint32_t value) { return Sample().Build().PatchU32(at, value); };
  const CabinetFile b{"b", 2, 1};
  const Rows<Bytes, std::string> rows = {
      {"in any folder order, twice the same", WithFiles({b, b, {"a", 1, 0}, b}), "b=bc b=bc a=a b=bc $"},
      {"no name", WithFiles({{"", 1, 0}, b}), "unknown=a b=bc $"},
      {"no such folder", WithFiles({b, {"a", 1, 0, 1}, b}), "b=bc damaged"},
      {"the highest number", WithFiles({{"a", 1, 0, 0xFFFC}}), "damaged"},
      {"only empty files", WithFiles({{"a", 0, 0}, {"c", 0, 0xFFFFFFFF}}), "a= c= $"},
      {"behind the folder", WithFiles({{"a", 1, 14}, {"c", 20, 10}, b}), "a=! c=klmn! b=bc $"},
      {"the last entry ends with its fields", WithFiles({{"", 0, 0}}).CutTo(60), "unknown= $"},
      {"entry cut", WithFiles({{"", 0, 0}}).CutTo(59), "damaged"},
      {"file list behind the end", patched(16, 0xFFFFFFF0), "damaged"},
      {"folder entries cut", WithFiles({b}).CutTo(43), "damaged"},
      {"blocks behind the end", patched(36, 0xFFFFFFFF), "a=! b=! $"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkOf(Sample().Build(), 3), "a=abc b=hij $");
}

TEST(Cabinet, KeepsContinuedFilesOutOfTheWalk) {
  for (const uint32_t folder : {0xFFFDu, 0xFFFEu, 0xFFFFu}) {
    const CabinetFile b{"b", 2, 1};
    const CabinetFile continued{"continued", 3, 0, folder};
    EXPECT_EQ(WalkOf(WithFiles({continued, b, continued, b, continued})), "b=bc b=bc $") << folder;
    EXPECT_EQ(WalkOf(WithFiles({continued})), "$") << folder;
  }
}

Bytes WithExtra(uint32_t flags, const Bytes& extra, uint32_t folder = 0, uint32_t block = 0) {
  return Changed(0, [&](Cabinet& c) {
    c.flags = flags, c.extra = extra, c.folder_reserve = folder, c.block_reserve = block;
  });
}
Bytes NeighbourName(size_t size) { return Bytes().Fill(size, 'x').Fill(2, 0); }

TEST(Cabinet, SkipsReservesAndNeighbours) {
  const Bytes names = Bytes().Text("disk1.cab").U8(0).Text("Disk 1").U8(0);
  const Rows<Bytes, std::string> rows = {
      {"reserves", WithExtra(4, Bytes().U16(3).U8(5).U8(7).Text("abc"), 5, 7), kOk},
      {"the largest", WithExtra(4, Bytes().U16(65535).U8(255).U8(255).Fill(65535, 1), 255, 255), kOk},
      {"all", WithExtra(7, Bytes().U16(1).U16(0).U8('r').Raw(names).Raw(names)), kOk},
      {"names up to the end", WithExtra(2, NeighbourName(200)).CutTo(100), "damaged"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Cabinet, KeepsTheRestOfALongNameForWhatFollowsIt) {
  EXPECT_EQ(WalkOf(WithExtra(2, NeighbourName(254))), kOk);
  EXPECT_NE(WalkOf(WithExtra(2, NeighbourName(255))), kOk);
  const std::string name(511, 'n');
  const CabinetFile b{"b", 2, 1};
  EXPECT_EQ(WalkOf(WithFiles({{name, 1, 0}, b})), name + "=a b=bc $");
  EXPECT_NE(WalkOf(WithFiles({{name + "n", 1, 0}, b})), name + "=a b=bc $");
}

TEST(Cabinet, EachMethodInAnyOrderOfMembers) {
  for (uint32_t method = 0; method < 4; ++method) {
    Cabinet cabinet = Sample(method);
    cabinet.folders.push_back(PackFolder((method + 1) % 4));
    cabinet.files.clear();
    std::string expected;
    for (uint32_t i = 0; i < 200; ++i) {
      const uint32_t offset = i * 5 % 13;
      const uint32_t size = i * i % (15 - offset);
      cabinet.files.push_back({"f", size, offset, i % 7 == 0 ? 1u : 0u});
      expected += "f=" + kWhole.substr(offset, size) + " ";
    }
    EXPECT_EQ(WalkOf(cabinet.Build()), expected + "$") << method;
  }
}

// One member a block, then all of them, with two or four bytes of a block's header replaced.
std::string WalkBlocks(uint32_t method, size_t block, uint32_t at, uint32_t value, bool wide = false) {
  Cabinet cabinet = Sample(method);
  cabinet.files = {{"1", 6, 0}, {"2", 2, 6}, {"3", 6, 8}, {"3", 6, 8}, {"all", 14, 0}};
  Bytes bytes = cabinet.Build();
  const uint32_t place = cabinet.block_at[block] + at;
  return WalkOf(wide ? bytes.PatchU32(place, value) : bytes.PatchU16(place, value));
}

TEST(Cabinet, KeepsChecksumsUnread) {
  for (uint32_t method = 0; method < 4; ++method) {
    for (const uint32_t checksum : {0u, 1u, UINT32_MAX}) {
      EXPECT_EQ(WalkBlocks(method, 1, 0, checksum, true),
                "1=abcdef 2=gh 3=ijklmn 3=ijklmn all=abcdefghijklmn $")
          << method;
    }
  }
}

TEST(Cabinet, KeepsAnEmptyBlockTheEndOfItsFolder) {
  for (uint32_t method = 0; method < 4; ++method) {
    for (const uint32_t input : {0u, 38912u}) {
      EXPECT_EQ(WalkBlocks(method, 1, 4, input, true), "1=abcdef 2= 3= 3= all=abcdef $") << method;
    }
  }
}

TEST(Cabinet, DamageCostsNoMoreThanTheMethodMakesIt) {
  const std::string second = "1=abcdef 2=! 3=ijklmn 3=ijklmn all=abcdef! $";
  const std::string rest = "1=abcdef 2=! 3=! 3=! all=abcdef! $";
  EXPECT_EQ(WalkBlocks(1, 1, 8, 'C'), second) << "no mark";
  EXPECT_EQ(WalkBlocks(1, 1, 10, 7), second) << "block type 3";
  EXPECT_EQ(WalkBlocks(1, 0, 10, 7), "1=! 2=gh 3=ijklmn 3=ijklmn all=! $") << "the first";
  EXPECT_EQ(WalkBlocks(2, 1, 4, 0), rest) << "Quantum without input";
  EXPECT_EQ(WalkBlocks(3, 1, 10, 0), rest) << "LZX block type 0";
  for (const uint32_t method : {0u, 1u}) {
    EXPECT_EQ(WalkBlocks(method, 1, 4, 38913), rest) << "too much input, and no block behind it " << method;
    EXPECT_EQ(WalkBlocks(method, 1, 6, 32769), rest) << "too much output " << method;
    EXPECT_EQ(WalkBlocks(method, 1, 6, 3), rest) << "short " << method;
    EXPECT_EQ(WalkBlocks(method, 1, 4, 38913, true), rest) << "too much input, no output " << method;
    EXPECT_EQ(WalkBlocks(method, 0, 4, 38913, true), "1=! 2=! 3=! 3=! all=! $") << method;
    EXPECT_EQ(WalkBlocks(method, 1, 6, 1), "1=abcdef 2=gi 3=jklmn! 3=jklmn! all=abcdefgijklmn! $")
        << "less than there is";
  }
}

Bytes WithFolder(uint32_t method, uint32_t type, std::optional<uint32_t> block_count) {
  return Changed(method,
                 [&](Cabinet& c) { c.folders[0].type = type, c.folders[0].block_count = block_count; });
}

TEST(Cabinet, KeepsReadingTheFirstBlockOfAFolderWithoutBlocks) {
  EXPECT_EQ(WalkOf(WithFolder(0, 0, 0)), "a=abcdef! b=! $");
}

TEST(Cabinet, KeepsTheStatusOfMembersOfUnknownMethods) {
  EXPECT_EQ(WalkOf(WithFolder(0, 4, {})), "a=! b=! $");
  EXPECT_EQ(WalkWith(kType, WithFolder(0, 15, {}).data).members.at(0).status, kMemberNormal);
}

TEST(Cabinet, FoldersThatAreNotWhatTheySay) {
  const auto with = [](uint32_t method, uint32_t type) { return WithFolder(method, type, {}); };
  const Rows<Bytes, std::string> rows = {
      {"only the low bits are the method", with(1, 0xFFF1), kOk},
      {"LZX with the least window", with(3, 0x0F03), kOk},
      {"with a smaller one", with(3, 0x0E03), "a=! b=! $"},
      {"with one that is cut to the largest", with(3, 0xFF03), kOk},
      {"Quantum with a window too small", with(2, 0x0902), "a=! b=! $"},
      {"with one that is cut, which changes the slots alone", with(2, 0xFF02), kOk},
      {"fewer blocks than are needed", WithFolder(0, 0, 2), "a=abcdefg b=h! $"},
      {"more blocks than there are", WithFolder(0, 0, 65535), kOk},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Cabinet, MsZipBlocksShareHistoryButNothingElse) {
  // 100 bytes more than the block's size are no history.
  std::vector<uint8_t> ramp(32768);
  for (size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<uint8_t>(i % 251);
  const DeflateBuilder first =
      DeflateBuilder().Stored(ramp, false).Stored(std::vector<uint8_t>(100, 'x'), true);
  DeflateBuilder second;
  second.plain = ramp;
  second.Fixed({{258, 32768}, {3, 1}}, true);
  const Bytes bytes = Changed(1, [&](Cabinet& c) {
    c.folders[0].blocks = {{Bytes().Text("CK").Raw(first.bits.bytes()), 32768},
                           {Bytes().Text("CK").Raw(second.bits.bytes()), 261}};
    c.files = {{"a", 33029, 0}};
  });
  const Walk walk = WalkWith(kType, bytes.data);
  ASSERT_TRUE(walk.members.at(0).extracted);
  EXPECT_EQ(walk.members[0].data, second.plain);
}

TEST(Cabinet, KeepsTheExpressionThatTurnsLzxWords) {
  const auto with_reserve = [](uint32_t bytes) {
    return Changed(3, [&](Cabinet& c) {
      c.flags = 4, c.block_reserve = bytes, c.extra = Bytes().U16(0).U8(0).U8(bytes);
    });
  };
  EXPECT_EQ(WalkOf(with_reserve(2)), kOk);
  EXPECT_EQ(WalkOf(with_reserve(1)), "a=! b=! $") << "the words begin at odd places";
}

TEST(Cabinet, SizeAndNameEncodingOfTheMember) {
  const Bytes bytes = WithFiles({{"a", 7}, {"b", 6, 7, 0, 0x80}});
  FixedMemoryStream in(bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler != nullptr && handler->OpenArchive(name));
  EXPECT_EQ(handler->GetMemberHint(), 4u);
  ASSERT_TRUE(handler->NextMember(name));
  EXPECT_EQ(handler->GetMemberHint(), 1u);
  ExpectMemberSize(*handler, 6);
}

TEST(Cabinet, ReadsWhatOtherToolsReadAndWrite) {
  const auto digest_of = [](const std::string& file) {
    std::string text;
    for (const WalkedMember& m : WalkWith(kType, Fixture("cabinet/" + file)).members)
      text += Digest(m.data) + " ";
    return text;
  };
  EXPECT_EQ(digest_of("mszip.cab"), "72800 17d6f28c 13 e23aea7b ");
  EXPECT_EQ(digest_of("stored.cab"), "13 e23aea7b ");
  EXPECT_EQ(digest_of("quantum.cab"), "72800 17d6f28c ");
  EXPECT_EQ(digest_of("first-60000.cab"), "60000 5127aa05 ");
}

TEST(Cabinet, SurvivesDamage) {
  for (uint32_t method = 0; method < 4; ++method) {
    Cabinet cabinet = Sample(method);
    cabinet.flags = 5, cabinet.folder_reserve = 1, cabinet.block_reserve = 2;
    cabinet.extra = Bytes().U16(1).U16(0x0201).U8(0).Text("a").U8(0).Text("b").U8(0);
    cabinet.files.push_back({"back", 3, 1});
    SweepDamage(kType, cabinet.Build().data);
  }
}

}  // namespace
}  // namespace brix
