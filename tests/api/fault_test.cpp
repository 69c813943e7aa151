// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// fault_test.cpp - hosts whose stream goes wrong at any one call, or from there on. The walk must end, keep
// its limits, leave no file and no open descriptor behind, and never close the host's stream.
#include <gtest/gtest.h>

#include "api/support.h"

namespace brix {
namespace {

constexpr HostFile::Fault kFaults[] = {
    HostFile::kFail,    HostFile::kPositiveResult, HostFile::kShort,
    HostFile::kTooMany, HostFile::kNothing,        HostFile::kThrow,
};

// Targets alternate, so that levels over memory and over files stand on the stack together.
void WalkWithFault(Session& s) {
  int step = 0;
  int32_t status = s.Open();
  for (; step < 100 && (status == BRIX_OK || status == BRIX_PART_FAILED); ++step) {
    status = s.Next();
    if (status == BRIX_OK) (void)s.Extract(kAllTargets[step % 4]);
  }
  EXPECT_LT(step, 100) << "walk without end";
  EXPECT_NE(status, BRIX_OUT_OF_MEMORY);
  (void)s.Close();
  for (const std::string& name : s.dir.List()) EXPECT_NE(name.substr(0, 3), "arc") << "left behind";
  EXPECT_EQ(s.file.closes, 0);
}

void Sweep(const Bytes& content) {
  for (const HostFile::Fault fault : kFaults) {
    for (const bool keeps_failing : {false, true}) {
      int at = 0;
      int calls = 0;
      while (at++ <= calls && at < 1000) {
        SCOPED_TRACE(testing::Message()
                     << "fault " << fault << " at call " << at << " on: " << keeps_failing);
        Session s;
        s.file = {content, fault, at, keeps_failing};
        WalkWithFault(s);
        calls = s.file.calls;
      }
      EXPECT_GT(at, 3);
      EXPECT_LT(at, 1000);
    }
  }
}

TEST(Faults, HostStreamThatFailsAtAnyCallOfANestedWalk) { Sweep(Szdd(Szdd(Szdd(SzddOfSpaces(3000))))); }

TEST(Faults, HostStreamThatFailsAtAnyCallOfADirectoryWalk) {
  const Bytes inner = BuildZip({StoredMember("a", "aaa"), StoredMember("b", Text(Szdd("bb")))}).bytes;
  Sweep(
      BuildZip({StoredMember("inner.zip", Text(inner)), StoredMember("big", std::string(9000, 'b'))}).bytes);
}

TEST(Faults, HostTargetThatFailsAtAnyWrite) {
  Session s(SzddOfSpaces(100000));
  int at = 0;
  int32_t status = BRIX_PART_FAILED;
  while (status == BRIX_PART_FAILED && at < 1000) {
    ASSERT_EQ(s.Open(), BRIX_OK);
    ASSERT_EQ(s.Next(), BRIX_OK);
    HostFile target{{}, HostFile::kFail, ++at, true};
    const ArcStream record = target.Record();
    status = ArcTk2_ExtractToStream(&s.archive, &record);
    EXPECT_EQ(target.content.data, std::vector<uint8_t>(target.content.size(), ' ')) << "what came stays";
    EXPECT_EQ(target.content.size() == 100000, status == BRIX_OK);
  }
  EXPECT_EQ(status, BRIX_OK);
  EXPECT_GT(at, 2);
}

}  // namespace
}  // namespace brix
