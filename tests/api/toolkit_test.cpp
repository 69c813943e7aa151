#include <gtest/gtest.h>

#include "api/support.h"

namespace brix {
namespace {

TEST(Toolkit, TypeTableExistsOnceATypeIsSet) {
  Toolkit toolkit;
  uint32_t enabled = 7;
  EXPECT_EQ(ArcTk2_GetTypeEnabled(&toolkit.handle, 5, &enabled), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(enabled, 7u);
  for (const uint32_t type : {0u, 22u, UINT32_MAX}) {
    EXPECT_EQ(ArcTk2_SetTypeEnabled(&toolkit.handle, type, 0), BRIX_BAD_ARGUMENT) << type;
    EXPECT_EQ(ArcTk2_GetTypeEnabled(&toolkit.handle, 5, &enabled), BRIX_BAD_ARGUMENT) << "made by " << type;
  }
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&toolkit.handle, 5, 0), BRIX_OK);
  for (uint32_t type = 1; type <= 21; ++type) {
    EXPECT_EQ(ArcTk2_GetTypeEnabled(&toolkit.handle, type, &enabled), BRIX_OK);
    EXPECT_EQ(enabled, type == 5 ? 0u : 1u) << type;
  }
  for (const uint32_t type : {0u, 22u}) {
    EXPECT_EQ(ArcTk2_GetTypeEnabled(&toolkit.handle, type, &enabled), BRIX_BAD_ARGUMENT) << type;
  }
  EXPECT_EQ(ArcTk2_SetAllTypesEnabled(&toolkit.handle, 0), BRIX_OK);
  for (uint32_t type = 1; type <= 21; ++type) {
    EXPECT_EQ(ArcTk2_GetTypeEnabled(&toolkit.handle, type, &enabled), BRIX_OK);
    EXPECT_EQ(enabled, 0u) << type;
  }
}

TEST(Toolkit, TypeTableDecidesWhatIsAnArchiveWhenItIsOpened) {
  Toolkit toolkit;
  HostFile file{Szdd("x")};
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&toolkit.handle, BRIX_TYPE_SZDD, 0), BRIX_OK);
  EXPECT_EQ(Archive(toolkit, file).status, BRIX_NOT_AN_ARCHIVE);
  EXPECT_EQ(ArcTk2_SetTypeEnabled(&toolkit.handle, BRIX_TYPE_SZDD, 1), BRIX_OK);
  HostFile nested{Szdd(Szdd("x"))};
  Archive open(toolkit, nested);
  EXPECT_EQ(open.status, BRIX_OK);
  EXPECT_EQ(ArcTk2_SetAllTypesEnabled(&toolkit.handle, 0), BRIX_OK);
  EXPECT_EQ(Archive(toolkit, file).status, BRIX_NOT_AN_ARCHIVE);
  const TempDir dir;
  EXPECT_EQ(WalkLines(open, Target::kMemory, dir).size(), 3u) << "an open archive keeps its copy";
}

TEST(Toolkit, NullHandlesAndArgumentsAreRefusedEverywhere) {
  Toolkit toolkit;
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  ArcTk2Toolkit no_toolkit = nullptr;
  ArcTk2Archive no_archive = nullptr;
  ArcTk2Archive out = nullptr;
  uint32_t number = 0;
  void* data = nullptr;
  char text[64];
  const ArcStream record = file.Record();

  for (ArcTk2Toolkit* t : {static_cast<ArcTk2Toolkit*>(nullptr), &no_toolkit}) {
    EXPECT_EQ(ArcTk2_Close(t), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetToolkitLimits(t, 1, 1, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_EnableAggressiveMode(t, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetTypeEnabled(t, 1, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_GetTypeEnabled(t, 1, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetAllTypesEnabled(t, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(t, "."), BRIX_BAD_ARGUMENT);
    out = archive.handle;
    EXPECT_EQ(ArcTk2_OpenArchive(t, "x", &out), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(out, nullptr) << "set to null whatever comes";
    EXPECT_EQ(ArcTk2_OpenArchiveStream(t, &record, &out), BRIX_BAD_ARGUMENT);
  }
  for (ArcTk2Archive* a : {static_cast<ArcTk2Archive*>(nullptr), &no_archive}) {
    EXPECT_EQ(ArcTk2_GetNextFile(a, text, sizeof text), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetArchiveLimits(a, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(a, "."), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_GetDepth(a, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ArchiveGetTopLevelType(a, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ArchiveGetCurrentType(a, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_GetMemberStatus(a, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_CloseArchive(a), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ExtractToMemory(a, &data, &number), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ExtractToFile(a, "x"), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ExtractToTempFile(a, text, sizeof text), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(ArcTk2_ExtractToStream(a, &record), BRIX_BAD_ARGUMENT);
  }
  EXPECT_EQ(ArcTk2_Init(nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_OpenArchive(&toolkit.handle, nullptr, &out), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_OpenArchive(&toolkit.handle, "x", nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_OpenArchiveStream(&toolkit.handle, nullptr, &out), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_OpenArchiveStream(&toolkit.handle, &record, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_GetNextFile(&archive.handle, nullptr, 512), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_SetArchiveTempFileDirectory(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_GetDepth(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ArchiveGetTopLevelType(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ArchiveGetCurrentType(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_GetMemberStatus(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ExtractToMemory(&archive.handle, &data, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ExtractToFile(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, nullptr, 512), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ExtractToTempFile(&archive.handle, text, 0), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTk2_ExtractToStream(&archive.handle, nullptr), BRIX_BAD_ARGUMENT);
  ArcTk2_FreeMemory(nullptr);
}

TEST(Toolkit, IncompleteStreamRecordsAreRefused) {
  Toolkit toolkit;
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  ASSERT_EQ(archive.Next(), BRIX_OK);
  const struct {
    const char* label;
    void (*spoil)(ArcStream&);
    bool is_complete;
  } rows[] = {
      {"no set_size, no get_file_name", [](ArcStream&) {}, true},
      {"no close", [](ArcStream& r) { r.close = nullptr; }, false},
      {"no read", [](ArcStream& r) { r.read = nullptr; }, false},
      {"no write", [](ArcStream& r) { r.write = nullptr; }, false},
      {"no get_size", [](ArcStream& r) { r.get_size = nullptr; }, false},
  };
  for (const auto& row : rows) {
    ArcStream record = file.Record();
    row.spoil(record);
    ArcTk2Archive opened = nullptr;
    const int32_t expected = row.is_complete ? BRIX_OK : BRIX_BAD_ARGUMENT;
    EXPECT_EQ(ArcTk2_OpenArchiveStream(&toolkit.handle, &record, &opened), expected) << row.label;
    if (row.is_complete) {
      EXPECT_EQ(ArcTk2_CloseArchive(&opened), BRIX_OK);
    }
    HostFile out;
    ArcStream target = out.Record();
    row.spoil(target);
    if (!row.is_complete) {
      EXPECT_EQ(ArcTk2_ExtractToStream(&archive.handle, &target), BRIX_BAD_ARGUMENT) << row.label;
    }
  }
  EXPECT_EQ(file.closes, 0) << "the host closes its streams";
}

TEST(Toolkit, OpeningReportsWhyItFailed) {
  Toolkit toolkit;
  const TempDir dir;
  const struct {
    const char* label;
    std::string path;
    int32_t status;
  } rows[] = {
      {"a container", dir.Write("good", Szdd("x")), BRIX_OK},
      {"no such file", dir.File("missing"), BRIX_BAD_ARGUMENT},
      {"a folder", dir.path(), BRIX_BAD_ARGUMENT},
      {"no name", "", BRIX_BAD_ARGUMENT},
      {"empty file", dir.Write("empty", Bytes()), BRIX_NOT_AN_ARCHIVE},
      {"plain text", dir.Write("text", Bytes().Text("nothing in here")), BRIX_NOT_AN_ARCHIVE},
  };
  for (const auto& row : rows) {
    Archive archive(toolkit, row.path);
    EXPECT_EQ(archive.status, row.status) << row.label;
    EXPECT_EQ(archive.handle != nullptr, row.status == BRIX_OK) << row.label;
  }
  EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, 100, 100, 0), BRIX_OK);
  EXPECT_EQ(Archive(toolkit, dir.File("good")).status, BRIX_NESTING_LIMIT);
  EXPECT_EQ(Archive(toolkit, dir.File("text")).status, BRIX_NESTING_LIMIT)
      << "the limit comes before detection";
}

TEST(Toolkit, CloseSetsTheVariablesToNull) {
  Toolkit toolkit;
  HostFile file{Szdd("x")};
  Archive archive(toolkit, file);
  EXPECT_EQ(ArcTk2_CloseArchive(&archive.handle), BRIX_OK);
  EXPECT_EQ(archive.handle, nullptr);
  EXPECT_EQ(ArcTk2_Close(&toolkit.handle), BRIX_OK);
  EXPECT_EQ(toolkit.handle, nullptr);
}

// Opening fails when the table of 2,048 open files is full, and every way out of an open gives its slot back.
TEST(Toolkit, OpenFilesAreCountedAndGivenBack) {
  constexpr size_t kSlots = 2048;
  Toolkit toolkit;
  const TempDir dir;
  const std::string good = dir.Write("good", Szdd("x"));
  const std::string text = dir.Write("text", Bytes().Text("nothing"));
  std::vector<std::unique_ptr<Archive>> open;
  int32_t status = BRIX_OK;
  while (open.size() <= kSlots && status == BRIX_OK) {
    open.push_back(std::make_unique<Archive>(toolkit, good));
    status = open.back()->status;
  }
  EXPECT_EQ(status, BRIX_BAD_ARGUMENT);
  const size_t most = open.size() - 1;
  // The system's own limit may lie below ours.
  EXPECT_LE(most, kSlots);
  EXPECT_GT(most, 200u);
  EXPECT_EQ(Archive(toolkit, text).status, BRIX_BAD_ARGUMENT);
  open.resize(most - 1);
  for (size_t i = 0; i < kSlots + 1; ++i) {
    ASSERT_EQ(Archive(toolkit, text).status, BRIX_NOT_AN_ARCHIVE) << "leaked after " << i;
  }
  EXPECT_EQ(Archive(toolkit, good).status, BRIX_OK);
}

}  // namespace
}  // namespace brix
