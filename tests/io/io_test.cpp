#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/memory_stream.h"
#include "core/stream_views.h"
#include "io/file_stream.h"
#include "io/unique_file.h"
#include "io/write_streams.h"

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
  EXPECT_TRUE(file.ReadAt(8, buf, 16, &count));
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(file.ReadAt(UINT32_MAX, buf, 16, &count)) << "far behind the end";
  EXPECT_EQ(count, 0u);
  EXPECT_FALSE(file.WriteAt(UINT32_MAX - 2, Data("head"), 4, &count)) << "would pass 4 GiB - 1";
  EXPECT_TRUE(file.SetSize(3));
  EXPECT_TRUE(file.GetSize(&count));
  EXPECT_EQ(count, 3u);
}

TEST_F(IoTest, OpenModesDifferInWhatTheyDemand) {
  std::ofstream(File("there")) << "content";
  const struct {
    const char* name;
    OpenMode mode;
    bool opens;
    uint32_t size;
  } rows[] = {
      {"there", OpenMode::kRead, true, 7},       {"missing", OpenMode::kRead, false, 0},
      {"there", OpenMode::kReadWrite, true, 7},  {"missing", OpenMode::kReadWrite, false, 0},
      {"there", OpenMode::kCreateNew, false, 0}, {"there", OpenMode::kCreate, true, 0},
      {".", OpenMode::kRead, false, 0},
  };
  for (const auto& row : rows) {
    FileStream file;
    ASSERT_EQ(file.Open(File(row.name).c_str(), row.mode), row.opens) << row.name;
    uint32_t size = 0;
    if (row.opens) {
      EXPECT_TRUE(file.GetSize(&size));
    }
    EXPECT_EQ(size, row.size) << row.name;
  }
}

TEST_F(IoTest, FileOfMoreThanFourGigabytesHasNoSize) {
  std::ofstream(File("large")).put('x');
  std::error_code error;
  std::filesystem::resize_file(File("large"), uint64_t{UINT32_MAX} + 1, error);
  if (error) GTEST_SKIP() << "no room for a sparse file";
  FileStream file;
  ASSERT_TRUE(file.Open(File("large").c_str(), OpenMode::kRead));
  uint32_t size = 0;
  EXPECT_FALSE(file.GetSize(&size));
  file.Close();
  std::filesystem::resize_file(File("large"), UINT32_MAX);
  ASSERT_TRUE(file.Open(File("large").c_str(), OpenMode::kRead));
  EXPECT_TRUE(file.GetSize(&size));
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
  ASSERT_TRUE(UniqueFileName(dir_.c_str(), "tmp", path));
  EXPECT_EQ(path, File("arc0000.tmp"));
  EXPECT_TRUE(std::filesystem::exists(path)) << "the file reserves its name";
  ASSERT_TRUE(UniqueFileName(dir_.c_str(), "tmp", path));
  EXPECT_EQ(path, File("arc0001.tmp"));
  ASSERT_TRUE(UniqueFileName(dir_.c_str(), "logfile", path));
  EXPECT_EQ(path, File("arc0000.log"));
  const auto here = std::filesystem::current_path();
  std::filesystem::current_path(dir_);
  EXPECT_TRUE(UniqueFileName("", "x", path));
  EXPECT_STREQ(path, "arc0000.x");
  std::filesystem::current_path(here);
  EXPECT_FALSE(UniqueFileName(std::string(500, 'd').c_str(), "tmp", path)) << "500 + 13 is more than 512";
  EXPECT_STREQ(path, "");
}

#ifndef _WIN32  // the same code there; ten thousand files take half a minute under emulation
TEST_F(IoTest, UniqueNamesRunOutAfterTenThousand) {
  for (int n = 0; n < 10000; ++n) {
    std::string digits = std::to_string(n);
    digits.insert(0, 4 - digits.size(), '0');
    std::ofstream(File("arc" + digits + ".tmp"));
  }
  char path[kPathBufferSize];
  EXPECT_FALSE(UniqueFileName(dir_.c_str(), "tmp", path));
  std::filesystem::remove(File("arc9999.tmp"));
  ASSERT_TRUE(UniqueFileName(dir_.c_str(), "tmp", path));
  EXPECT_EQ(path, File("arc9999.tmp"));
}
#endif

// Counts the writes that reach it, and fails from one of them on.
class CountingStream final : public Stream {
 public:
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    return memory.ReadAt(offset, buf, size, got);
  }
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    sizes.push_back(size);
    *written = 0;
    return sizes.size() < fail_from && memory.WriteAt(offset, buf, size, written);
  }
  [[nodiscard]] bool GetSize(uint32_t* size) override { return memory.GetSize(size); }
  [[nodiscard]] bool SetSize(uint32_t size) override { return memory.SetSize(size); }
  MemoryStream memory;
  std::vector<uint32_t> sizes;
  size_t fail_from = SIZE_MAX;
};

TEST_F(IoTest, WriteBufferJoinsSmallWritesAndPassesLargeOnesWhole) {
  const std::vector<uint8_t> bytes(20000, 'b');
  const struct {
    const char* label;
    std::vector<uint32_t> writes;
    std::vector<uint32_t> reach;
  } rows[] = {
      {"small ones", {1, 2, 3}, {6}},
      {"exactly full", {4000, 96}, {4096}},
      {"one byte too many", {4000, 97}, {4000, 97}},
      {"as large as the buffer", {10, 4096, 10}, {10, 4096, 10}},
      {"larger", {10000, 1}, {10000, 1}},
      {"none", {}, {}},
  };
  for (const auto& row : rows) {
    CountingStream target;
    BufferedWriteStream out(&target);
    uint32_t at = 0;
    for (const uint32_t size : row.writes) {
      EXPECT_TRUE(WriteExact(out, at, bytes.data(), size));
      at += size;
    }
    EXPECT_TRUE(out.Flush());
    EXPECT_EQ(target.sizes, row.reach) << row.label;
    EXPECT_EQ(target.memory.bytes().size(), at);
  }
}

TEST_F(IoTest, WriteBufferKeepsPlacesAndIsReadThrough) {
  CountingStream target;
  BufferedWriteStream out(&target);
  EXPECT_TRUE(WriteExact(out, 0, Data("abcd"), 4));
  EXPECT_TRUE(WriteExact(out, 2, Data("XY"), 2)) << "back";
  EXPECT_TRUE(WriteExact(out, 6, Data("ef"), 2)) << "over a gap";
  uint8_t buf[8];
  EXPECT_TRUE(ReadExact(out, 0, buf, 8));
  EXPECT_EQ(Text(buf), std::string("abXY\0\0ef", 8));
}

TEST_F(IoTest, WriteBufferReportsAndRemembersFailure) {
  CountingStream target;
  target.fail_from = 1;
  BufferedWriteStream out(&target);
  uint32_t size = 0;
  EXPECT_TRUE(WriteExact(out, 0, Data("abcd"), 4)) << "not stored yet";
  EXPECT_FALSE(out.Flush());
  EXPECT_FALSE(out.Flush());
  EXPECT_FALSE(WriteExact(out, 4, Data("efgh"), 4));
  EXPECT_FALSE(out.GetSize(&size));
  EXPECT_EQ(target.sizes.size(), 1u);
}

TEST_F(IoTest, LimitCutsAndTells) {
  const struct {
    const char* label;
    std::vector<std::pair<uint32_t, const char*>> writes;
    std::string stored;
    bool was_cut;
  } rows[] = {
      {"below", {{0, "abcd"}}, "abcd", false},
      {"exactly", {{0, "abcd"}, {4, "ef"}}, "abcdef", false},
      {"across", {{0, "abcd"}, {4, "efg"}}, "abcdef", true},
      {"behind", {{0, "abcdef"}, {6, "g"}, {100, "h"}}, "abcdef", true},
      {"nothing at the limit", {{6, ""}}, "", false},
  };
  for (const auto& row : rows) {
    MemoryStream target;
    LimitedWriteStream out(&target, 6);
    for (const auto& [at, text] : row.writes) {
      EXPECT_TRUE(WriteExact(out, at, Data(text), static_cast<uint32_t>(std::string(text).size())))
          << row.label;
    }
    EXPECT_EQ(Text(target.bytes()), row.stored) << row.label;
    EXPECT_EQ(out.stored(), row.stored.size()) << row.label;
    EXPECT_EQ(out.was_cut(), row.was_cut) << row.label;
  }
}

}  // namespace
}  // namespace brix
