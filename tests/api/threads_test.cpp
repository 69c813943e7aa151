// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// threads_test.cpp - threads with handles of their own do not see each other; the thread sanitizer looks on in a
// build of its own.
#include <gtest/gtest.h>

#include <thread>

#include "api/session_support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

// What one thread sees: a walk of each family that descends, over temporary files.
Lines Transcript(const std::string& directory, const ArcStreamFactory& factory) {
  const Bytes inner = Zip({{"a", Szdd(Szdd("aaa"))}, {"b", SzddOfSpaces(9000)}});
  HostFile file{Zip({{"inner.zip", inner}, {"last", Bytes().Text("l")}})};
  Session walk(file.content);
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&walk.toolkit, directory.c_str()), BRIX_OK);
  EXPECT_EQ(walk.Open(), BRIX_OK);
  Lines lines = walk.WalkLines(Target::kTempFile);
  TkSession session(file.Record(), factory);
  for (const std::string& line : SessionLines(session, true)) lines.push_back(line);

  const BrixDecompression context = InitDecompression();
  SetTemporaryDirectory(context, walk.dir.path.c_str());
  const BrixNamedArchive names = OpenArchiveFileNew(context, walk.dir.Write("outer", file.content).c_str());
  for (const char* name = GetFirstFileName(names); name != nullptr; name = GetNextFileName(names)) {
    lines.push_back(std::to_string(GetArchiveLevel(names)) + " " + name);
    lines.push_back(ReadFile(ExtractCurrentFile(names)));
    RemoveCurrentFile(names);
  }
  CloseArchiveFile(names);
  DeInitDecompression(context);
  return lines;
}

TEST(Threads, SixteenSeeWhatOneSees) {
  const TempDir dir;
  ArcStreamFactory factory{};
  ASSERT_EQ(ArcTkOpenTempFileStreamFactory(dir.path.c_str(), &factory), BRIX_OK);
  const Lines alone = Transcript(dir.path, factory);
  EXPECT_EQ(alone.size(), 16u + 7 * 2);
  Lines seen[16];
  std::vector<std::thread> threads;
  for (Lines& lines : seen) threads.emplace_back([&] { lines = Transcript(dir.path, factory); });
  for (std::thread& thread : threads) thread.join();
  for (const Lines& lines : seen) EXPECT_EQ(lines, alone);
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(ArcTkCloseStreamFactory(&factory), BRIX_OK);
}

}  // namespace
}  // namespace brix
