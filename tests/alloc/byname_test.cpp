// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_test.cpp - the name-based family's walk in which the n-th allocation fails, for every n, and a log line that
// finds no memory.
#include <gtest/gtest.h>

#include "alloc/countdown.h"
#include "api/log.h"
#include "api/support.h"

namespace brix {
namespace {

// Takes no memory of its own. `*opening` is the error value of opening.
Seen Walk(const char* path, const char* temp_directory, uint32_t* opening) {
  Seen seen;
  *opening = BRIX_ERROR_MEMORY;
  BrixDecompression context = InitDecompression();
  seen.trouble = context == nullptr;
  if (seen.trouble) return seen;
  SetTemporaryDirectory(context, temp_directory);
  const BrixNamedArchive archive = OpenArchiveFileNew(context, path);
  *opening = GetErrorValue(context);
  const auto note = [&] { seen.trouble = seen.trouble || GetErrorValue(context) != BRIX_ERROR_NONE; };
  note();
  const char* name = GetFirstFileName(archive);
  for (int step = 0; step < 50; ++step) {
    note();
    if (name == nullptr && GetErrorValue(context) != BRIX_ERROR_MEMORY) break;
    if (name != nullptr) {
      seen.Member(GetArchiveLevel(archive), name);
      (void)ExtractCurrentFile(archive);
      note();
      RemoveCurrentFile(archive);
      note();
    }
    name = GetNextFileName(archive);
  }
  CloseArchiveFile(archive);
  DeInitDecompression(context);
  return seen;
}

TEST(AllocationFailure, AtEveryAllocationOfANameBasedWalkHidesNothing) {
  const TempDir dir;
  const TempDir temp;
  const std::string paths[] = {dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000)))),
                               BRIX_FIXTURE_DIR "/nested/setup.exe"};
  for (const std::string& path : paths) {
    Seen undisturbed;
    int out_of_memory = 0;
    long n = -1;  // the first time, no allocation fails
    do {
      happened = false;
      countdown = n;
      uint32_t opening = 0;
      const Seen seen = Walk(path.c_str(), temp.path.c_str(), &opening);
      countdown = -1;
      if (n < 0) undisturbed = seen;
      ASSERT_FALSE(undisturbed.trouble);
      EXPECT_TRUE(seen.IsHonest(undisturbed)) << path << ", allocation " << n;
      ASSERT_TRUE(opening == BRIX_ERROR_NONE || opening == BRIX_ERROR_MEMORY) << n;
      out_of_memory += opening == BRIX_ERROR_MEMORY ? 1 : 0;
      ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
      ASSERT_LT(n, 1000);
    } while (++n == 0 || happened);
    EXPECT_GT(n, 10);
    EXPECT_EQ(out_of_memory, 4) << "context, archive, level, handler";
  }
}

TEST(AllocationFailure, OfALogLine) {
  const TempDir dir;
  OpenLog(dir.path.c_str());
  LogLine("%s and %u", "text", 7u);
  countdown = 0;
  LogLine("%s", "lost");
  countdown = -1;
  CloseLog();
  LogLine("%s", "behind the end");
  EXPECT_EQ(ReadFile(dir.File("arc0000.log")), "init\ntext and 7\nOut of memory\nend\n");
}

}  // namespace
}  // namespace brix
