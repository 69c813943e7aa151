// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <brixcore/byname.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>

#include "api/support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

constexpr uint32_t kMebibyte = 1 << 20;

Lines messages;

void Note(const std::string& mark, const char* format, va_list args) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, args);
  messages.push_back(mark + text);
}
void WithLevel(uint32_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Note(std::to_string(level) + " ", format, args);
  va_end(args);
}
void Plain(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Note("- ", format, args);
  va_end(args);
}
void Throwing(uint32_t level, const char*, ...) {
  if (level != 0) throw level;
}

Bytes Plainly(std::string_view text) { return Bytes().Text(text); }

// A context whose temporary files go to a folder of its own, and an archive in another.
struct Names {
  TempDir input;
  TempDir temp;
  BrixDecompression context = InitDecompression();
  BrixNamedArchive archive = nullptr;

  explicit Names(const Bytes& content = Szdd("x")) {
    SetTemporaryDirectory(context, temp.path.c_str());
    archive = OpenArchiveFileNew(context, input.Write("outer", content).c_str());
  }
  Names(const Names&) = delete;
  Names& operator=(const Names&) = delete;
  ~Names() {
    CloseArchiveFile(archive);
    DeInitDecompression(context);
  }
  [[nodiscard]] uint32_t Error() const { return GetErrorValue(context); }

  // One line a member: level, container, name, and its content when that is short, or the extraction's error.
  Lines Walk() {
    Lines lines;
    for (const char* name = GetFirstFileName(archive); name != nullptr; name = GetNextFileName(archive)) {
      std::string line =
          std::to_string(GetArchiveLevel(archive)) + " " + GetArchiveName(archive) + " " + name;
      const char* path = ExtractCurrentFile(archive);
      const std::string content = path != nullptr ? ReadFile(path) : "error " + std::to_string(Error());
      if (content.size() < 16) line += " " + content;
      RemoveCurrentFile(archive);
      if (Error() != 0) line += " kept out " + std::to_string(Error());
      lines.push_back(line);
    }
    lines.push_back("end " + std::to_string(Error()));
    EXPECT_EQ(temp.List(), std::set<std::string>{}) << "no file stays";
    return lines;
  }
};

TEST(NameBased, RefusesHandlesWithoutTouchingTheErrorValue) {
  Names n(Plainly("123"));  // error 3
  for (BrixNamedArchive archive : {BrixNamedArchive{}, BRIX_NO_ARCHIVE}) {
    for (const auto call : {GetFirstFileName, GetNextFileName, ExtractCurrentFile, GetArchiveName}) {
      EXPECT_EQ(call(archive), nullptr);
    }
    EXPECT_EQ(GetArchiveLevel(archive), 0u);
    for (const auto call : {RemoveCurrentFile, EnableUUandMIME, DisableUUandMIME, CloseArchiveFile})
      call(archive);
    SetArchiveLimits(archive, 1, 1, 1);
    ChangeArchiveRecursionType(archive, 1);
    EXPECT_EQ(EnableArchiveChange(archive), 0u);
    EXPECT_EQ(n.Error(), 3u);
  }
  EXPECT_EQ(GetErrorValue(nullptr), 204u);
  EXPECT_EQ(OpenArchiveFileNew(nullptr, "x"), nullptr);
  EXPECT_EQ(GetGatewayMode(nullptr), 0u);
  EXPECT_EQ(DecompressMSCompressedFile(nullptr, "x", nullptr, 0), 0u);
  EXPECT_EQ(InitDecompressionWithExistingBuffer(), nullptr);
  SetTemporaryDirectory(nullptr, ".");
  SetThreadArchiveLimits(nullptr, 1, 1, 1);
  RegisterDebugLogCallbackFunction(nullptr, WithLevel);
  SetExtensionList(n.context, "zip", 1);
  EXPECT_EQ(n.Error(), 0u);
}

TEST(NameBased, OpeningTellsWhatIsWrong) {
  for (const Bytes& content : {Szdd("x").CutTo(3), Plainly("plain")}) {
    const Names n(content);
    EXPECT_EQ(n.archive, BRIX_NO_ARCHIVE);
    EXPECT_EQ(n.Error(), 3u) << Text(content);
  }
  const Names n;
  EXPECT_EQ(OpenArchiveFileNew(n.context, n.input.File("missing").c_str()), BRIX_NO_ARCHIVE);
  EXPECT_EQ(n.Error(), 8u);
  EXPECT_EQ(OpenArchiveFileNew(n.context, nullptr), BRIX_NO_ARCHIVE);
  EXPECT_EQ(n.Error(), 204u);
}

Bytes Nested() {
  return Zip({{"folder/a.txt", Plainly("first")},
              {"dir\\inner.zip", Zip({{"b.sz", Szdd("deep content")}, {"c", Plainly("C")}})},
              {"last", Plainly("L")}});
}

TEST(NameBased, WalksDepthFirst) {
  Names n(Nested());
  const Lines lines = {"1 outer folder/a.txt first",
                       "1 outer dir\\inner.zip",
                       "2 inner.zip b.sz",
                       "3 b.sz unknown deep content",
                       "2 inner.zip c C",
                       "1 outer last L",
                       "end 0"};
  EXPECT_EQ(n.Walk(), lines);
  EXPECT_EQ(GetNextFileName(n.archive), nullptr) << "the end is final";
  EXPECT_EQ(n.Error(), 0u);
  EXPECT_EQ(ExtractCurrentFile(n.archive), nullptr);
  EXPECT_EQ(n.Error(), 7u);
  EXPECT_EQ(n.Walk(), lines) << "the first name starts it again";
}

TEST(NameBased, RecursionTypesAndNestingLimits) {
  const std::string outer = "1 outer unknown";
  const std::string leaf = "2 unknown unknown x";
  const struct {
    const char* label;
    uint32_t recursion_type;
    uint32_t context_level;
    uint32_t own_level;  // 99: no limits of its own
    Lines lines;
  } rows[] = {
      {"type 0 is type 2", 0, 3, 99, {outer, leaf, "end 0"}},
      {"type 1", 1, 3, 99, {outer, "end 0"}},
      {"type 3 asks for no limit", 3, 1, 99, {outer, "end 0"}},
      {"the context's limit", 2, 1, 99, {outer + " kept out 17", "end 0"}},
      {"a leaf at the limit", 2, 2, 99, {outer, leaf + " kept out 17", "end 0"}},
      {"the archive's own is in force", 2, 1, 3, {outer, leaf, "end 0"}},
      {"and the other way", 2, 3, 1, {outer + " kept out 17", "end 0"}},
  };
  for (const auto& row : rows) {
    Names n(Szdd(Szdd("x")));
    SetThreadArchiveLimits(n.context, row.context_level, 1000, 50);  // reaches open archives
    if (row.own_level != 99) SetArchiveLimits(n.archive, row.own_level, 1000, 50);
    ChangeArchiveRecursionType(n.archive, row.recursion_type);
    EXPECT_EQ(n.Walk(), row.lines) << row.label;
  }
}

TEST(NameBased, KeepsWrappingMebibytesInItsLimits) {
  const struct {
    const char* label;
    uint32_t size;
    uint32_t max_ratio;
    uint32_t mebibytes;
    uint32_t error;
  } rows[] = {
      {"one byte below", kMebibyte - 1, 1000, 1, 0}, {"one byte beyond", kMebibyte + 1, 1000, 1, 17},
      {"MiB wrap to 0", 1, 1000, 4096, 17},          {"MiB wrap to 1", kMebibyte - 1, 1000, 4097, 0},
      {"ratio reached", 10000, 8, 50, 17},           {"not reached: of 1,204", 10000, 9, 50, 0},
  };
  for (const auto& row : rows) {
    Names n(SzddOfSpaces(row.size));
    SetThreadArchiveLimits(n.context, 10, row.max_ratio, row.mebibytes);
    ChangeArchiveRecursionType(n.archive, 1);
    ASSERT_NE(GetFirstFileName(n.archive), nullptr);
    const char* path = ExtractCurrentFile(n.archive);
    EXPECT_EQ(n.Error(), row.error) << row.label;
    EXPECT_EQ(path != nullptr ? ReadFile(path).size() : 0, row.error == 0 ? row.size : 0) << row.label;
    EXPECT_EQ(n.temp.List().size(), row.error == 0 ? 1u : 0u) << row.label;
    RemoveCurrentFile(n.archive);
    EXPECT_EQ(n.Error(), row.error) << "a limit's error stays: " << row.label;
  }
  // A nested container smaller than its parent lowers the base: 144 bytes are more than 4 times its 31.
  Names n(Zip({{"small", SzddOfSpaces(144)}, {"pad", Bytes().Fill(300, 1)}}));
  SetArchiveLimits(n.archive, 10, 4, 50);
  EXPECT_EQ(n.Walk(), (Lines{"1 outer small", "2 small unknown error 17", "1 outer pad", "end 0"}));
}

TEST(NameBased, ExtractionErrorsOfHandlers) {
  const std::pair<Bytes, uint32_t> rows[] = {{Szdd("x").CutTo(12), 2},
                                             {Bytes(Fixture("zip/encrypted.zip")), 4},
                                             {Bytes(Fixture("zip/ppmd.zip")), 10}};
  for (const auto& [content, error] : rows) {
    const Names n(content);
    ASSERT_NE(GetFirstFileName(n.archive), nullptr) << error;
    EXPECT_EQ(ExtractCurrentFile(n.archive), nullptr);
    EXPECT_EQ(n.Error(), error);
    EXPECT_EQ(n.temp.List(), std::set<std::string>{});
  }
}

// The directory's second record is damaged: the archive opens, and fails on the way to its second member.
TEST(NameBased, DamagedContainersEndTheirLevelOnly) {
  Bytes damaged = Zip({{"a", Plainly("1")}, {"b", Plainly("2")}});
  damaged.PatchU8(damaged.size() - 22 - 47, 'X');
  Names outermost(damaged);
  EXPECT_EQ(outermost.Walk(), (Lines{"1 outer a 1", "end 10"}));
  EXPECT_EQ(GetNextFileName(outermost.archive), nullptr);
  EXPECT_EQ(outermost.Error(), 10u) << "it stays damaged";
  Names nested(Zip({{"n", damaged}, {"z", Plainly("Z")}}));
  EXPECT_EQ(nested.Walk(), (Lines{"1 outer n", "2 n a 1", "1 outer z Z", "end 0"}));
}

// A ZIP whose first kilobyte also passes for mail.
TEST(NameBased, MailThatIsDisabledYieldsNamesOnly) {
  const Bytes mail = Zip({{"m", Plainly("\nFrom: me\n")}});
  const struct {
    Bytes content;
    bool enabled;
    Lines lines;
  } rows[] = {{mail, true, {"1 outer m \nFrom: me\n", "end 0"}},
              {mail, false, {"1 outer m error 0", "end 0"}},
              {Zip({{"a", Plainly("b")}}), false, {"1 outer a b", "end 0"}},
              {Szdd(mail), false, {"1 outer unknown", "2 unknown m \nFrom: me\n", "end 0"}}};
  for (const auto& row : rows) {
    Names n(row.content);
    DisableUUandMIME(n.archive);
    if (row.enabled) EnableUUandMIME(n.archive);
    EXPECT_EQ(n.Walk(), row.lines);
  }
}

TEST(NameBased, TemporaryDirectory) {
  const Names n;
  const std::string dir = n.temp.path;
  const std::string first = dir + "/arc0000.tmp";
  const struct {
    const char* label;
    std::string path;
    uint32_t error;
    std::string made;
  } rows[] = {{"slash at the end", dir + "/", 0, first},
              {"512 bytes", std::string(512, 'x'), 201, first},
              {"empty", "", 204, first},
              {"backslash at the end", dir + "\\", 0, first},
              {"missing", dir + "/none", 207, "arc0000.tmp"},
              {"511 bytes", std::string(511, 'x'), 207, "arc0000.tmp"}};
  ASSERT_NE(GetFirstFileName(n.archive), nullptr);
  for (const auto& row : rows) {
    SetTemporaryDirectory(n.context, row.path.c_str());
    EXPECT_EQ(n.Error(), row.error) << row.label;
    EXPECT_STREQ(ExtractCurrentFile(n.archive), row.made.c_str()) << row.label;
    RemoveCurrentFile(n.archive);
  }
  const TempDir gone;
  SetTemporaryDirectory(n.context, gone.path.c_str());
  std::filesystem::remove(gone.path);
  EXPECT_EQ(ExtractCurrentFile(n.archive), nullptr);
  EXPECT_EQ(n.Error(), 12u);
}

TEST(NameBased, KeepsFilesThatAreNotHandedBack) {
  Names n;
  ASSERT_NE(GetFirstFileName(n.archive), nullptr);
  for (int i = 0; i < 3; ++i) ASSERT_NE(ExtractCurrentFile(n.archive), nullptr);
  RemoveCurrentFile(n.archive);
  CloseArchiveFile(std::exchange(n.archive, nullptr));
  EXPECT_EQ(n.temp.List(), (std::set<std::string>{"arc0000.tmp", "arc0001.tmp"}));
}

TEST(NameBased, MessagesGoToBothCallbacksWithTheLevelFirst) {
  Names n(Zip({{"m", Plainly("\nFrom: me\n")}}));
  RegisterDebugLogCallbackFunction(n.context, WithLevel);
  EXPECT_EQ(messages, Lines{}) << "these go to what was registered before";
  RegisterDebugLogCallbackFunctionNoLevel(n.context, Plain);
  messages.clear();
  SetGatewayMode(n.context, 7);
  EXPECT_EQ(messages, (Lines{"0 Entering: SetGatewayMode()", "- Entering: SetGatewayMode()",
                             "0 Returning from: SetGatewayMode()", "- Returning from: SetGatewayMode()"}));
  EXPECT_EQ(GetGatewayMode(n.context), 7u);
  RegisterDebugLogCallbackFunctionNoLevel(n.context, nullptr);
  messages.clear();
  CloseArchiveFile(n.archive);
  n.archive = OpenArchiveFileNew(n.context, n.input.File("outer").c_str());
  ChangeArchiveRecursionType(n.archive, 1);  // the member is mail too
  GetFirstFileName(n.archive);
  const std::string path = ExtractCurrentFile(n.archive);
  RemoveCurrentFile(n.archive);
  SetArchiveLimits(n.archive, 10, 0, 0);
  ExtractCurrentFile(n.archive);
  DisableUUandMIME(n.archive);
  ExtractCurrentFile(n.archive);
  std::erase_if(messages, [](const std::string& line) { return line[0] == '0'; });
  EXPECT_EQ(messages, (Lines{"6 Archive opened: " + n.input.File("outer"),
                             "7 extraction successful: m extracted to " + path, "6 Deleting file: " + path,
                             "7 extraction failed: m", "7 not extracting (mail archive disabled): m"}));
  messages.clear();
  CloseArchiveFile(std::exchange(n.archive, nullptr));
  DeInitDecompression(std::exchange(n.context, nullptr));
  EXPECT_EQ(messages,
            (Lines{"0 Entering: CloseArchiveFile()", "0 Returning from: CloseArchiveFile()",
                   "0 Entering: DeInitDecompression()", "0 Returning from: DeInitDecompression()"}));
}

TEST(NameBased, ACallbackThatThrowsCostsTheCallNotTheProcess) {
  const Names n;
  RegisterDebugLogCallbackFunction(n.context, Throwing);
  EXPECT_EQ(OpenArchiveFileNew(n.context, n.input.File("outer").c_str()), BRIX_NO_ARCHIVE);
  EXPECT_EQ(n.Error(), 10u);
}

TEST(NameBased, DecompressesOneMicrosoftFile) {
  const struct {
    Bytes content;
    uint32_t deletes;
    uint32_t error;
  } rows[] = {{Szdd("hello"), 0, 0}, {Szdd("hello"), 1, 0}, {Nested(), 1, 3}, {Szdd("x").CutTo(12), 1, 2}};
  for (const auto& row : rows) {
    const Names n;
    const std::string source = n.input.Write("setup.ex_", row.content);
    const bool works = row.error == 0;
    char path[BRIX_PATH_SIZE] = "untouched";
    EXPECT_EQ(DecompressMSCompressedFile(n.context, source.c_str(), path, row.deletes), works ? 1u : 0u);
    EXPECT_EQ(n.Error(), row.error);
    EXPECT_EQ(std::filesystem::exists(source), !works || row.deletes == 0);
    EXPECT_EQ(works ? ReadFile(path) : path, works ? "hello" : "untouched");
    EXPECT_EQ(DecompressMSCompressedFile(n.context, n.input.File("none").c_str(), path, 0), 0u);
    EXPECT_EQ(n.Error(), 205u);
    EXPECT_EQ(DecompressMSCompressedFile(n.context, source.c_str(), nullptr, 0), 0u);
    EXPECT_EQ(n.Error(), 204u);
  }
}

TEST(NameBased, ChangesAreRefusedAndTheWalkGoesOn) {
  Names n;
  for (const auto call : {EnableArchiveChange, AbortArchiveChange, FinishArchiveChange,
                          DeleteCurrentFileInArchive, CheckDeletePending}) {
    EXPECT_EQ(call(n.archive), 0u);
    EXPECT_EQ(n.Error(), 10u);
  }
  EXPECT_EQ(AddFileToArchive(n.archive, "a", "b"), 0u);
  EXPECT_EQ(ReplaceCurrentFileInArchive(n.archive, "a"), 0u);
  EXPECT_EQ(CreateArchiveFileNew(InitCompression(), "a.zip", 9), nullptr);
  EXPECT_EQ(AddFileToCompressedArchive(nullptr, "a", "b"), 0u);
  EXPECT_EQ(CloseNewArchiveFile(nullptr), 0u);
  DeInitCompression(nullptr);
  EXPECT_EQ(n.Walk(), (Lines{"1 outer unknown x", "end 0"}));
}

}  // namespace
}  // namespace brix
