// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <utility>

#include "api/support.h"
#include "support/rows.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

Bytes Zip(const std::vector<std::pair<std::string, Bytes>>& members) {
  std::vector<ZipMember> stored;
  for (const auto& [name, content] : members) stored.push_back(StoredMember(name, Text(content)));
  return BuildZip(stored).bytes;
}

// A ZIP whose second directory record is damaged: it opens, and fails on the way to its second member.
Bytes DamagedZip() {
  ZipFile zip = BuildZip({StoredMember("first", "1"), StoredMember("second", "2")});
  return zip.bytes.PatchU8(zip.record_at[1], 'X');
}

TEST(Walk, EntersMembersExtractedToMemoryAndFilesOnlyAndComesBack) {
  const Bytes inner = Zip({{"a", Szdd(Szdd("aaa"))}, {"b", Szdd("bb")}});
  const Bytes outer = Zip({{"plain", Bytes().Text("p")}, {"inner.zip", inner}, {"last", Bytes().Text("l")}});
  const Lines deep = {"0 plain 0", "0 inner.zip 0", "1 a 0",    "2 unknown 0", "3 unknown 0",
                      "1 b 0",     "2 unknown 0",   "0 last 0", "-5"};
  for (const Target target : kAllTargets) {
    Session s(outer);
    EXPECT_EQ(s.Depth(), 0u) << "freshly opened";
    EXPECT_EQ(s.WalkLines(target),
              target == Target::kStream ? (Lines{"0 plain 0", "0 inner.zip 0", "0 last 0", "-5"}) : deep)
        << static_cast<int>(target);
    EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(s.file.closes, 0) << "the host closes its streams";
  }
}

TEST(Walk, QueriesFollowTheLevels) {
  Session s(Zip({{"m", Szdd("x")}}));
  const auto answers = [&s] {  // status and answer of each query
    std::vector<int32_t> all;
    for (const auto query :
         {ArcTk2_ArchiveGetTopLevelType, ArcTk2_ArchiveGetCurrentType, ArcTk2_GetMemberStatus}) {
      uint32_t answer = 99;
      all.push_back(query(&s.archive, &answer));
      all.push_back(static_cast<int32_t>(answer));
    }
    return all;
  };
  using Answers = std::vector<int32_t>;
  EXPECT_EQ(answers(), (Answers{0, 16, 0, 16, -1, 99})) << "before the first member";
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(answers(), (Answers{0, 16, 0, 16, 0, 1}));
  EXPECT_EQ(s.Extract(Target::kMemory).status, BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(answers(), (Answers{0, 16, 0, 10, 0, 1})) << "SZDD in ZIP";
  EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  EXPECT_EQ(answers(), (Answers{-1, 99, -1, 99, -1, 99}));
  EXPECT_EQ(s.Depth(), UINT32_MAX) << "no level is open";
  EXPECT_EQ(s.Close(), BRIX_FAILED) << "no level was open";
  EXPECT_EQ(s.archive, nullptr);
}

TEST(Walk, TellsAnEncryptedListFromADamagedOne) {
  // A RAR archive's signature, and the first block with these flags and a header of that size.
  const auto rar = [](uint8_t flags, uint8_t header_size) {
    return Bytes().Text("Rar!\x1A").U8(7).U8(0).U16(0).U8(0x73).U16(flags).U16(header_size).Fill(6, 0);
  };
  const auto status = [](Session& s) {
    uint32_t answer = 99;
    EXPECT_EQ(ArcTk2_GetMemberStatus(&s.archive, &answer), BRIX_OK);
    return answer;
  };
  Session s(Zip({{"plain", Bytes().Text("p")}, {"secret", rar(0x80, 13)}, {"cut", Szdd("x")}}));
  ASSERT_EQ(s.Next(), BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kMemory).status, BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_PART_FAILED);
  EXPECT_EQ(status(s), BRIX_MEMBER_ENCRYPTED);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(status(s), BRIX_MEMBER_NORMAL);

  Session damaged(rar(0, 0));
  ASSERT_EQ(damaged.Next(), BRIX_FAILED);
  EXPECT_EQ(status(damaged), BRIX_MEMBER_NORMAL);
}

// What is passed over without a failure, once the walk has come to its end.
TEST(Walk, TellsWhatItDidNotShow) {
  const auto gzip = [](std::string_view text) {  // one stored block, then checksum and size
    const auto size = static_cast<uint32_t>(text.size());
    return Bytes().Text("\x1F\x8B\x08").Fill(7, 0).U8(1).U16(size).U16(~size & 0xFFFF).Text(text).Fill(8, 0);
  };
  const auto rar = [](uint32_t flags) {  // a stored file of one byte, and the end
    Bytes file = Bytes().Text("Rar!\x1A").U8(7).U8(0).U16(0).U8(0x73).U16(0).U16(13).Fill(6, 0);
    file.U16(0).U8(0x74).U16(0x8000 | flags).U16(33).U32(1).U32(1).Fill(9, 0).U8(20).U8('0').U16(1).U32(0);
    return file.Text("ax").U16(0).U8(0x7B).U16(0).U16(7);
  };
  const Rows<Bytes, uint32_t> rows = {
      {"a ZIP", Zip({{"m", Bytes().Text("x")}}), 0},
      {"a ZIP and zeros", Zip({{"m", Bytes().Text("x")}}).Fill(600, 0), 0},
      {"a ZIP and more", Zip({{"m", Bytes().Text("x")}}).Fill(600, 0).Text("more"), BRIX_UNSEEN_DATA},
      {"a gzip", gzip("x"), 0},
      {"two gzips in one file", gzip("x").Raw(gzip("y")), BRIX_UNSEEN_DATA},
      {"two gzips in a ZIP", Zip({{"m", gzip("x").Raw(gzip("y"))}}), BRIX_UNSEEN_DATA},
      {"a RAR", rar(0), 0},
      {"a RAR after something", Bytes().Text("something").Raw(rar(0)), BRIX_UNSEEN_DATA},
      {"a RAR after a program's stub", Bytes().Text("MZ").Raw(rar(0)), 0},
      {"a part of a RAR", rar(2), BRIX_UNSEEN_CONTINUED},
      {"a RAR and more", rar(0).Text("more"), BRIX_UNSEEN_DATA},
      {"a mail without parts", Bytes().Text("Subject: s\n\ntext\n"), BRIX_UNSEEN_NOTHING},
      {"the same in a ZIP, whose member it is", Zip({{"m", Bytes().Text("Subject: s\n\ntext\n")}}), 0},
  };
  ExpectRows(rows, [](const Bytes& file) {
    Session s(file);
    while (s.Next() == BRIX_OK) EXPECT_EQ(s.Extract(Target::kMemory).status, BRIX_OK);
    uint32_t unseen = 99;
    EXPECT_EQ(ArcTk2_GetUnseen(&s.archive, &unseen), BRIX_OK);
    return unseen;
  });
}

TEST(Walk, NestingLimitCountsTheOutermostAndTheParentPlusOne) {
  const struct {
    std::optional<Caps> caps;
    uint32_t deepest;
  } rows[] = {{Caps{1000, 1000, 1}, 0}, {Caps{1000, 1000, 2}, 0},  // 1 + 1 is not below 2
              {Caps{1000, 1000, 3}, 1}, {Caps{1000, 1000, 4}, 2},
              {std::nullopt, 8},        {Caps{1000, 1000, UINT32_MAX}, 14}};
  for (const auto& row : rows) {
    for (const Target target : {Target::kMemory, Target::kTempFile}) {
      Session s(Nested(15), row.caps);
      Lines expected;
      for (uint32_t d = 0; d <= row.deepest; ++d) expected.push_back(std::to_string(d) + " unknown 0");
      expected.push_back("-5");
      EXPECT_EQ(s.WalkLines(target), expected);
    }
  }
}

TEST(Walk, NameThatDoesNotFitIsRefusedAndTheWalkHasMovedOn) {
  for (const uint32_t size : {0u, 7u, 8u}) {
    Session s(Szdd("content"));
    char name[16] = "0123456789";
    EXPECT_EQ(ArcTk2_GetNextFile(&s.archive, name, size), size < 8 ? BRIX_BAD_ARGUMENT : BRIX_OK);
    EXPECT_STREQ(name, size < 8 ? "0123456789" : "unknown");
    EXPECT_EQ(s.Extract(Target::kMemory).content, "content") << "it is the current member";
    EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

TEST(Walk, ExtractionNeedsAMember) {
  for (const Target target : kAllTargets) {
    Session s(Szdd("x"));
    EXPECT_EQ(s.Extract(target).status, BRIX_FAILED) << "before the first";
    ASSERT_EQ(s.Next(), BRIX_OK);
    ASSERT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(s.Extract(target).status, BRIX_FAILED) << "behind the last";
    EXPECT_TRUE(s.dir.List().empty());
  }
}

// Each later extraction forgets the member that an earlier one made a candidate.
TEST(Walk, OnlyTheLastExtractionIsACandidate) {
  for (const Target first : {Target::kMemory, Target::kFile, Target::kTempFile}) {
    Session s(Nested(2));
    ASSERT_EQ(s.Next(), BRIX_OK);
    EXPECT_EQ(s.Extract(first).status, BRIX_OK);
    EXPECT_EQ(s.Extract(Target::kStream).status, BRIX_OK);
    EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

TEST(Walk, FileThatIsGoneWhenItIsToBeEnteredFailsThatStepOnly) {
  Session s(Nested(2));
  ASSERT_EQ(s.Next(), BRIX_OK);
  ASSERT_TRUE(std::filesystem::remove(s.Extract(Target::kFile).path));
  EXPECT_EQ(s.Next(), BRIX_PART_FAILED);
  EXPECT_EQ(s.Depth(), 0u);
  EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
}

TEST(Walk, DamagedContainerInsideIsLeftAndTheOutermostFailsForGood) {
  Session nested(Zip({{"bad.zip", DamagedZip()}, {"good", Bytes().Text("g")}}));
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(nested.Next(), BRIX_OK);
    ASSERT_EQ(nested.Extract(Target::kMemory).status, BRIX_OK);
  }
  EXPECT_EQ(nested.Next(), BRIX_PART_FAILED);
  EXPECT_EQ(nested.Extract(Target::kMemory).status, BRIX_FAILED) << "no member until the next step";
  EXPECT_EQ(nested.WalkLines(Target::kMemory), (Lines{"0 good 0", "-5"}));

  Session s(DamagedZip());
  EXPECT_EQ(s.WalkLines(Target::kMemory), (Lines{"0 first 0", "-1"}));
  const int calls = s.file.calls;
  EXPECT_EQ(s.Next(), BRIX_FAILED);
  EXPECT_EQ(s.Extract(Target::kMemory).status, BRIX_FAILED);
  EXPECT_EQ(s.file.calls, calls) << "a handler that failed is not called again";
  EXPECT_EQ(s.Close(), BRIX_OK);
}

// Depth 1 is the deepest that a limit of 3 allows: b.zip is not entered there, and must not be entered when the
// walk is back in the outermost archive, even if the host extracts nothing more.
TEST(Walk, MemberThatTheNestingLimitKeepsClosedIsNeverOpenedLater) {
  const Bytes a = Zip({{"b.zip", Zip({{"deep", Bytes().Text("d")}})}});
  for (const Target target : {Target::kMemory, Target::kFile}) {
    Session s(Zip({{"a.zip", a}, {"last", Bytes().Text("l")}}), Caps{10000, 1000, 3});
    for (const std::string name : {"a.zip", "b.zip"}) {
      ASSERT_EQ(s.Next(), BRIX_OK);
      EXPECT_EQ(s.name, name);
      EXPECT_EQ(s.Extract(target).status, BRIX_OK);
    }
    EXPECT_EQ(s.Next(), BRIX_OK);
    EXPECT_STREQ(s.name, "last");
    EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

}  // namespace
}  // namespace brix
