#include <gtest/gtest.h>

#include "api/support.h"

namespace brix {
namespace {

TEST(Extract, MemberIsCutBehindTheSizeLimit) {
  const std::string content = "exactly twenty bytes";
  const struct {
    uint32_t limit;
    int32_t status;
    uint32_t length;
  } rows[] = {{21, BRIX_OK, 20},       {20, BRIX_OK, 20},       {19, BRIX_SIZE_LIMIT, 19},
              {1, BRIX_SIZE_LIMIT, 1}, {0, BRIX_SIZE_LIMIT, 0}, {UINT32_MAX, BRIX_OK, 20}};
  for (const auto& row : rows) {
    for (const Target target : kAllTargets) {
      for (const bool in_archive : {false, true}) {
        Toolkit toolkit;
        const TempDir dir;
        EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
        if (!in_archive) {
          EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, row.limit, 1000, 10), BRIX_OK);
        }
        HostFile file{Szdd(content)};
        Archive archive(toolkit, file);
        if (in_archive) {
          EXPECT_EQ(ArcTk2_SetArchiveLimits(&archive.handle, row.limit), BRIX_FAILED);
        }
        ASSERT_EQ(archive.Next(), BRIX_OK);
        const Extracted member = Extract(archive, target, dir);
        EXPECT_EQ(member.status, row.status) << row.limit << " " << static_cast<int>(target);
        if (target == Target::kMemoryNoCopy) continue;
        EXPECT_EQ(member.content, content.substr(0, row.length))
            << row.limit << " " << static_cast<int>(target);
      }
    }
  }
}

TEST(Extract, KeepsMinusOneAsTheSuccessOfSetArchiveLimits) {
  Toolkit toolkit;
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  EXPECT_EQ(ArcTk2_SetArchiveLimits(&archive.handle, 100), -1);
  ArcTk2Archive none = nullptr;
  EXPECT_EQ(ArcTk2_SetArchiveLimits(&none, 100), BRIX_BAD_ARGUMENT);
}

TEST(Extract, CutMemberIsNotEntered) {
  const Bytes inner = Szdd("inner");
  for (const Target target : {Target::kMemory, Target::kFile, Target::kTempFile}) {
    Toolkit toolkit;
    const TempDir dir;
    HostFile file{Szdd(inner)};
    Archive archive(toolkit, file);
    EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, dir.path().c_str()), BRIX_OK);
    EXPECT_EQ(ArcTk2_SetArchiveLimits(&archive.handle, inner.size() - 1), BRIX_FAILED);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(Extract(archive, target, dir).status, BRIX_SIZE_LIMIT);
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

// A host may ask for the empty member's block too, and gets one that it can free.
TEST(Extract, EmptyMemberIsNoFailure) {
  for (const Target target : kAllTargets) {
    Toolkit toolkit;
    const TempDir dir;
    EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
    HostFile file{Szdd("")};
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    const Extracted member = Extract(archive, target, dir);
    EXPECT_EQ(member.status, BRIX_OK);
    EXPECT_EQ(member.content, "");
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS) << "and is no container";
  }
}

TEST(Extract, RatioAgainstTheOutermostArchive) {
  const Bytes packed = SzddOfSpaces(1000);
  const uint32_t size = packed.size();
  const uint32_t reached = 1000 / size;  // whole bytes out for each byte in
  ASSERT_GT(reached, 5u);
  const struct {
    const char* label;
    uint32_t max_ratio;
    uint32_t max_size;
    int32_t status;
  } rows[] = {
      {"ratio above", reached + 1, 1000, BRIX_OK},
      {"ratio reached", reached, 1000, BRIX_RATIO_LIMIT},
      {"ratio far below", 1, 1000, BRIX_RATIO_LIMIT},
      {"no ratio", 0, 1000, BRIX_RATIO_LIMIT},
      {"cut before the ratio", reached, size * reached - 1, BRIX_SIZE_LIMIT},
      {"cut where the ratio is reached", reached, size * reached, BRIX_RATIO_LIMIT},
      {"ratio without bound", UINT32_MAX, 1000, BRIX_OK},
  };
  for (const auto& row : rows) {
    for (const Target target : kAllTargets) {
      Toolkit toolkit;
      const TempDir dir;
      EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
      EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, row.max_size, row.max_ratio, 10), BRIX_OK);
      HostFile file{packed};
      Archive archive(toolkit, file);
      ASSERT_EQ(archive.Next(), BRIX_OK);
      const Extracted member = Extract(archive, target, dir);
      EXPECT_EQ(member.status, row.status) << row.label << " " << static_cast<int>(target);
      if (row.status != BRIX_RATIO_LIMIT) continue;
      EXPECT_TRUE(dir.List().empty()) << row.label << " " << static_cast<int>(target);
      if (target == Target::kStream) {
        EXPECT_LE(member.content.size(), uint64_t{size} * row.max_ratio)
            << "no more than the allowance came out";
      } else {
        EXPECT_EQ(member.content, "") << row.label;
      }
    }
  }
}

TEST(Extract, MemberThatReachesTheRatioIsNotEntered) {
  const Bytes inner = Szdd("x");
  Toolkit toolkit;
  const TempDir dir;
  EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, 1000, 0, 10), BRIX_OK);
  HostFile file{Szdd(inner)};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  EXPECT_EQ(Extract(archive, Target::kMemory, dir).status, BRIX_RATIO_LIMIT);
  EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
}

// The base of the test moves to a nested container that is smaller than all around it.
TEST(Extract, RatioAgainstTheSmallestContainerOnTheWay) {
  const Bytes inner = SzddOfSpaces(1000);
  const Bytes outer = Szdd(inner);             // larger, as literals cost a ninth more
  const uint32_t grown = inner.size() + 1000;  // counted from the smallest container, itself included
  for (const bool reaches : {false, true}) {
    Toolkit toolkit;
    const TempDir dir;
    const uint32_t ratio = grown / inner.size() + (reaches ? 0 : 1);
    EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, 100000, ratio, 10), BRIX_OK);
    HostFile file{outer};
    Archive archive(toolkit, file);
    const std::vector<std::string> expected = {"0 unknown 0", reaches ? "1 unknown -11" : "1 unknown 0",
                                               "-5"};
    EXPECT_EQ(WalkLines(archive, Target::kMemory, dir), expected) << ratio;
  }
}

TEST(Extract, StreamThatForgetsItsSizeCannotDivideByZero) {
  HostFile probe{Szdd("x")};
  Toolkit toolkit;
  const TempDir dir;
  { Archive archive(toolkit, probe); }
  // The last call of opening asks for the size, after detection is done.
  HostFile file{Szdd("x")};
  file.fault = HostFile::kNothing;
  file.fault_at = probe.calls;
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.status, BRIX_OK);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  EXPECT_EQ(Extract(archive, Target::kMemory, dir).status, BRIX_RATIO_LIMIT);
}

TEST(Extract, DamagedMemberLeavesNoFileAndKeepsWhatAStreamGot) {
  for (const Target target : kAllTargets) {
    Toolkit toolkit;
    const TempDir dir;
    EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
    HostFile file{Szdd(Szdd("some content")).CutTo(30)};
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    const Extracted member = Extract(archive, target, dir);
    EXPECT_EQ(member.status, BRIX_PART_FAILED);
    EXPECT_TRUE(dir.List().empty()) << static_cast<int>(target);
    if (target == Target::kStream) {
      EXPECT_EQ(member.content, Text(Szdd("some content").CutTo(14)));
    }
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
  }
}

TEST(Extract, TargetThatCannotBeWrittenFails) {
  Toolkit toolkit;
  const TempDir dir;
  HostFile file{Szdd("content")};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  HostFile target;
  target.fault_at = 1;
  const ArcStream record = target.Record();
  EXPECT_EQ(ArcTk2_ExtractToStream(&archive.handle, &record), BRIX_PART_FAILED) << "the flush at the end";
  EXPECT_EQ(ArcTk2_ExtractToFile(&archive.handle, dir.File("no/such/folder").c_str()), BRIX_FAILED);
  EXPECT_EQ(ArcTk2_ExtractToFile(&archive.handle, dir.path().c_str()), BRIX_FAILED) << "a folder";
  char path[512] = "x";
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, dir.File("missing").c_str()), BRIX_OK);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, path, sizeof path), BRIX_FAILED);
  EXPECT_STREQ(path, "");
}

TEST(Extract, FileIsReplacedAndStaysTheHosts) {
  Toolkit toolkit;
  const TempDir dir;
  const std::string path = dir.Write("out", Bytes().Text("much longer than the member"));
  {
    HostFile file{Szdd("short")};
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(ArcTk2_ExtractToFile(&archive.handle, path.c_str()), BRIX_OK);
    EXPECT_EQ(Text(ReadFile(path)), "short");
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
  }
  EXPECT_EQ(Text(ReadFile(path)), "short");
}

TEST(TempFiles, LiveUntilTheLevelMovesOn) {
  Toolkit toolkit;
  const TempDir dir;
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
  HostFile file{Szdd(Szdd(Szdd("x")))};
  using Names = std::vector<std::string>;
  {
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(Extract(archive, Target::kTempFile, dir).path, dir.File("arc0000.tmp"));
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(dir.List(), Names{"arc0000.tmp"}) << "being walked";
    EXPECT_EQ(Extract(archive, Target::kTempFile, dir).path, dir.File("arc0001.tmp"));
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(dir.List(), (Names{"arc0000.tmp", "arc0001.tmp"}));
    EXPECT_EQ(archive.Next(), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(dir.List(), Names{});
  }
  {
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(Extract(archive, Target::kTempFile, dir).path, dir.File("arc0000.tmp"));
    ASSERT_EQ(archive.Next(), BRIX_OK);
    EXPECT_EQ(Extract(archive, Target::kTempFile, dir).path, dir.File("arc0001.tmp"));
    EXPECT_EQ(Extract(archive, Target::kTempFile, dir).path, dir.File("arc0002.tmp"))
        << "extracted once more";
    EXPECT_EQ(dir.List(), (Names{"arc0000.tmp", "arc0002.tmp"})) << "a level has one file";
  }
  EXPECT_EQ(dir.List(), Names{}) << "closed in mid-walk";
}

TEST(TempFiles, TakeTheFirstFreeNumberAndTheArchivesOwnDirectory) {
  Toolkit toolkit;
  const TempDir global;
  const TempDir own;
  (void)own.Write("arc0000.tmp", Bytes());
  (void)own.Write("arc0002.tmp", Bytes());
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, global.path().c_str()), BRIX_OK);
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  EXPECT_EQ(Extract(archive, Target::kTempFile, global).path, global.File("arc0000.tmp"));
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, own.path().c_str()), BRIX_OK);
  EXPECT_EQ(Extract(archive, Target::kTempFile, own).path, own.File("arc0001.tmp"));
}

TEST(TempFiles, PathMustFitItsBuffer) {
  Toolkit toolkit;
  const TempDir dir;
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  const auto length = static_cast<uint32_t>(dir.File("arc0000.tmp").size());
  char path[512] = "x";
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, path, length), BRIX_BAD_ARGUMENT);
  EXPECT_STREQ(path, "");
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, path, length + 1), BRIX_OK);
  EXPECT_EQ(path, dir.File("arc0000.tmp"));
  // 512 bytes hold a path with its terminator, so a directory may have 499.
  const std::string longest = dir.path() + std::string(499 - dir.path().size(), '/');
  const std::string too_long = longest + "/";
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, too_long.c_str()), BRIX_OK);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, path, sizeof path), BRIX_FAILED);
  EXPECT_STREQ(path, "");
#ifndef _WIN32  // where a path ends at 260 bytes
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, longest.c_str()), BRIX_OK);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, path, sizeof path), BRIX_OK);
  EXPECT_EQ(std::string(path).size(), 511u);
#endif
}

}  // namespace
}  // namespace brix
