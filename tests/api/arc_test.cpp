// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cstring>

#include "api/support.h"

namespace brix {
namespace {

struct Arc {
  ArcArchive handle = nullptr;
  explicit Arc(HostFile& file) {
    const ArcStream record = file.Record();
    EXPECT_EQ(ArcOpenArchive(&record, &handle), BRIX_OK);
  }
  Arc(const Arc&) = delete;
  Arc& operator=(const Arc&) = delete;
  ~Arc() { EXPECT_EQ(ArcCloseArchive(handle), BRIX_OK); }

  std::string Name() {
    char name[512];
    uint32_t size = sizeof name;
    const int32_t status = ArcGetMemberName(handle, name, &size);
    return status == BRIX_OK ? name : std::to_string(status);
  }
  std::string Extract() {
    HostFile target;
    const ArcStream record = target.Record();
    const int32_t status = ArcExtractMember(handle, &record);
    EXPECT_EQ(target.closes, 0);
    return status == BRIX_OK ? Text(target.content) : std::to_string(status);
  }
};

Bytes TwoMembers() { return Zip({{"a.txt", Bytes().Text("first")}, {"b", Bytes().Fill(9000, 'b')}}); }

TEST(Arc, WalksInOrderAndHasAMemberOnlyInBetween) {
  HostFile file{TwoMembers()};
  {
    Arc arc(file);
    EXPECT_EQ(arc.Name(), "-6") << "before the first";
    EXPECT_EQ(arc.Extract(), "-6");
    ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
    EXPECT_EQ(arc.Name(), "a.txt");
    EXPECT_EQ(arc.Extract(), "first");
    ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
    EXPECT_EQ(arc.Extract(), std::string(9000, 'b'));
    EXPECT_EQ(ArcNextMember(arc.handle), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(ArcNextMember(arc.handle), BRIX_NO_MORE_MEMBERS);
    EXPECT_EQ(arc.Name(), "-6");
    EXPECT_EQ(arc.Extract(), "-6");
  }
  EXPECT_EQ(file.closes, 0);
}

TEST(Arc, OpeningChecksItsArgumentsAndContent) {
  HostFile zip{TwoMembers()}, text{Bytes().Text("no archive at all")};
  const ArcStream good = zip.Record(), bad = text.Record();
  ArcStream no_read = good;
  no_read.read = nullptr;
  const struct {
    const ArcStream* stream;
    int32_t status;
  } rows[] = {{nullptr, BRIX_BAD_ARGUMENT},
              {&no_read, BRIX_BAD_ARGUMENT},
              {&bad, BRIX_NOT_AN_ARCHIVE},
              {&good, BRIX_OK}};
  for (const auto& row : rows) {
    auto plain = reinterpret_cast<ArcArchive>(&zip), change = plain;
    EXPECT_EQ(ArcOpenArchiveEx(row.stream, &plain, UINT32_MAX), row.status);
    EXPECT_EQ(ArcOpenModifyArchive(row.stream, &good, &change, 0), row.status);
    for (ArcArchive archive : {plain, change}) {  // null after a failure
      EXPECT_EQ(ArcCloseArchive(archive), row.status == BRIX_OK ? BRIX_OK : BRIX_BAD_ARGUMENT);
    }
  }
  ArcArchive archive = nullptr;
  EXPECT_EQ(ArcOpenArchive(&good, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcOpenModifyArchive(&good, nullptr, &archive, 0), BRIX_BAD_ARGUMENT);
}

TEST(Arc, DamagedDirectoryIsToldOnceAndEndsTheWalk) {
  HostFile file{TwoMembers()};
  const std::string text = Text(file.content);
  file.content.PatchU8(text.rfind("PK\x01\x02"), 'X');
  Arc arc(file);
  EXPECT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  EXPECT_EQ(ArcNextMember(arc.handle), BRIX_FAILED);
  EXPECT_EQ(arc.Extract(), "-6") << "the handler that failed is not asked again";
  EXPECT_EQ(ArcNextMember(arc.handle), BRIX_NO_MORE_MEMBERS);
}

TEST(Arc, TargetThatRefusesFailsTheExtractionAndKeepsWhatCame) {
  HostFile file{SzddOfSpaces(100000)};
  Arc arc(file);
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  HostFile target;
  target.fault_at = 2;
  const ArcStream record = target.Record();
  EXPECT_EQ(ArcExtractMember(arc.handle, &record), BRIX_FAILED);
  EXPECT_GT(target.content.size(), 0u);
  EXPECT_EQ(ArcExtractMember(arc.handle, nullptr), BRIX_BAD_ARGUMENT);
}

TEST(Arc, PropertiesFollowTheBufferProtocol) {
  const struct {
    const char* label;
    const char* name;
    uint32_t size;
    bool has_buffer;
    int32_t status;
    uint32_t result_size;
    std::string value;
  } rows[] = {
      {"name", "filename", 40, true, BRIX_OK, 6, std::string("a.txt\0", 6)},
      {"no room for the terminator", "filename", 5, true, BRIX_BUFFER_TOO_SMALL, 6, ""},
      {"length", "filelength", 4, true, BRIX_OK, 4, std::string("\5\0\0\0", 4)},
      {"length in three bytes", "filelength", 3, true, BRIX_BUFFER_TOO_SMALL, 4, ""},
      {"length's size", "filelength", 40, false, BRIX_BUFFER_TOO_SMALL, 4, ""},
      {"a type that the archive has not", "filetype", 40, true, BRIX_NO_PROPERTY, 40, ""},
      {"encoding", "fileencoding", 1, true, BRIX_OK, 1, std::string("\0", 1)},
      {"encoding in four bytes", "fileencoding", 4, true, BRIX_BAD_ARGUMENT, 4, ""},
      {"encoding without a buffer", "fileencoding", 1, false, BRIX_BAD_ARGUMENT, 1, ""},
      {"unknown", "colour", 9, true, BRIX_NO_PROPERTY, 9, ""},
      {"names are exact", "Filename", 9, true, BRIX_NO_PROPERTY, 9, ""},
  };
  HostFile file{TwoMembers()};
  Arc arc(file);
  ArcMemberProp record{"filename", nullptr, 5, 77};
  EXPECT_EQ(ArcGetNamedMemberProp(arc.handle, &record), BRIX_NO_CURRENT);
  EXPECT_EQ(record.result_size, 5u);
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  for (const auto& row : rows) {
    char buffer[41] = "........................................";
    const std::string expected = row.value + std::string(buffer).substr(row.value.size());
    uint32_t size = row.size;  // the buffer is not aligned
    EXPECT_EQ(ArcGetMemberProp(arc.handle, row.name, row.has_buffer ? buffer + 1 : nullptr, &size),
              row.status)
        << row.label;
    EXPECT_EQ(size, row.result_size) << row.label;
    EXPECT_EQ(std::string(buffer + 1, 39), expected.substr(0, 39)) << row.label;
  }
  EXPECT_EQ(ArcGetIndexedMemberProp(arc.handle, 0, &record), BRIX_BUFFER_TOO_SMALL);
  std::memset(record.name, 'n', sizeof record.name);
  EXPECT_EQ(ArcGetNamedMemberProp(arc.handle, &record), BRIX_BAD_ARGUMENT) << "without an end";
  uint32_t size = 40;
  EXPECT_EQ(ArcGetMemberProp(arc.handle, std::string(32, 'n').c_str(), &record, &size), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcGetMemberName(arc.handle, nullptr, &size), BRIX_BAD_ARGUMENT);
}

TEST(Arc, EncodingIsThatOfACabinetsNameOrSaysThatARarArchiveIsSolid) {
  const Bytes ansi{Fixture("cabinet/stored.cab")};
  const struct {
    Bytes file;
    int member;
    uint8_t encoding;
  } rows[] = {{ansi, 1, 1},
              {Bytes(ansi).PatchU8(0x3A, 0xA0), 1, 3},  // the attributes of its file
              {Bytes{Fixture("ppmd/solid.rar")}, 2, 2},
              {TwoMembers(), 1, 0}};
  for (const auto& row : rows) {
    HostFile file{row.file};
    Arc arc(file);
    uint8_t encoding = 99;
    uint32_t size = 1;
    for (int i = 0; i < row.member; ++i) ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
    EXPECT_EQ(ArcGetMemberProp(arc.handle, "fileencoding", &encoding, &size), BRIX_OK);
    EXPECT_EQ(encoding, row.encoding);
  }
}

TEST(Arc, InterruptsNestAndEachResumeUndoesTheLatest) {
  HostFile outer{TwoMembers()}, inner{Szdd("inner")}, text{Bytes().Text("no archive")};
  ArcStream first = inner.Record(), second = first, no_archive = text.Record(), *stream = &no_archive;
  Arc arc(outer);
  ArcArchive const original = arc.handle;
  void* value = &text;
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  EXPECT_EQ(ArcResume(&arc.handle, &stream, &value), BRIX_NO_CURRENT);
  EXPECT_EQ(ArcResume(&arc.handle, nullptr, &value), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(stream, &no_archive) << "unchanged";
  EXPECT_EQ(ArcInterrupt(&arc.handle, &no_archive, nullptr), BRIX_NOT_AN_ARCHIVE);
  EXPECT_EQ(arc.handle, original);
  ASSERT_EQ(ArcInterrupt(&arc.handle, &first, &inner), BRIX_OK);
  ASSERT_EQ(ArcInterrupt(&arc.handle, &second, nullptr), BRIX_OK);
  EXPECT_EQ(ArcResume(&arc.handle, &stream, nullptr), BRIX_OK);
  EXPECT_EQ(stream, &second);
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  EXPECT_EQ(arc.Extract(), "inner");
  EXPECT_EQ(ArcResume(&arc.handle, &stream, &value), BRIX_OK);
  EXPECT_EQ(stream, &first);
  EXPECT_EQ(value, &inner);
  EXPECT_EQ(arc.handle, original);
  EXPECT_EQ(arc.Name(), "a.txt") << "where it stood";
  for (int i = 0; i < 9; ++i) {  // left to the closing of the handle, all of them
    ASSERT_EQ(ArcInterrupt(&arc.handle, &first, nullptr), BRIX_OK);
  }
}

TEST(Arc, ChangingIsRefusedAndChangesNothing) {
  HostFile file{TwoMembers()}, output;
  const ArcStream record = file.Record(), out = output.Record();
  ArcArchive archive = nullptr;
  ASSERT_EQ(ArcOpenModifyArchive(&record, &out, &archive, 0), BRIX_OK);
  ASSERT_EQ(ArcNextMember(archive), BRIX_OK);
  EXPECT_EQ(ArcDeleteMember(archive), BRIX_FAILED);
  EXPECT_EQ(ArcAddMember(archive, &record, nullptr, 0), BRIX_FAILED);
  EXPECT_EQ(ArcAddMember(archive, &record, nullptr, 1), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcSetMemberProp(nullptr, nullptr) + ArcCreateMember(nullptr, nullptr, 9), 2 * BRIX_FAILED);
  EXPECT_EQ(ArcNextMember(archive), BRIX_OK);
  EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
  EXPECT_EQ(output.calls + output.closes, 0);
}

TEST(Arc, VersionAndInitialisedRecords) {
  uint32_t version[4] = {};
  EXPECT_EQ(ArcVersion(version), BRIX_OK);
  EXPECT_EQ(std::vector<uint32_t>(version, version + 4), (std::vector<uint32_t>{8, 2, 4, 0}));
  for (const auto init : {ArcInitStream, ArcTkInitStream}) {
    ArcStream stream{};
    ASSERT_EQ(init(&stream), BRIX_OK);
    EXPECT_EQ(init(nullptr), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(stream.close(stream.context), BRIX_FAILED);
    EXPECT_EQ(stream.get_file_name(nullptr, nullptr, 0), BRIX_FAILED);
  }
}

}  // namespace
}  // namespace brix
