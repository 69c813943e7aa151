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
  const TempDir unused;
  Toolkit toolkit;
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, directory.c_str()), BRIX_OK);
  Archive archive(toolkit, file);
  Lines lines = WalkLines(archive, Target::kTempFile, unused);
  Session session(file.Record(), factory);
  for (const std::string& line : SessionLines(session, true)) lines.push_back(line);
  return lines;
}

TEST(Threads, SixteenSeeWhatOneSees) {
  const TempDir dir;
  ArcStreamFactory factory{};
  ASSERT_EQ(ArcTkOpenTempFileStreamFactory(dir.path().c_str(), &factory), BRIX_OK);
  const Lines alone = Transcript(dir.path(), factory);
  EXPECT_EQ(alone.size(), 16u);
  Lines seen[16];
  std::vector<std::thread> threads;
  for (Lines& lines : seen) threads.emplace_back([&] { lines = Transcript(dir.path(), factory); });
  for (std::thread& thread : threads) thread.join();
  for (const Lines& lines : seen) EXPECT_EQ(lines, alone);
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(ArcTkCloseStreamFactory(&factory), BRIX_OK);
}

}  // namespace
}  // namespace brix
