#include <gtest/gtest.h>

#include "api/support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

constexpr const char* kDescending[] = {"memory", "memory, no copy", "file", "temporary file"};

TEST(Walk, EntersMembersExtractedToMemoryAndFilesOnly) {
  const Lines nested = {"0 unknown 0", "1 unknown 0", "2 unknown 0", "-5"};
  const Lines flat = {"0 unknown 0", "-5"};
  for (const Target target : kAllTargets) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{Szdd(Szdd(Szdd("innermost")))};
    Archive archive(toolkit, file);
    EXPECT_EQ(archive.Depth(), 0u) << "freshly opened";
    EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, dir.path().c_str()), BRIX_OK);
    EXPECT_EQ(WalkLines(archive, target, dir), target == Target::kStream ? flat : nested)
        << static_cast<int>(target);
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(file.closes, 0);
  }
}

TEST(Walk, TypesAndDepthFollowTheLevels) {
  Toolkit toolkit;
  const TempDir dir;
  HostFile file{Szdd(Szdd("x"))};
  Archive archive(toolkit, file);
  uint32_t type = 0;
  EXPECT_EQ(ArcTk2_ArchiveGetTopLevelType(&archive.handle, &type), BRIX_OK);
  EXPECT_EQ(type, static_cast<uint32_t>(BRIX_TYPE_SZDD));
  uint32_t member_status = 9;
  EXPECT_EQ(ArcTk2_GetMemberStatus(&archive.handle, &member_status), BRIX_FAILED)
      << "before the first member";
  ASSERT_EQ(archive.Next(), BRIX_OK);
  EXPECT_EQ(ArcTk2_GetMemberStatus(&archive.handle, &member_status), BRIX_OK);
  EXPECT_EQ(member_status, static_cast<uint32_t>(BRIX_MEMBER_NORMAL));
  EXPECT_EQ(Extract(archive, Target::kMemory, dir).status, BRIX_OK);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  EXPECT_EQ(archive.Depth(), 1u);
  EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
  EXPECT_EQ(archive.Depth(), UINT32_MAX) << "no level is open";
  EXPECT_EQ(ArcTk2_ArchiveGetTopLevelType(&archive.handle, &type), BRIX_FAILED);
  EXPECT_EQ(ArcTk2_ArchiveGetCurrentType(&archive.handle, &type), BRIX_FAILED);
  EXPECT_EQ(ArcTk2_GetMemberStatus(&archive.handle, &member_status), BRIX_FAILED);
  EXPECT_EQ(ArcTk2_CloseArchive(&archive.handle), BRIX_FAILED) << "no level was open";
  EXPECT_EQ(archive.handle, nullptr);
}

TEST(Walk, NestingLimitCountsTheOutermostAndTheParentPlusOne) {
  const struct {
    uint32_t max_nesting_level;
    Lines lines;
  } rows[] = {
      {1, {"0 unknown 0", "-5"}},
      {2, {"0 unknown 0", "-5"}},  // 1 + 1 is not below 2
      {3, {"0 unknown 0", "1 unknown 0", "-5"}},
      {4, {"0 unknown 0", "1 unknown 0", "2 unknown 0", "-5"}},
      {UINT32_MAX, {"0 unknown 0", "1 unknown 0", "2 unknown 0", "3 unknown 0", "-5"}},
  };
  for (const auto& row : rows) {
    for (const Target target : {Target::kMemory, Target::kTempFile}) {
      Toolkit toolkit;
      const TempDir dir;
      EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
      EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, 1000, 1000, row.max_nesting_level), BRIX_OK);
      HostFile file{Szdd(Szdd(Szdd(Szdd("x"))))};
      Archive archive(toolkit, file);
      EXPECT_EQ(WalkLines(archive, target, dir), row.lines) << row.max_nesting_level;
    }
  }
  // The default lets a walk down to nine levels, which it calls depth 8.
  Bytes file = Szdd("x");
  for (int i = 0; i < 15; ++i) file = Szdd(file);
  Toolkit toolkit;
  const TempDir dir;
  HostFile host{file};
  Archive archive(toolkit, host);
  const Lines lines = WalkLines(archive, Target::kMemory, dir);
  ASSERT_EQ(lines.size(), 10u);
  EXPECT_EQ(lines[8], "8 unknown 0");
}

TEST(Walk, NameThatDoesNotFitIsRefusedAndTheWalkHasMovedOn) {
  const struct {
    uint32_t size;
    int32_t status;
  } rows[] = {{0, BRIX_BAD_ARGUMENT}, {7, BRIX_BAD_ARGUMENT}, {8, BRIX_OK}};
  for (const auto& row : rows) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{Szdd("content")};
    Archive archive(toolkit, file);
    char name[16] = "0123456789";
    EXPECT_EQ(ArcTk2_GetNextFile(&archive.handle, name, row.size), row.status) << row.size;
    EXPECT_STREQ(name, row.status == BRIX_OK ? "unknown" : "0123456789");
    EXPECT_EQ(Extract(archive, Target::kMemory, dir).content, "content") << "it is the current member";
    EXPECT_EQ(ArcTk2_GetNextFile(&archive.handle, name, row.size), BRIX_NO_MORE_MEMBERS);
  }
}

TEST(Walk, ExtractionNeedsAMember) {
  for (const Target target : kAllTargets) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{Szdd("x")};
    Archive archive(toolkit, file);
    EXPECT_EQ(Extract(archive, target, dir).status, BRIX_FAILED) << "before the first";
    ASSERT_EQ(archive.Next(), BRIX_OK);
    ASSERT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(Extract(archive, target, dir).status, BRIX_FAILED) << "behind the last";
    EXPECT_TRUE(dir.List().empty());
  }
}

// Each later extraction forgets the member that an earlier one made a candidate.
TEST(Walk, OnlyTheLastExtractionIsACandidate) {
  for (const Target first : {Target::kMemory, Target::kFile, Target::kTempFile}) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{Szdd(Szdd("x"))};
    Archive archive(toolkit, file);
    EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, dir.path().c_str()), BRIX_OK);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(Extract(archive, first, dir).status, BRIX_OK);
    EXPECT_EQ(Extract(archive, Target::kStream, dir).status, BRIX_OK);
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

TEST(Walk, FileThatIsGoneWhenItIsToBeEnteredFailsThatStepOnly) {
  Toolkit toolkit;
  const TempDir dir;
  HostFile file{Szdd(Szdd("x"))};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  const Extracted member = Extract(archive, Target::kFile, dir);
  ASSERT_EQ(member.status, BRIX_OK);
  ASSERT_TRUE(std::filesystem::remove(member.path));
  EXPECT_EQ(archive.Next(), BRIX_PART_FAILED);
  EXPECT_EQ(archive.Depth(), 0u);
  EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
}

#ifdef BRIX_HAS_ZIP

// A ZIP whose second directory record is damaged: it opens, and fails on the way to its second member.
Bytes DamagedZip() {
  Bytes zip = Zip({{"first", Bytes().Text("1")}, {"second", Bytes().Text("2")}});
  const std::string text = Text(zip);
  return zip.PatchU8(text.rfind("PK\x01\x02"), 'X');
}

TEST(Walk, ComesBackToTheMemberBehindTheContainer) {
  const Bytes inner = Zip({{"a", Bytes().Text("aaa")}, {"b", Szdd("bb")}});
  const Bytes outer = Zip({{"plain", Bytes().Text("p")}, {"inner.zip", inner}, {"last", Bytes().Text("l")}});
  const Lines expected = {"0 plain 0", "0 inner.zip 0", "1 a 0", "1 b 0", "2 unknown 0", "0 last 0", "-5"};
  for (size_t i = 0; i < std::size(kDescending); ++i) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{outer};
    Archive archive(toolkit, file);
    EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, dir.path().c_str()), BRIX_OK);
    EXPECT_EQ(WalkLines(archive, kAllTargets[i], dir), expected) << kDescending[i];
  }
}

TEST(Walk, DamagedContainerInsideIsLeftAndTheOutermostFailsForGood) {
  Toolkit toolkit;
  const TempDir dir;
  HostFile file{Zip({{"bad.zip", DamagedZip()}, {"good", Bytes().Text("g")}})};
  Archive archive(toolkit, file);
  EXPECT_EQ(WalkLines(archive, Target::kMemory, dir),
            (Lines{"0 bad.zip 0", "1 first 0", "-14", "0 good 0", "-5"}));

  HostFile damaged{DamagedZip()};
  Archive outermost(toolkit, damaged);
  EXPECT_EQ(WalkLines(outermost, Target::kMemory, dir), (Lines{"0 first 0", "-1"}));
  const int calls = damaged.calls;
  EXPECT_EQ(outermost.Next(), BRIX_FAILED);
  EXPECT_EQ(Extract(outermost, Target::kMemory, dir).status, BRIX_FAILED);
  EXPECT_EQ(damaged.calls, calls) << "a handler that failed is not called again";
  EXPECT_EQ(ArcTk2_CloseArchive(&outermost.handle), BRIX_OK);
}

TEST(Walk, AfterAFailedContainerThereIsNoMemberUntilTheNextStep) {
  Toolkit toolkit;
  const TempDir dir;
  HostFile file{Zip({{"bad.zip", DamagedZip()}})};
  Archive archive(toolkit, file);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(archive.Next(), BRIX_OK);
    ASSERT_EQ(Extract(archive, Target::kMemory, dir).status, BRIX_OK);
  }
  ASSERT_EQ(archive.Next(), BRIX_PART_FAILED);
  EXPECT_EQ(Extract(archive, Target::kMemory, dir).status, BRIX_FAILED);
  EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
}

TEST(Walk, MemberThatTheNestingLimitKeepsClosedIsNeverOpenedLater) {
  // Depth 1 is the deepest that a limit of 3 allows: b.zip is not entered there, and must not be entered when
  // the walk is back in the outermost archive.
  const Bytes b = Zip({{"deep", Bytes().Text("d")}});
  const Bytes a = Zip({{"b.zip", b}});
  Toolkit toolkit;
  const TempDir dir;
  EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, 10000, 1000, 3), BRIX_OK);
  HostFile file{Zip({{"a.zip", a}, {"last", Bytes().Text("l")}})};
  Archive archive(toolkit, file);
  EXPECT_EQ(WalkLines(archive, Target::kMemory, dir), (Lines{"0 a.zip 0", "1 b.zip 0", "0 last 0", "-5"}));
}

#endif  // BRIX_HAS_ZIP

}  // namespace
}  // namespace brix
