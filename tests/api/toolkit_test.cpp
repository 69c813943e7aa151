// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include "api/support.h"

namespace brix {
namespace {

TEST(Toolkit, KeepsTheTypeTableFromBeingReadBeforeATypeIsSet) {
  Session s;
  uint32_t enabled = 7;
  for (const uint32_t type : {0u, 22u, UINT32_MAX}) {
    EXPECT_EQ(ArcTk2_SetTypeEnabled(&s.toolkit, type, 0), BRIX_BAD_ARGUMENT) << type;
    EXPECT_EQ(ArcTk2_GetTypeEnabled(&s.toolkit, 5, &enabled), BRIX_BAD_ARGUMENT) << "made by " << type;
  }
  EXPECT_EQ(enabled, 7u);
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&s.toolkit, 5, 0), BRIX_OK);
  for (const bool all_off : {false, true}) {
    EXPECT_EQ(all_off ? ArcTk2_SetAllTypesEnabled(&s.toolkit, 0) : BRIX_OK, BRIX_OK);
    for (uint32_t type = 0; type <= 22; ++type) {
      const bool exists = type >= 1 && type <= 21;
      enabled = 7;
      EXPECT_EQ(ArcTk2_GetTypeEnabled(&s.toolkit, type, &enabled), exists ? BRIX_OK : BRIX_BAD_ARGUMENT);
      EXPECT_EQ(enabled, !exists ? 7u : all_off || type == 5 ? 0u : 1u) << type;
    }
  }
}

TEST(Toolkit, TypeTableDecidesWhatIsAnArchiveWhenItIsOpened) {
  Session s;
  s.file.content = Nested(2);
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&s.toolkit, BRIX_TYPE_SZDD, 0), BRIX_OK);
  EXPECT_EQ(s.Open(), BRIX_NOT_AN_ARCHIVE);
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&s.toolkit, BRIX_TYPE_SZDD, 1), BRIX_OK);
  EXPECT_EQ(s.Open(), BRIX_OK);
  EXPECT_EQ(ArcTk2_SetAllTypesEnabled(&s.toolkit, 0), BRIX_OK);
  EXPECT_EQ(s.WalkLines(Target::kMemory).size(), 3u) << "an open archive keeps its copy";
  EXPECT_EQ(s.Open(), BRIX_NOT_AN_ARCHIVE);
}

TEST(Toolkit, NullHandlesAndArgumentsAreRefusedEverywhere) {
  Session s(Szdd("x"));
  ASSERT_EQ(s.Next(), BRIX_OK);
  ArcTk2Toolkit no_toolkit = nullptr;
  ArcTk2Archive no_archive = nullptr;
  ArcTk2Archive o = s.archive;
  ArcTk2Archive o2 = s.archive;
  uint32_t n = 0;
  void* data = nullptr;
  char text[64];
  const ArcStream record = s.file.Record();
  const auto expect_refused = [](const std::vector<int32_t>& statuses) {
    EXPECT_EQ(statuses, std::vector<int32_t>(statuses.size(), BRIX_BAD_ARGUMENT));
  };
  for (ArcTk2Toolkit* t : {static_cast<ArcTk2Toolkit*>(nullptr), &no_toolkit}) {
    expect_refused({ArcTk2_Close(t), ArcTk2_SetToolkitLimits(t, 1, 1, 1), ArcTk2_EnableAggressiveMode(t, 1),
                    ArcTk2_SetTypeEnabled(t, 1, 1), ArcTk2_GetTypeEnabled(t, 1, &n),
                    ArcTk2_SetAllTypesEnabled(t, 1), ArcTk2_SetGlobalTempFileDirectory(t, "."),
                    ArcTk2_OpenArchive(t, "x", &o), ArcTk2_OpenArchiveStream(t, &record, &o2)});
    EXPECT_TRUE(o == nullptr && o2 == nullptr) << "set to null whatever comes";
  }
  for (ArcTk2Archive* a : {static_cast<ArcTk2Archive*>(nullptr), &no_archive}) {
    expect_refused({ArcTk2_GetNextFile(a, text, sizeof text), ArcTk2_SetArchiveLimits(a, 1),
                    ArcTk2_SetArchiveTempFileDirectory(a, "."), ArcTk2_GetDepth(a, &n),
                    ArcTk2_ArchiveGetTopLevelType(a, &n), ArcTk2_ArchiveGetCurrentType(a, &n),
                    ArcTk2_GetMemberStatus(a, &n), ArcTk2_GetUnseen(a, &n), ArcTk2_CloseArchive(a),
                    ArcTk2_ExtractToMemory(a, &data, &n), ArcTk2_ExtractToFile(a, "x"),
                    ArcTk2_ExtractToTempFile(a, text, sizeof text), ArcTk2_ExtractToStream(a, &record)});
  }
  ArcTk2Toolkit* const t = &s.toolkit;
  ArcTk2Archive* const a = &s.archive;
  EXPECT_EQ(ArcTk2_SetTypeEnabled(t, 1, 1), BRIX_OK);
  expect_refused({ArcTk2_Init(nullptr), ArcTk2_SetGlobalTempFileDirectory(t, nullptr),
                  ArcTk2_GetTypeEnabled(t, 1, nullptr), ArcTk2_OpenArchive(t, nullptr, &o),
                  ArcTk2_OpenArchive(t, "x", nullptr), ArcTk2_OpenArchiveStream(t, nullptr, &o),
                  ArcTk2_OpenArchiveStream(t, &record, nullptr), ArcTk2_GetNextFile(a, nullptr, 512),
                  ArcTk2_SetArchiveTempFileDirectory(a, nullptr), ArcTk2_GetDepth(a, nullptr),
                  ArcTk2_ArchiveGetTopLevelType(a, nullptr), ArcTk2_ArchiveGetCurrentType(a, nullptr),
                  ArcTk2_GetMemberStatus(a, nullptr), ArcTk2_GetUnseen(a, nullptr),
                  ArcTk2_ExtractToMemory(a, &data, nullptr), ArcTk2_ExtractToFile(a, nullptr),
                  ArcTk2_ExtractToTempFile(a, nullptr, 512), ArcTk2_ExtractToTempFile(a, text, 0),
                  ArcTk2_ExtractToStream(a, nullptr)});
  ArcTk2_FreeMemory(nullptr);
}

TEST(Toolkit, IncompleteStreamRecordsAreRefused) {
  for (size_t word = 1; word <= 6; ++word) {
    const auto spoilt = [word](HostFile& file) {
      ArcStream record = file.Record();
      void* none = nullptr;
      std::memcpy(reinterpret_cast<char*>(&record) + word * sizeof none, &none, sizeof none);
      return record;
    };
    const int32_t expected =
        word <= 4 ? BRIX_BAD_ARGUMENT : BRIX_OK;  // set_size and get_file_name are optional
    Session s(Szdd("x"));
    HostFile out;
    const ArcStream target = spoilt(out);
    ASSERT_EQ(s.Next(), BRIX_OK);
    EXPECT_EQ(ArcTk2_ExtractToStream(&s.archive, &target), expected) << word;
    EXPECT_EQ(s.Close(), BRIX_OK);
    const ArcStream record = spoilt(s.file);
    EXPECT_EQ(ArcTk2_OpenArchiveStream(&s.toolkit, &record, &s.archive), expected) << word;
  }
}

TEST(Toolkit, OpeningReportsWhyItFailedAndLeaksNoFile) {
  Session s;
  const std::tuple<const char*, std::string, int32_t> rows[] = {
      {"a container", s.dir.Write("good", Szdd("x")), BRIX_OK},
      {"no such file", s.dir.File("missing"), BRIX_BAD_ARGUMENT},
      {"a folder", s.dir.path, BRIX_BAD_ARGUMENT},
      {"no name", "", BRIX_BAD_ARGUMENT},
      {"empty file", s.dir.Write("empty", Bytes()), BRIX_NOT_AN_ARCHIVE},
      {"plain text", s.dir.Write("text", Bytes().Text("nothing in here")), BRIX_NOT_AN_ARCHIVE},
  };
  for (const auto& [label, path, expected] : rows) {
    for (int i = 0; i <= 2048; ++i) {  // more than the table of open files holds
      ASSERT_EQ(s.Open(path.c_str()), expected) << label << " " << i;
      ASSERT_EQ(s.archive != nullptr, expected == BRIX_OK) << label;
    }
  }
  EXPECT_EQ(ArcTk2_SetToolkitLimits(&s.toolkit, 100, 100, 0), BRIX_OK);
  EXPECT_EQ(s.Open(s.dir.File("good").c_str()), BRIX_NESTING_LIMIT);
  EXPECT_EQ(s.Open(s.dir.File("text").c_str()), BRIX_NESTING_LIMIT) << "the limit comes before detection";
}

}  // namespace
}  // namespace brix
