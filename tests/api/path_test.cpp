// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// path_test.cpp - paths that are long, and names beyond the system's own code page, in every call that takes one.
#include <gtest/gtest.h>

#include "api/support.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace brix {
namespace {

// A walk that leaves a file in each way, to `folder`: how many of its calls failed.
int FailuresIn(const std::string& folder, const std::string& file) {
  int failures = 0;
  const auto expect = [&](int32_t status) { failures += status == BRIX_OK ? 0 : 1; };
  Session s;
  char path[512] = "";
  expect(ArcTk2_SetGlobalTempFileDirectory(&s.toolkit, folder.c_str()));
  expect(s.Open(file.c_str()));
  expect(s.Next());
  expect(ArcTk2_ExtractToFile(&s.archive, (folder + "/extracted").c_str()));
  expect(ArcTk2_ExtractToTempFile(&s.archive, path, sizeof path));
  failures += ReadFile(path) == Text(Szdd("member")) ? 0 : 1;
  expect(s.Next());  // a level is opened from the file

  ArcStream stream{};
  for (const uint32_t mode : {BRIX_FILE_READ, BRIX_FILE_READ_WRITE}) {
    expect(ArcTkOpenFile(file.c_str(), mode, &stream));
    if (stream.close != nullptr) expect(stream.close(stream.context));
  }
  expect(ArcTkOpenTempFile(folder.c_str(), &stream));
  if (stream.close != nullptr) expect(stream.close(stream.context));
  uint32_t type = 0;
  expect(GetArcFileType(file.c_str(), &type));

  const BrixDecompression context = InitDecompression();
  SetTemporaryDirectory(context, folder.c_str());
  failures += GetErrorValue(context) == BRIX_ERROR_NONE ? 0 : 1;
  const BrixNamedArchive archive = OpenArchiveFileNew(context, file.c_str());
  failures += archive != BRIX_NO_ARCHIVE && GetFirstFileName(archive) != nullptr ? 0 : 1;
  failures += ExtractCurrentFile(archive) != nullptr ? 0 : 1;
  RemoveCurrentFile(archive);
  failures += GetNextFileName(archive) != nullptr ? 0 : 1;
  CloseArchiveFile(archive);
  failures += DecompressMSCompressedFile(context, file.c_str(), path, 1) != 0 ? 0 : 1;
  DeInitDecompression(context);
  return failures;
}

TEST(Paths, FoldersOf511BytesWork) {
  const TempDir dir;
  std::string folder = dir.path;
  for (const size_t size : {100u, 200u, 300u, 400u, 499u, 511u}) {
    folder += "/" + std::string(size - folder.size() - 1, 'd');
    std::filesystem::create_directory(SystemPath(folder));
    ASSERT_EQ(folder.size(), size);
    if (size != 499) continue;
    const std::string file = folder + "/f.tx_";
    std::ofstream(SystemPath(file), std::ios::binary) << Text(Szdd(Szdd("member")));
    EXPECT_EQ(FailuresIn(folder, file), 0) << "the longest that can hold temporary files";
  }
  const BrixDecompression context = InitDecompression();
  SetTemporaryDirectory(context, folder.c_str());
  EXPECT_EQ(GetErrorValue(context), 0u);
  DeInitDecompression(context);
}

TEST(Paths, FilesOfFourGigabytesHaveNoSizeAndAreNoArchives) {
  Session s;
  const std::string path = s.dir.Write("large", Szdd("x"));
  std::error_code error;
  std::filesystem::resize_file(SystemPath(path), uint64_t{UINT32_MAX} + 1, error);
  if (error) GTEST_SKIP() << "no room for a sparse file";
  EXPECT_EQ(s.Open(path.c_str()), BRIX_NOT_AN_ARCHIVE);
  ArcStream stream{};
  ASSERT_EQ(ArcTkOpenFile(path.c_str(), BRIX_FILE_READ, &stream), BRIX_OK);
  uint32_t value = 0;
  EXPECT_EQ(stream.get_size(stream.context, &value), BRIX_FAILED);
  EXPECT_EQ(stream.read(stream.context, 0, &value, 4, &value), BRIX_OK);
  ArcArchive archive = nullptr;
  ArcTkSession session = nullptr;
  ArcStreamFactory factory{};
  EXPECT_EQ(ArcTkOpenTempMemStreamFactory(&factory), BRIX_OK);
  EXPECT_EQ(ArcOpenArchive(&stream, &archive), BRIX_NOT_AN_ARCHIVE);
  EXPECT_EQ(ArcTkOpenArchive(&stream, &factory, &session), BRIX_FAILED);
  EXPECT_EQ(stream.close(stream.context), BRIX_OK);
  value = 9;
  EXPECT_EQ(GetArcFileType(path.c_str(), &value), 0);
  EXPECT_EQ(value, 0u);
  const BrixDecompression context = InitDecompression();
  EXPECT_EQ(OpenArchiveFileNew(context, path.c_str()), BRIX_NO_ARCHIVE);
  EXPECT_EQ(GetErrorValue(context), 3u);
  DeInitDecompression(context);
}

TEST(Paths, NamesInUtf8OpenEverywhere) {
  const TempDir dir;
  const std::string folder = dir.File("\xE6\x97\xA5");
  std::filesystem::create_directory(SystemPath(folder));
  const std::string file = dir.Write("\xE6\x97\xA5/\xC3\xA9\xE6\x9C\xAC.tx_", Szdd(Szdd("member")));
  EXPECT_EQ(FailuresIn(folder, file), 0);
}

#ifdef _WIN32
TEST(Paths, OfTheSystemsCodePageComeFirst) {
  if (GetACP() != 1252) GTEST_SKIP() << "another code page";
  const TempDir dir;
  const std::string ansi = "\xC3\x83\xC2\xA9", utf8 = "\xC3\xA9";  // as UTF-8, how the name `utf8` is read
  using Names = std::set<std::string>;
  const auto create = [&] {
    ArcStream stream{};
    EXPECT_EQ(ArcTkOpenFile(dir.File(utf8).c_str(), BRIX_FILE_CREATE, &stream), BRIX_OK);
    EXPECT_EQ(stream.write(stream.context, 0, "created", 7), BRIX_OK);
    EXPECT_EQ(stream.close(stream.context), BRIX_OK);
  };
  create();
  EXPECT_EQ(dir.List(), Names{ansi}) << "nothing was there";
  (void)dir.Write(utf8, Bytes().Text("second"));
  ArcStream stream{};
  ASSERT_EQ(ArcTkOpenFile(dir.File(utf8).c_str(), BRIX_FILE_READ, &stream), BRIX_OK);
  uint32_t size = 0;
  EXPECT_EQ(stream.get_size(stream.context, &size), BRIX_OK);
  EXPECT_EQ(size, 7u) << "both are there";
  EXPECT_EQ(stream.close(stream.context), BRIX_OK);
  std::filesystem::remove(SystemPath(dir.File(ansi)));
  create();
  EXPECT_EQ(dir.List(), Names{utf8}) << "what is there is replaced";
  EXPECT_EQ(ReadFile(dir.File(utf8)), "created");
}
#endif

}  // namespace
}  // namespace brix
