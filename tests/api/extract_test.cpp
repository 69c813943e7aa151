// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "api/support.h"

namespace brix {
namespace {

// What each target holds afterwards, and whether the walk enters the member. What was dropped may still have
// reached a host's stream.
TEST(Extract, LimitsAndDamageDecideWhatIsKeptAndEntered) {
  const std::string text = "exactly twenty bytes";
  const std::string inner = Text(Szdd("inner"));
  const auto inner_size = static_cast<uint32_t>(inner.size());
  const std::string spaces(1000, ' ');
  const Bytes packed = SzddOfSpaces(1000);
  const uint32_t reached = 1000 / packed.size();  // whole bytes out for each byte in
  const uint32_t allowed = packed.size() * reached;
  ASSERT_GT(reached, 5u);
  const struct {
    const char* label;
    Bytes file;
    uint32_t max_size, max_ratio;
    int32_t status;
    std::string content;
    bool is_entered = false;
  } rows[] = {
      {"size above", Szdd(text), 21, 1000, BRIX_OK, text},
      {"size reached", Szdd(text), 20, 1000, BRIX_OK, text},
      {"size one below", Szdd(text), 19, 1000, BRIX_SIZE_LIMIT, text.substr(0, 19)},
      {"size 1", Szdd(text), 1, 1000, BRIX_SIZE_LIMIT, "e"},
      {"size 0", Szdd(text), 0, 1000, BRIX_SIZE_LIMIT, ""},
      {"size without bound", Szdd(text), UINT32_MAX, 1000, BRIX_OK, text},
      {"ratio above", packed, 1000, reached + 1, BRIX_OK, spaces},
      {"ratio reached", packed, 1000, reached, BRIX_RATIO_LIMIT, spaces.substr(0, allowed)},
      {"ratio far below", packed, 1000, 1, BRIX_RATIO_LIMIT, spaces.substr(0, packed.size())},
      {"no ratio", packed, 1000, 0, BRIX_RATIO_LIMIT, ""},
      {"cut before the ratio", packed, allowed - 1, reached, BRIX_SIZE_LIMIT, spaces.substr(0, allowed - 1)},
      {"cut at the ratio", packed, allowed, reached, BRIX_RATIO_LIMIT, spaces.substr(0, allowed)},
      {"ratio without bound", packed, 1000, UINT32_MAX, BRIX_OK, spaces},
      {"empty member", Szdd(""), 1000, 1000, BRIX_OK, ""},
      {"container", Szdd(inner), 1000, 1000, BRIX_OK, inner, true},
      {"container of the size limit", Szdd(inner), inner_size, 1000, BRIX_OK, inner, true},
      {"cut container", Szdd(inner), inner_size - 1, 1000, BRIX_SIZE_LIMIT, inner.substr(0, inner_size - 1)},
      {"container at the ratio", Szdd(inner), 1000, 0, BRIX_RATIO_LIMIT, ""},
      {"damaged container", Szdd(inner).CutTo(30), 1000, 1000, BRIX_PART_FAILED, inner.substr(0, 14)},
  };
  for (const auto& row : rows) {
    for (const Target target : kAllTargets) {
      for (const bool in_archive : {false, true}) {
        SCOPED_TRACE(testing::Message() << row.label << ", target " << static_cast<int>(target));
        Session s(row.file, Caps{in_archive ? 5 : row.max_size, row.max_ratio, 10});
        if (in_archive) (void)ArcTk2_SetArchiveLimits(&s.archive, row.max_size);
        ASSERT_EQ(s.Next(), BRIX_OK);
        const Extracted member = s.Extract(target);
        EXPECT_EQ(member.status, row.status);
        const bool is_kept = row.status == BRIX_OK || row.status == BRIX_SIZE_LIMIT;
        const bool has_content = target == Target::kStream || (is_kept && target != Target::kMemoryNoCopy);
        EXPECT_EQ(member.content, has_content ? row.content : "");
        EXPECT_TRUE(is_kept || s.dir.List().empty());
        const bool is_entered = row.is_entered && target != Target::kStream;
        EXPECT_EQ(s.Next(), is_entered ? BRIX_OK : BRIX_NO_MORE_MEMBERS);
      }
    }
  }
}

TEST(Extract, KeepsTheRatiosStatusForEveryTarget) {
  for (const Target target : kAllTargets) {
    Session s(SzddOfSpaces(1000), Caps{10000, 2, 10});
    ASSERT_EQ(s.Next(), BRIX_OK);
    EXPECT_EQ(s.Extract(target).status, -11) << static_cast<int>(target);
    EXPECT_TRUE(s.dir.List().empty());
  }
}

TEST(Extract, KeepsMinusOneAsTheSuccessOfSetArchiveLimits) {
  Session s(Szdd("x"));
  EXPECT_EQ(ArcTk2_SetArchiveLimits(&s.archive, 100), -1);
}

// The base of the test moves to a nested container that is smaller than all around it.
TEST(Extract, RatioAgainstTheSmallestContainerOnTheWay) {
  const Bytes inner = SzddOfSpaces(1000);
  const uint32_t reached = (inner.size() + 1000) / inner.size();  // counted with that container itself
  for (const uint32_t ratio : {reached, reached + 1}) {
    Session s(Szdd(inner), Caps{100000, ratio, 10});  // larger, as literals cost a ninth more
    const std::vector<std::string> expected = {"0 unknown 0",
                                               ratio == reached ? "1 unknown -11" : "1 unknown 0", "-5"};
    EXPECT_EQ(s.WalkLines(Target::kMemory), expected) << ratio;
  }
}

TEST(Extract, StreamThatForgetsItsSizeCannotDivideByZero) {
  Session s(Szdd("x"));
  s.file.fault = HostFile::kNothing;
  s.file.fault_at = 2 * s.file.calls;  // the last call of opening asks for the size, after detection is done
  ASSERT_EQ(s.Open(), BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kMemory).status, BRIX_RATIO_LIMIT);
}

TEST(Extract, TargetThatCannotBeWrittenFails) {
  Session s(Szdd("content"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(ArcTk2_ExtractToFile(&s.archive, s.dir.File("no/such/folder").c_str()), BRIX_FAILED);
  EXPECT_EQ(ArcTk2_ExtractToFile(&s.archive, s.dir.path.c_str()), BRIX_FAILED) << "a folder";
  char path[512] = "x";
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&s.archive, s.dir.File("missing").c_str()), BRIX_OK);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&s.archive, path, sizeof path), BRIX_FAILED);
  EXPECT_STREQ(path, "");
}

TEST(Extract, FileIsReplacedAndStaysTheHosts) {
  Session s(Szdd("short"));
  const std::string path = s.dir.Write("member0.out", Bytes().Text("much longer than the member"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kFile).content, "short");
  EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  (void)s.Close();
  EXPECT_EQ(ReadFile(path), "short");
}

TEST(TempFiles, LiveUntilTheLevelMovesOn) {
  Session s(Nested(3));
  using Names = std::set<std::string>;
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0000.tmp"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.dir.List(), Names{"arc0000.tmp"}) << "being walked";
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0001.tmp"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.dir.List(), (Names{"arc0000.tmp", "arc0001.tmp"}));
  EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
  EXPECT_EQ(s.dir.List(), Names{});

  ASSERT_EQ(s.Open(), BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0000.tmp"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0001.tmp"));
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0002.tmp")) << "extracted once more";
  EXPECT_EQ(s.dir.List(), (Names{"arc0000.tmp", "arc0002.tmp"})) << "a level has one file";
  (void)s.Close();
  EXPECT_EQ(s.dir.List(), Names{}) << "closed in mid-walk";

  s.file.content = BuildZip({StoredMember("a", "1"), StoredMember("b", "2")}).bytes;
  ASSERT_EQ(s.Open(), BRIX_OK);
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.Extract(Target::kTempFile).path, s.dir.File("arc0000.tmp"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(s.dir.List(), Names{}) << "at the next member";
}

TEST(TempFiles, StandInTheArchivesOwnDirectoryAndTheirPathMustFit) {
  Session s(Szdd("x"));
  const TempDir own;
  (void)own.Write("arc0000.tmp", Bytes());
  ASSERT_EQ(s.Next(), BRIX_OK);
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&s.archive, own.path.c_str()), BRIX_OK);
  const std::string expected = own.File("arc0001.tmp");
  const auto length = static_cast<uint32_t>(expected.size());
  char path[512] = "x";
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&s.archive, path, length), BRIX_BAD_ARGUMENT);
  EXPECT_STREQ(path, "");
  EXPECT_EQ(own.List().size(), 1u);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&s.archive, path, length + 1), BRIX_OK);
  EXPECT_EQ(path, expected);
}

}  // namespace
}  // namespace brix
