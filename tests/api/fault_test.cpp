// fault_test.cpp - hosts whose stream goes wrong at any one call, or from there on. The walk must end, keep
// its limits, leave no file and no open descriptor behind, and never close the host's stream.
#include <gtest/gtest.h>

#include <stdexcept>

#include "api/support.h"

namespace brix {
namespace {

constexpr HostFile::Fault kFaults[] = {HostFile::kFail, HostFile::kPositiveResult, HostFile::kShort,
                                       HostFile::kTooMany, HostFile::kNothing};

void WalkWithFault(const Bytes& content, HostFile::Fault fault, int at, bool keeps_failing, int* calls) {
  Toolkit toolkit;
  const TempDir dir;
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, dir.path().c_str()), BRIX_OK);
  HostFile file{content};
  file.fault = fault;
  file.fault_at = at;
  file.keeps_failing = keeps_failing;
  const TempDir host_files;
  {
    Archive archive(toolkit, file);
    if (archive.status == BRIX_OK) {
      // Targets alternate, so that levels over memory and over files stand on the stack together.
      int step = 0;
      int32_t status = BRIX_OK;
      for (; step < 100 && (status == BRIX_OK || status == BRIX_PART_FAILED); ++step) {
        status = archive.Next();
        if (status == BRIX_OK) (void)Extract(archive, kAllTargets[step % 4], host_files);
      }
      EXPECT_LT(step, 100) << "walk without end";
    }
  }
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(file.closes, 0);
  *calls = file.calls;
}

void Sweep(const Bytes& content) {
  for (const HostFile::Fault fault : kFaults) {
    for (const bool keeps_failing : {false, true}) {
      int calls = 0;
      int at = 1;
      do {
        SCOPED_TRACE(testing::Message()
                     << "fault " << fault << " at call " << at << " on: " << keeps_failing);
        WalkWithFault(content, fault, at, keeps_failing, &calls);
      } while (at++ <= calls && at < 1000);
      EXPECT_GT(at, 3);
      EXPECT_LT(at, 1000);
    }
  }
}

TEST(Faults, HostStreamThatFailsAtAnyCallOfANestedWalk) { Sweep(Szdd(Szdd(Szdd(SzddOfSpaces(3000))))); }

#ifdef BRIX_HAS_ZIP
TEST(Faults, HostStreamThatFailsAtAnyCallOfADirectoryWalk) {
  const Bytes inner = Zip({{"a", Bytes().Text("aaa")}, {"b", Szdd("bb")}});
  Sweep(Zip({{"inner.zip", inner}, {"big", Bytes().Fill(9000, 'b')}, {"last", Bytes().Text("l")}}));
}
#endif

TEST(Faults, HostTargetThatFailsAtAnyWrite) {
  Toolkit toolkit;
  HostFile file{SzddOfSpaces(100000)};
  int at = 0;
  int32_t status = BRIX_PART_FAILED;
  while (status == BRIX_PART_FAILED && at < 1000) {
    Archive archive(toolkit, file);
    ASSERT_EQ(archive.Next(), BRIX_OK);
    HostFile target;
    target.fault_at = ++at;
    target.keeps_failing = true;
    const ArcStream record = target.Record();
    status = ArcTk2_ExtractToStream(&archive.handle, &record);
    EXPECT_EQ(target.content.data, std::vector<uint8_t>(target.content.size(), ' ')) << "what came stays";
  }
  EXPECT_EQ(status, BRIX_OK);
  EXPECT_GT(at, 2);
}

#ifndef _WIN32  // a C++ exception does not cross two copies of the language's runtime there
TEST(Faults, HostThatThrowsIsContained) {
  Toolkit toolkit;
  for (int at = 1; at < 20; ++at) {
    static int countdown;
    countdown = at;
    static HostFile file;
    file.content = Szdd("content");
    ArcStream record = file.Record();
    record.read = [](void*, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) -> int32_t {
      if (--countdown == 0) throw std::runtime_error("host");
      const ArcStream plain = file.Record();
      return plain.read(plain.context, offset, buffer, length, got);
    };
    ArcTk2Archive archive = nullptr;
    char name[512];
    uint32_t size = 0;
    int32_t status = ArcTk2_OpenArchiveStream(&toolkit.handle, &record, &archive);
    if (status == BRIX_OK) status = ArcTk2_GetNextFile(&archive, name, sizeof name);
    if (status == BRIX_OK) status = ArcTk2_ExtractToMemory(&archive, nullptr, &size);
    EXPECT_EQ(status, countdown <= 0 ? BRIX_FAILED : BRIX_OK) << at;
    if (archive != nullptr) {
      EXPECT_EQ(ArcTk2_CloseArchive(&archive), BRIX_OK);
    }
  }
}
#endif

}  // namespace
}  // namespace brix
