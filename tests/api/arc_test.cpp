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
  HostFile zip{TwoMembers()}, text{Bytes().Text("no archive at all")}, empty;
  const ArcStream good = zip.Record(), bad = text.Record(), none = empty.Record();
  ArcStream no_read = good, failing{};
  no_read.read = nullptr;
  EXPECT_EQ(ArcInitStream(&failing), BRIX_OK);
  const struct {
    const char* label;
    const ArcStream* stream;
    int32_t status;
  } rows[] = {{"null", nullptr, BRIX_BAD_ARGUMENT},      {"incomplete", &no_read, BRIX_BAD_ARGUMENT},
              {"no archive", &bad, BRIX_NOT_AN_ARCHIVE}, {"empty", &none, BRIX_NOT_AN_ARCHIVE},
              {"fails", &failing, BRIX_NOT_AN_ARCHIVE},  {"an archive", &good, BRIX_OK}};
  for (const auto& row : rows) {
    const auto not_null = reinterpret_cast<ArcArchive>(&zip);
    ArcArchive plain = not_null, flags = not_null, change = not_null;
    EXPECT_EQ(ArcOpenArchive(row.stream, &plain), row.status) << row.label;
    EXPECT_EQ(ArcOpenArchiveEx(row.stream, &flags, UINT32_MAX), row.status) << row.label;
    EXPECT_EQ(ArcOpenModifyArchive(row.stream, &good, &change, 0), row.status) << row.label;
    for (ArcArchive archive : {plain, flags, change}) {
      EXPECT_EQ(archive != nullptr, row.status == BRIX_OK) << row.label;
      EXPECT_EQ(ArcCloseArchive(archive), row.status == BRIX_OK ? BRIX_OK : BRIX_BAD_ARGUMENT);
    }
  }
  ArcArchive archive = nullptr;
  EXPECT_EQ(ArcOpenArchive(&good, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcOpenModifyArchive(&good, nullptr, &archive, 0), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcOpenModifyArchive(&good, &no_read, &archive, 0), BRIX_BAD_ARGUMENT);
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
      {"name that fits just", "filename", 6, true, BRIX_OK, 6, std::string("a.txt\0", 6)},
      {"no room for the terminator", "filename", 5, true, BRIX_BUFFER_TOO_SMALL, 6, ""},
      {"name's size", "filename", 0, false, BRIX_BUFFER_TOO_SMALL, 6, ""},
      {"length", "filelength", 4, true, BRIX_OK, 4, std::string("\5\0\0\0", 4)},
      {"length in three bytes", "filelength", 3, true, BRIX_BUFFER_TOO_SMALL, 4, ""},
      {"length's size", "filelength", 40, false, BRIX_BUFFER_TOO_SMALL, 4, ""},
      {"a type that the archive has not", "filetype", 40, true, BRIX_NO_PROPERTY, 40, ""},
      {"its size", "filetype", 40, false, BRIX_BUFFER_TOO_SMALL, 40, ""},
      {"encoding", "fileencoding", 1, true, BRIX_OK, 1, std::string("\0", 1)},
      {"encoding in four bytes", "fileencoding", 4, true, BRIX_BAD_ARGUMENT, 4, ""},
      {"encoding in none", "fileencoding", 0, true, BRIX_BAD_ARGUMENT, 0, ""},
      {"encoding without a buffer", "fileencoding", 1, false, BRIX_BAD_ARGUMENT, 1, ""},
      {"unknown", "colour", 9, true, BRIX_NO_PROPERTY, 9, ""},
      {"unknown, 31 bytes long", "2345678901234567890123456789012", 9, true, BRIX_NO_PROPERTY, 9, ""},
      {"names are exact", "Filename", 9, true, BRIX_NO_PROPERTY, 9, ""},
  };
  HostFile file{TwoMembers()};
  Arc arc(file);
  for (const bool on_member : {false, true}) {
    if (on_member) {
      ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
    }
    for (const auto& row : rows) {
      const int32_t status = on_member ? row.status : BRIX_NO_CURRENT;
      const std::string value = on_member ? row.value : "";
      const uint32_t result_size = on_member ? row.result_size : row.size;
      char by_record[41] = "........................................";
      char by_name[41] = "........................................";
      const std::string expected = value + std::string(by_name).substr(value.size());
      ArcMemberProp record{"", row.has_buffer ? by_record + 1 : nullptr, row.size, 77};  // not aligned
      std::strcpy(record.name, row.name);
      EXPECT_EQ(ArcGetNamedMemberProp(arc.handle, &record), status) << row.label;
      EXPECT_EQ(record.result_size, result_size) << row.label;
      EXPECT_EQ(std::string(by_record + 1, 39), expected.substr(0, 39)) << row.label;
      uint32_t size = row.size;
      EXPECT_EQ(ArcGetMemberProp(arc.handle, row.name, row.has_buffer ? by_name : nullptr, &size), status);
      EXPECT_EQ(size, result_size) << row.label;
      EXPECT_EQ(std::string(by_name, 40), expected) << row.label;
    }
    ArcMemberProp record{"kept", nullptr, 5, 77};
    EXPECT_EQ(ArcGetIndexedMemberProp(arc.handle, 0, &record),
              on_member ? BRIX_BUFFER_TOO_SMALL : BRIX_NO_CURRENT);
    EXPECT_EQ(record.result_size, 5u);
  }
  uint32_t size = 40;
  char value[40];
  EXPECT_EQ(ArcGetMemberProp(arc.handle, "12345678901234567890123456789012", value, &size),
            BRIX_BAD_ARGUMENT);
  ArcMemberProp endless{"", value, 40, 0};
  std::memset(endless.name, 'n', sizeof endless.name);
  EXPECT_EQ(ArcGetNamedMemberProp(arc.handle, &endless), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcGetMemberName(arc.handle, nullptr, &size), BRIX_BAD_ARGUMENT);
}

TEST(Arc, InterruptsNestAndEachResumeUndoesTheLatest) {
  HostFile outer{TwoMembers()}, middle{Szdd("m")}, inner{Zip({{"i", Bytes().Text("inner")}})};
  HostFile text{Bytes().Text("no archive")};
  ArcStream middle_record = middle.Record(), inner_record = inner.Record(), text_record = text.Record();
  Arc arc(outer);
  ArcArchive const original = arc.handle;
  ArcStream* stream = &text_record;
  void* value = &text;
  EXPECT_EQ(ArcResume(&arc.handle, &stream, &value), BRIX_NO_CURRENT);
  EXPECT_EQ(ArcResume(&arc.handle, nullptr, &value), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(stream, &text_record) << "unchanged";
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);

  EXPECT_EQ(ArcInterrupt(&arc.handle, &text_record, nullptr), BRIX_NOT_AN_ARCHIVE);
  EXPECT_EQ(ArcInterrupt(&arc.handle, nullptr, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(arc.handle, original);
  ASSERT_EQ(ArcInterrupt(&arc.handle, &middle_record, &middle), BRIX_OK);
  ASSERT_EQ(ArcInterrupt(&arc.handle, &inner_record, nullptr), BRIX_OK);
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  EXPECT_EQ(arc.Extract(), "inner");

  EXPECT_EQ(ArcResume(&arc.handle, &stream, &value), BRIX_OK);
  EXPECT_EQ(stream, &inner_record);
  EXPECT_EQ(value, nullptr);
  ASSERT_EQ(ArcNextMember(arc.handle), BRIX_OK);
  EXPECT_EQ(arc.Extract(), "m");
  EXPECT_EQ(ArcResume(&arc.handle, &stream, nullptr), BRIX_OK);
  EXPECT_EQ(stream, &middle_record);
  EXPECT_EQ(arc.handle, original);
  EXPECT_EQ(arc.Name(), "a.txt") << "where it stood";
  for (int i = 0; i < 1000; ++i) {  // left to the closing of the handle, all of them
    ASSERT_EQ(ArcInterrupt(&arc.handle, &middle_record, nullptr), BRIX_OK);
  }
  EXPECT_EQ(middle.closes + inner.closes, 0);
}

TEST(Arc, ChangingIsRefusedAndChangesNothing) {
  HostFile file{TwoMembers()}, output;
  const ArcStream record = file.Record(), out = output.Record();
  ArcArchive archive = nullptr;
  ASSERT_EQ(ArcOpenModifyArchive(&record, &out, &archive, 0), BRIX_OK);
  ASSERT_EQ(ArcNextMember(archive), BRIX_OK);
  EXPECT_EQ(ArcDeleteMember(archive), BRIX_FAILED);
  EXPECT_EQ(ArcDeleteMember(nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcAddMember(archive, &record, nullptr, 0), BRIX_FAILED);
  EXPECT_EQ(ArcAddMember(archive, &record, nullptr, 1), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcSetMemberProp(nullptr, nullptr), BRIX_FAILED);
  EXPECT_EQ(ArcCreateMember(nullptr, nullptr, 9), BRIX_FAILED);
  EXPECT_EQ(ArcNextMember(archive), BRIX_OK);
  EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
  EXPECT_EQ(output.calls + output.closes, 0);
}

TEST(Arc, VersionAndInitialisedRecords) {
  uint32_t version[4] = {};
  EXPECT_EQ(ArcVersion(version), BRIX_OK);
  EXPECT_EQ(std::vector<uint32_t>(version, version + 4), (std::vector<uint32_t>{8, 2, 4, 0}));
  EXPECT_EQ(ArcVersion(nullptr), BRIX_BAD_ARGUMENT);
  for (const auto init : {ArcInitStream, ArcTkInitStream}) {
    ArcStream stream{};
    uint32_t out = 0;
    ASSERT_EQ(init(&stream), BRIX_OK);
    EXPECT_EQ(init(nullptr), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(stream.context, nullptr);
    const int32_t results[] = {stream.close(nullptr),
                               stream.read(nullptr, 0, &out, 4, &out),
                               stream.write(nullptr, 0, &out, 4),
                               stream.get_size(nullptr, &out),
                               stream.set_size(nullptr, 0, 0),
                               stream.get_file_name(nullptr, nullptr, 0)};
    for (const int32_t result : results) EXPECT_EQ(result, BRIX_FAILED);
  }
}

}  // namespace
}  // namespace brix
