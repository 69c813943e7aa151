// byname_test.cpp - the name-based family's walk in which the n-th allocation fails, for every n, and a log line that
// finds no memory.
#include <gtest/gtest.h>

#include "alloc/countdown.h"
#include "api/log.h"
#include "api/support.h"

namespace brix {
namespace {

// Takes no memory of its own. Returns the error value of opening.
uint32_t Walk(const char* path, const char* temp_directory) {
  BrixDecompression context = InitDecompression();
  if (context == nullptr) return BRIX_ERROR_MEMORY;
  SetTemporaryDirectory(context, temp_directory);
  const BrixNamedArchive archive = OpenArchiveFileNew(context, path);
  const uint32_t error = GetErrorValue(context);
  const char* name = GetFirstFileName(archive);
  for (int step = 0; name != nullptr && step < 50; ++step) {
    (void)ExtractCurrentFile(archive);
    RemoveCurrentFile(archive);
    name = GetNextFileName(archive);
  }
  CloseArchiveFile(archive);
  DeInitDecompression(context);
  return error;
}

TEST(AllocationFailure, AtEveryAllocationOfANameBasedWalk) {
  const TempDir dir;
  const TempDir temp;
  const std::string path = dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000))));
  int out_of_memory = 0;
  long n = 0;
  do {
    happened = false;
    countdown = n++;
    const uint32_t error = Walk(path.c_str(), temp.path.c_str());
    countdown = -1;
    // Detection without memory for its cache knows no type.
    ASSERT_TRUE(error == 0 || error == BRIX_ERROR_MEMORY || error == BRIX_ERROR_NOT_AN_ARCHIVE) << n;
    out_of_memory += error == BRIX_ERROR_MEMORY ? 1 : 0;
    ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
    ASSERT_LT(n, 1000);
  } while (happened);
  EXPECT_GT(n, 10);
  EXPECT_EQ(out_of_memory, 4) << "context, archive, level, handler";
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
