// threads_test.cpp - threads with handles of their own do not see each other. What they share is the library and
// its table of open files; the thread sanitizer looks on in a build of its own.
#include <gtest/gtest.h>

#include <thread>

#include "api/session_support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

Bytes Nested() {
  const Bytes inner = Zip({{"a", Szdd(Szdd("aaa"))}, {"b", SzddOfSpaces(9000)}});
  return Zip({{"inner.zip", inner}, {"last", Bytes().Text("l")}});
}

// What one thread sees: a walk of each family that descends, over temporary files.
Lines Transcript(const Bytes& content, const std::string& directory, const ArcStreamFactory& factory) {
  const TempDir unused;
  HostFile file{content};
  Toolkit toolkit;
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, directory.c_str()), BRIX_OK);
  Archive archive(toolkit, file);
  Lines lines = WalkLines(archive, Target::kTempFile, unused);
  Session session(file.Record(), factory);
  const Lines more = SessionLines(session, true);
  lines.insert(lines.end(), more.begin(), more.end());
  return lines;
}

TEST(Threads, SixteenSeeWhatOneSees) {
  constexpr size_t kThreads = 16;
  const TempDir dir;
  ArcStreamFactory factory{};
  ASSERT_EQ(ArcTkOpenTempFileStreamFactory(dir.path().c_str(), &factory), BRIX_OK);
  const Bytes content = Nested();
  const Lines alone = Transcript(content, dir.path(), factory);
  EXPECT_EQ(alone.size(), 16u);
  Lines seen[kThreads];
  std::vector<std::thread> threads;
  for (Lines& lines : seen) {
    threads.emplace_back([&] { lines = Transcript(content, dir.path(), factory); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Lines& lines : seen) EXPECT_EQ(lines, alone);
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(ArcTkCloseStreamFactory(&factory), BRIX_OK);
}

}  // namespace
}  // namespace brix
