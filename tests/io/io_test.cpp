// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "io/file_stream.h"
#include "io/unique_file.h"
#include "io/write_streams.h"
#include "support/recording_stream.h"

#ifndef _WIN32
#include <sys/resource.h>
#include <sys/stat.h>
#endif

namespace brix {
namespace {

using platform::OpenMode;

class IoTest : public testing::Test {
 protected:
  IoTest() { std::filesystem::create_directory(dir_); }
  ~IoTest() override { std::filesystem::remove_all(dir_); }
  [[nodiscard]] std::string File(const std::string& name) const { return dir_ + "/" + name; }
  const std::string dir_ = "io_test_files";
};

std::string Text(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }
const uint8_t* Data(const char* text) { return reinterpret_cast<const uint8_t*>(text); }

TEST_F(IoTest, FileReadsAndWritesByOffset) {
  FileStream file;
  uint32_t count = 0;
  uint8_t buf[16];
  EXPECT_FALSE(file.GetSize(&count)) << "not open";
  ASSERT_TRUE(file.Open(File("f").c_str(), OpenMode::kCreateNew));
  EXPECT_TRUE(WriteExact(file, 4, Data("tail"), 4));
  EXPECT_TRUE(WriteExact(file, 0, Data("head"), 4));
  ASSERT_TRUE(file.ReadAt(2, buf, 16, &count));
  EXPECT_EQ(Text({buf, count}), "adtail");
  for (const uint32_t behind : {8u, UINT32_MAX}) {
    EXPECT_TRUE(file.ReadAt(behind, buf, 16, &count));
    EXPECT_EQ(count, 0u) << behind;
  }
  EXPECT_FALSE(file.WriteAt(UINT32_MAX - 2, Data("head"), 4, &count)) << "would pass 4 GiB - 1";
  EXPECT_TRUE(file.SetSize(3));
  EXPECT_TRUE(file.GetSize(&count));
  EXPECT_EQ(count, 3u);
}

TEST_F(IoTest, OpenModesDifferInWhatTheyDemand) {
  std::ofstream(File("there")) << "content";
  const std::tuple<const char*, OpenMode, bool, uint32_t> rows[] = {
      {"there", OpenMode::kRead, true, 7},      {"missing", OpenMode::kRead, false, 0},
      {"there", OpenMode::kReadWrite, true, 7}, {"missing", OpenMode::kReadWrite, false, 0},
      {".", OpenMode::kRead, false, 0},         {"there", OpenMode::kCreateNew, false, 0},
      {"there", OpenMode::kCreate, true, 0},
  };
  for (const auto& [name, mode, opens, expected] : rows) {
    FileStream file;
    uint32_t size = 0;
    ASSERT_EQ(file.Open(File(name).c_str(), mode), opens) << name;
    EXPECT_EQ(file.GetSize(&size), opens);
    EXPECT_EQ(size, expected) << name;
  }
}

TEST_F(IoTest, FileOfMoreThanFourGigabytesHasNoSize) {
  std::ofstream(File("large")).put('x');
  std::error_code error;
  std::filesystem::resize_file(File("large"), uint64_t{UINT32_MAX} + 1, error);
  if (error) GTEST_SKIP() << "no room for a sparse file";
  FileStream file;
  uint32_t size = 0;
  ASSERT_TRUE(file.Open(File("large").c_str(), OpenMode::kReadWrite));
  EXPECT_FALSE(file.GetSize(&size));
  EXPECT_TRUE(file.SetSize(UINT32_MAX) && file.GetSize(&size));
  EXPECT_EQ(size, UINT32_MAX);
}

#ifndef _WIN32
TEST_F(IoTest, PipesAndDevicesAreRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(File("pipe").c_str(), 0600), 0);
  for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite, OpenMode::kCreate}) {
    FileStream file;
    EXPECT_FALSE(file.Open(File("pipe").c_str(), mode));
    EXPECT_FALSE(file.Open("/dev/zero", mode));
  }
}

TEST_F(IoTest, LinksAreFollowedButNotWhereTheLibraryMadeTheFile) {
  std::ofstream(File("there")) << "content";
  std::filesystem::create_symlink("there", File("link"));
  for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadWrite, OpenMode::kOwn, OpenMode::kCreate}) {
    FileStream file;
    EXPECT_EQ(file.Open(File("link").c_str(), mode), mode != OpenMode::kOwn);
    EXPECT_TRUE(file.Open(File("there").c_str(), mode));
  }
}
#endif

TEST_F(IoTest, TheTableHoldsExactlyItsSlots) {
#ifndef _WIN32
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  if (limit.rlim_max < 2200) GTEST_SKIP() << "the system allows fewer files than the table holds";
  limit.rlim_cur = std::max<rlim_t>(limit.rlim_cur, 2200);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
#endif
  std::ofstream(File("f")) << "x";
  std::vector<int32_t> open;
  for (int i = 0; i < platform::kMaxDescriptors; ++i) {
    open.push_back(platform::Open(File("f").c_str(), OpenMode::kRead));
    ASSERT_GE(open.back(), 0) << i;
  }
  EXPECT_EQ(platform::Open(File("f").c_str(), OpenMode::kRead), platform::kNoDescriptor);
  EXPECT_EQ(platform::Open(File("new").c_str(), OpenMode::kCreateNew), platform::kNoDescriptor);
  EXPECT_FALSE(std::filesystem::exists(File("new"))) << "a file nobody was told of";
  platform::Close(open[1000]);
  open[1000] = platform::Open(File("f").c_str(), OpenMode::kRead);
  EXPECT_EQ(open[1000], 1000) << "the free slot, which is the descriptor";
  for (const int32_t descriptor : open) platform::Close(descriptor);
}

TEST_F(IoTest, UniqueNames) {
  char path[kPathBufferSize];
  const std::pair<const char*, std::string> rows[] = {
      {"tmp", File("arc0000.tmp")}, {"tmp", File("arc0001.tmp")}, {"logfile", File("arc0000.log")}};
  for (const auto& [extension, expected] : rows) {
    ASSERT_TRUE(UniqueFileName(dir_.c_str(), extension, path));
    EXPECT_EQ(path, expected);
    EXPECT_TRUE(std::filesystem::exists(path)) << "the file reserves its name";
  }
  const auto here = std::filesystem::current_path();
  std::filesystem::current_path(dir_);
  EXPECT_TRUE(UniqueFileName("", "x", path));
  EXPECT_STREQ(path, "arc0000.x");
  std::filesystem::current_path(here);
  const std::string longest = dir_ + std::string(499 - dir_.size(), '/');
  EXPECT_TRUE(UniqueFileName(longest.c_str(), "tmp", path));
  EXPECT_EQ(std::strlen(path), 511u);
  EXPECT_FALSE(UniqueFileName((longest + "/").c_str(), "tmp", path)) << "500 + 13 is more than 512";
  EXPECT_STREQ(path, "");
}

#ifndef _WIN32  // the same code there; ten thousand files take half a minute under emulation
TEST_F(IoTest, UniqueNamesRunOutAfterTenThousand) {
  char path[kPathBufferSize];
  for (int n = 0; n < 9999; ++n) std::ofstream(File("arc" + std::to_string(10000 + n).substr(1) + ".tmp"));
  EXPECT_TRUE(UniqueFileName(dir_.c_str(), "tmp", path));
  EXPECT_EQ(path, File("arc9999.tmp"));
  EXPECT_FALSE(UniqueFileName(dir_.c_str(), "tmp", path));
}
#endif

TEST_F(IoTest, WriteBufferJoinsSmallWritesAndPassesLargeOnesWhole) {
  const std::vector<uint8_t> bytes(20000, 'b');
  using Sizes = std::vector<uint32_t>;
  const std::tuple<const char*, Sizes, Sizes> rows[] = {
      {"small ones", {1, 2, 3}, {6}},
      {"exactly full", {4000, 96}, {4096}},
      {"one byte too many", {4000, 97}, {4000, 97}},
      {"as large as the buffer", {10, 4096, 10}, {10, 4096, 10}},
      {"larger", {10000, 1}, {10000, 1}},
      {"none", {}, {}},
  };
  for (const auto& [label, writes, reach] : rows) {
    RecordingStream target;
    BufferedWriteStream out(&target);
    uint32_t at = 0;
    for (const uint32_t size : writes) {
      EXPECT_TRUE(WriteExact(out, at, bytes.data(), size));
      at += size;
    }
    EXPECT_TRUE(out.Flush());
    EXPECT_EQ(target.writes, reach) << label;
    EXPECT_EQ(target.memory.bytes().size(), at);
  }
}

TEST_F(IoTest, WriteBufferKeepsPlacesAndIsReadThrough) {
  RecordingStream target;
  BufferedWriteStream out(&target);
  EXPECT_TRUE(WriteExact(out, 0, Data("abcd"), 4));
  EXPECT_TRUE(WriteExact(out, 2, Data("XY"), 2)) << "back";
  EXPECT_TRUE(WriteExact(out, 6, Data("ef"), 2)) << "over a gap";
  uint8_t buf[8];
  EXPECT_TRUE(ReadExact(out, 0, buf, 8));
  EXPECT_EQ(Text(buf), std::string("abXY\0\0ef", 8));
}

TEST_F(IoTest, WriteBufferReportsAndRemembersFailure) {
  RecordingStream target;
  target.fails = true;
  BufferedWriteStream out(&target);
  uint32_t size = 0;
  EXPECT_TRUE(WriteExact(out, 0, Data("abcd"), 4)) << "not stored yet";
  EXPECT_FALSE(out.Flush());
  EXPECT_FALSE(out.Flush() || WriteExact(out, 4, Data("efgh"), 4) || out.GetSize(&size));
  EXPECT_EQ(target.writes.size(), 1u);
}

TEST_F(IoTest, LimitCutsAndTells) {
  const std::tuple<const char*, std::vector<std::pair<uint32_t, const char*>>, std::string, bool> rows[] = {
      {"below", {{0, "abcd"}}, "abcd", false},
      {"exactly", {{0, "abcd"}, {4, "ef"}}, "abcdef", false},
      {"across", {{0, "abcd"}, {4, "efg"}}, "abcdef", true},
      {"behind", {{0, "abcdef"}, {6, "g"}, {100, "h"}}, "abcdef", true},
      {"nothing at the limit", {{6, ""}}, "", false},
  };
  for (const auto& [label, writes, stored, was_cut] : rows) {
    MemoryStream target;
    LimitedWriteStream out(&target, 6);
    for (const auto& [at, text] : writes) {
      EXPECT_TRUE(WriteExact(out, at, Data(text), static_cast<uint32_t>(std::strlen(text)))) << label;
    }
    EXPECT_EQ(Text(target.bytes()), stored) << label;
    EXPECT_EQ(out.stored(), stored.size()) << label;
    EXPECT_EQ(out.was_cut(), was_cut) << label;
  }
}

}  // namespace
}  // namespace brix
