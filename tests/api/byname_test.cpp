#include <brixcore/byname.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>

#include "api/support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

Lines messages;

void Record(const std::string& mark, const char* format, va_list args) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, args);
  messages.push_back(mark + text);
}
void WithLevel(uint32_t level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Record(std::to_string(level) + " ", format, args);
  va_end(args);
}
void Plain(const char* format, ...) {
  va_list args;
  va_start(args, format);
  Record("- ", format, args);
  va_end(args);
}

void Throwing(uint32_t level, const char*, ...) {
  if (level != 0) throw level;
}

// A context whose temporary files go to a folder of its own, and a folder for input.
struct Names {
  TempDir input;
  TempDir temp;
  BrixDecompression context = InitDecompression();
  BrixNamedArchive archive = nullptr;

  Names() { SetTemporaryDirectory(context, temp.path().c_str()); }
  Names(const Names&) = delete;
  Names& operator=(const Names&) = delete;
  ~Names() {
    CloseArchiveFile(archive);
    DeInitDecompression(context);
  }

  bool Open(const Bytes& content, const std::string& name = "outer") {
    archive = OpenArchiveFileNew(context, input.Write(name, content).c_str());
    return archive != BRIX_NO_ARCHIVE;
  }
  [[nodiscard]] uint32_t Error() const { return GetErrorValue(context); }

  // One line a member: level, container, member, and its content or the error of its extraction.
  Lines Walk(bool expects_no_files = true) {
    Lines lines;
    for (const char* name = GetFirstFileName(archive); name != nullptr && lines.size() < 100;
         name = GetNextFileName(archive)) {
      std::string line =
          std::to_string(GetArchiveLevel(archive)) + " " + GetArchiveName(archive) + " " + name;
      const char* path = ExtractCurrentFile(archive);
      const uint32_t error = Error();
      EXPECT_TRUE(path == nullptr || error == 0);
      line += path != nullptr ? "" : " error " + std::to_string(error);
      if (path != nullptr && ReadFile(path).size() < 20) line += " " + Text(ReadFile(path));
      RemoveCurrentFile(archive);
      if (Error() != 0) line += " kept out " + std::to_string(Error());
      lines.push_back(line);
    }
    lines.push_back("end " + std::to_string(Error()));
    if (expects_no_files) {
      EXPECT_EQ(temp.List(), Lines{});
    }
    return lines;
  }
};

TEST(NameBased, RefusesHandlesWithoutTouchingTheErrorValue) {
  Names n;
  EXPECT_EQ(OpenArchiveFileNew(n.context, n.input.File("missing").c_str()), BRIX_NO_ARCHIVE);
  for (BrixNamedArchive archive : {BrixNamedArchive{}, BRIX_NO_ARCHIVE}) {
    EXPECT_EQ(GetFirstFileName(archive), nullptr);
    EXPECT_EQ(GetNextFileName(archive), nullptr);
    EXPECT_EQ(ExtractCurrentFile(archive), nullptr);
    EXPECT_EQ(GetArchiveName(archive), nullptr);
    EXPECT_EQ(GetArchiveLevel(archive), 0u);
    EXPECT_EQ(EnableArchiveChange(archive), 0u);
    RemoveCurrentFile(archive);
    SetArchiveLimits(archive, 1, 1, 1);
    ChangeArchiveRecursionType(archive, 1);
    EnableUUandMIME(archive);
    DisableUUandMIME(archive);
    CloseArchiveFile(archive);
    EXPECT_EQ(n.Error(), 8u);
  }
  EXPECT_EQ(GetErrorValue(nullptr), 204u);
  EXPECT_EQ(OpenArchiveFileNew(nullptr, "x"), nullptr);
  EXPECT_EQ(GetGatewayMode(nullptr), 0u);
  EXPECT_EQ(DecompressMSCompressedFile(nullptr, "x", nullptr, 0), 0u);
  EXPECT_EQ(InitDecompressionWithExistingBuffer(), nullptr);
  SetTemporaryDirectory(nullptr, ".");
  SetThreadArchiveLimits(nullptr, 1, 1, 1);
  SetGatewayMode(nullptr, 1);
  SetExtensionList(nullptr, "zip");
  RegisterDebugLogCallbackFunction(nullptr, WithLevel);
  DeInitDecompression(nullptr);
}

TEST(NameBased, OpeningTellsWhatIsWrong) {
  const struct {
    const char* label;
    Bytes content;
    uint32_t error;
  } rows[] = {
      {"an archive", Szdd("x"), 0},
      {"3 bytes", Szdd("x").CutTo(3), 3},
      {"no known type", Bytes().Text("plain"), 3},
      {"a damaged directory opens", Zip({{"a", Bytes().Text("b")}}).PatchU8(0, 0), 3},
  };
  for (const auto& row : rows) {
    Names n;
    EXPECT_EQ(n.Open(row.content), row.error == 0) << row.label;
    EXPECT_EQ(n.Error(), row.error) << row.label;
  }
  Names n;
  EXPECT_EQ(OpenArchiveFileNew(n.context, nullptr), BRIX_NO_ARCHIVE);
  EXPECT_EQ(n.Error(), 204u);
  SetExtensionList(n.context, "zip", 1);
  EXPECT_EQ(n.Error(), 0u);
}

Bytes Nested() {
  return Zip({{"folder/a.txt", Bytes().Text("first")},
              {"dir\\inner.zip", Zip({{"b.sz", Szdd("deep content")}, {"c", Bytes().Text("C")}})},
              {"last", Bytes().Text("L")}});
}

TEST(NameBased, WalksDepthFirst) {
  Names n;
  ASSERT_TRUE(n.Open(Nested(), "outer.zip"));
  EXPECT_EQ(GetArchiveLevel(n.archive), 1u);
  const Lines lines = {"1 outer.zip folder/a.txt first",
                       "1 outer.zip dir\\inner.zip",
                       "2 inner.zip b.sz",
                       "3 b.sz unknown deep content",
                       "2 inner.zip c C",
                       "1 outer.zip last L",
                       "end 0"};
  EXPECT_EQ(n.Walk(), lines);
  EXPECT_EQ(GetNextFileName(n.archive), nullptr) << "the end is final";
  EXPECT_EQ(n.Error(), 0u);
  EXPECT_EQ(ExtractCurrentFile(n.archive), nullptr);
  EXPECT_EQ(n.Error(), 7u);
  EXPECT_EQ(n.Walk(), lines) << "the first name starts it again";
}

// Leaves are members that nothing was entered below.
TEST(NameBased, LeavesAreTheToolkitFamilys) {
  Names n;
  ASSERT_TRUE(n.Open(Nested()));
  Lines leaves;
  for (const char* name = GetFirstFileName(n.archive); name != nullptr; name = GetNextFileName(n.archive)) {
    const uint32_t level = GetArchiveLevel(n.archive);
    const std::string leaf = name;
    const char* path = ExtractCurrentFile(n.archive);
    const std::string content = path != nullptr ? Text(ReadFile(path)) : "";
    RemoveCurrentFile(n.archive);
    if (GetArchiveLevel(n.archive) == level) leaves.push_back(std::to_string(level) + leaf + content);
  }
  Toolkit toolkit;
  Archive archive(toolkit, n.input.File("outer"));
  Lines others;
  for (std::string last; archive.Next() == BRIX_OK;) {
    void* data = nullptr;
    uint32_t size = 0;
    const uint32_t depth = archive.Depth();
    if (!others.empty() && others.back()[0] - '1' < static_cast<int>(depth)) others.pop_back();
    ASSERT_EQ(ArcTk2_ExtractToMemory(&archive.handle, &data, &size), BRIX_OK);
    others.push_back(std::to_string(depth + 1) + archive.name + std::string(static_cast<char*>(data), size));
    ArcTk2_FreeMemory(data);
  }
  EXPECT_EQ(leaves, others);
  EXPECT_EQ(leaves.size(), 4u);
}

TEST(NameBased, RecursionTypesAndNestingLimits) {
  const Lines entered = {"1 outer unknown", "2 unknown unknown x", "end 0"};
  const Lines not_entered = {"1 outer unknown", "end 0"};
  const Lines kept_out = {"1 outer unknown kept out 17", "end 0"};
  const struct {
    const char* label;
    uint32_t recursion_type;
    uint32_t context_level;
    uint32_t archive_level;  // UINT32_MAX: no limits of its own
    Lines lines;
  } rows[] = {
      {"type 0 is type 2", 0, 2, UINT32_MAX, entered},
      {"type 1", 1, 10, UINT32_MAX, not_entered},
      {"type 3", 3, 1, UINT32_MAX, not_entered},
      {"the context's limit", 2, 1, UINT32_MAX, kept_out},
      {"the archive's own is in force", 2, 1, 3, {entered[0], "2 unknown unknown x", "end 0"}},
      {"and the other way", 2, 10, 1, kept_out},
      {"a leaf at the limit", 2, 10, 2, {entered[0], "2 unknown unknown x kept out 17", "end 0"}},
  };
  for (const auto& row : rows) {
    Names n;
    ASSERT_TRUE(n.Open(Szdd(Szdd("x").PadTo(40))));
    SetThreadArchiveLimits(n.context, row.context_level, 1000, 50);  // reaches open archives
    if (row.archive_level != UINT32_MAX) SetArchiveLimits(n.archive, row.archive_level, 1000, 50);
    ChangeArchiveRecursionType(n.archive, row.recursion_type);
    Lines expected = row.lines;
    if (row.context_level == 2) expected[1] += " kept out 17";  // the leaf lies in the last level allowed
    EXPECT_EQ(n.Walk(), expected) << row.label;
  }
}

TEST(NameBased, ExtractSizeAndRatio) {
  constexpr uint32_t kMebibyte = 1 << 20;
  const struct {
    const char* label;
    uint32_t size;
    uint32_t max_ratio;
    uint32_t mebibytes;
    uint32_t error;
  } rows[] = {
      {"one byte below the limit", kMebibyte - 1, 1000, 1, 0},
      {"one byte beyond the limit", kMebibyte + 1, 1000, 1, 17},
      {"MiB wrap to a limit of 0", 1, 1000, 4096, 17},
      {"MiB wrap to 1", kMebibyte - 1, 1000, 4097, 0},
      {"ratio reached", 10000, 8, 50, 17},  // 10,000 of 1,204
      {"ratio not reached", 10000, 9, 50, 0},
      {"ratio 0", 1, 0, 50, 17},
  };
  for (const auto& row : rows) {
    Names n;
    SetThreadArchiveLimits(n.context, 10, row.max_ratio, row.mebibytes);
    ASSERT_TRUE(n.Open(SzddOfSpaces(row.size)));
    ChangeArchiveRecursionType(n.archive, 1);
    ASSERT_STREQ(GetFirstFileName(n.archive), "unknown");
    const char* path = ExtractCurrentFile(n.archive);
    EXPECT_EQ(n.Error(), row.error) << row.label;
    EXPECT_EQ(path != nullptr, row.error == 0) << row.label;
    EXPECT_EQ(n.temp.List().size(), row.error == 0 ? 1u : 0u) << row.label;
    if (path != nullptr) {
      EXPECT_EQ(std::filesystem::file_size(path), row.size) << row.label;
    }
    RemoveCurrentFile(n.archive);
    EXPECT_EQ(n.Error(), row.error) << "a limit's error stays: " << row.label;
  }
}

// A nested container smaller than its parent lowers the base: 144 bytes are more than 4 times its 31.
TEST(NameBased, RatioIsMeasuredAtTheSmallestContainer) {
  Names n;
  const Bytes small = SzddOfSpaces(144);
  ASSERT_TRUE(n.Open(Zip({{"small", small}, {"pad", Bytes().Fill(300, 1)}})));
  SetArchiveLimits(n.archive, 10, 4, 50);
  const Lines lines = {"1 outer small", "2 small unknown error 17", "1 outer pad", "end 0"};
  EXPECT_EQ(n.Walk(), lines) << small.size();
}

TEST(NameBased, KeepsAMemberOfExactlyTheLimitBackThatTheToolkitHandsOver) {
  constexpr uint32_t kMebibyte = 1 << 20;
  Names n;
  SetThreadArchiveLimits(n.context, 10, 1000, 1);
  ASSERT_TRUE(n.Open(SzddOfSpaces(kMebibyte)));
  EXPECT_EQ(n.Walk(), (Lines{"1 outer unknown error 17", "end 0"}));
  Toolkit toolkit;
  EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit.handle, kMebibyte, 1000, 10), BRIX_OK);
  Archive archive(toolkit, n.input.File("outer"));
  ASSERT_EQ(archive.Next(), BRIX_OK);
  uint32_t size = 0;
  EXPECT_EQ(ArcTk2_ExtractToMemory(&archive.handle, nullptr, &size), BRIX_OK);
  EXPECT_EQ(size, kMebibyte);
}

TEST(NameBased, ExtractionErrorsOfHandlers) {
  const struct {
    const char* label;
    Bytes content;
    uint32_t error;
  } rows[] = {
      {"damaged", Szdd("x").CutTo(12), 2},
      {"encrypted", Bytes(Fixture("zip/encrypted.zip")), 4},
      {"a method that is not supported", Bytes(Fixture("zip/ppmd.zip")), 10},
  };
  for (const auto& row : rows) {
    Names n;
    ASSERT_TRUE(n.Open(row.content)) << row.label;
    ASSERT_NE(GetFirstFileName(n.archive), nullptr);
    EXPECT_EQ(ExtractCurrentFile(n.archive), nullptr) << row.label;
    EXPECT_EQ(n.Error(), row.error) << row.label;
    EXPECT_EQ(n.temp.List(), Lines{}) << row.label;
  }
}

// The directory's second record is damaged: the archive opens, and fails on the way to its second member.
TEST(NameBased, DamagedContainersEndTheirLevelOnly) {
  Bytes damaged = Zip({{"a", Bytes().Text("1")}, {"b", Bytes().Text("2")}});
  damaged.PatchU8(damaged.size() - 22 - 47, 'X');
  Names outermost;
  ASSERT_TRUE(outermost.Open(damaged));
  EXPECT_EQ(outermost.Walk(), (Lines{"1 outer a 1", "end 10"}));
  EXPECT_EQ(GetNextFileName(outermost.archive), nullptr) << "it stays damaged";
  EXPECT_EQ(outermost.Error(), 10u);
  Names nested;
  ASSERT_TRUE(nested.Open(Zip({{"n", damaged}, {"z", Bytes().Text("Z")}})));
  EXPECT_EQ(nested.Walk(), (Lines{"1 outer n", "2 n a 1", "1 outer z Z", "end 0"}));
}

// A ZIP whose first kilobyte also passes for mail.
TEST(NameBased, MailThatIsDisabledYieldsNamesOnly) {
  const Bytes mail = Zip({{"letter", Bytes().Text("\nSubject: hello\n")}});
  const struct {
    const char* label;
    Bytes content;
    bool enabled;
    Lines lines;
  } rows[] = {
      {"enabled", mail, true, {"1 outer letter \nSubject: hello\n", "end 0"}},
      {"disabled", mail, false, {"1 outer letter error 0", "end 0"}},
      {"no mail", Zip({{"a", Bytes().Text("b")}}), false, {"1 outer a b", "end 0"}},
      {"mail inside", Szdd(mail), false, {"1 outer unknown", "2 unknown letter \nSubject: hello\n", "end 0"}},
  };
  for (const auto& row : rows) {
    Names n;
    ASSERT_TRUE(n.Open(row.content)) << row.label;
    DisableUUandMIME(n.archive);
    if (row.enabled) EnableUUandMIME(n.archive);
    EXPECT_EQ(n.Walk(), row.lines) << row.label;
  }
}

TEST(NameBased, TemporaryDirectory) {
  Names n;
  const std::string dir = n.temp.path();
  const struct {
    const char* label;
    std::string path;
    uint32_t error;
    std::string prefix;  // of the file that is made then
  } rows[] = {
      {"slash at the end", dir + "/", 0, dir + "/arc0000.tmp"},
      {"too long", std::string(512, 'x'), 201, dir + "/arc0000.tmp"},
      {"empty", "", 204, dir + "/arc0000.tmp"},
      {"backslash at the end", dir + "\\", 0, dir + "/arc0000.tmp"},
      {"511 bytes", "." + std::string(509, '/') + ".", 0, ""},  // accepted, but no name fits
      {"missing", dir + "/none", 207, "arc0000.tmp"},
  };
  ASSERT_TRUE(n.Open(Szdd("x")));
  ASSERT_NE(GetFirstFileName(n.archive), nullptr);
  for (const auto& row : rows) {
    SetTemporaryDirectory(n.context, row.path.c_str());
    EXPECT_EQ(n.Error(), row.error) << row.label;
    const char* path = ExtractCurrentFile(n.archive);
    EXPECT_EQ(path != nullptr ? path : "", row.prefix) << row.label;
    EXPECT_EQ(n.Error(), path != nullptr ? 0u : 12u) << row.label;
    RemoveCurrentFile(n.archive);
  }
  SetTemporaryDirectory(n.context, nullptr);
  EXPECT_EQ(n.Error(), 204u);
}

TEST(NameBased, FilesThatAreNotHandedBackStay) {
  Names n;
  ASSERT_TRUE(n.Open(Szdd("x")));
  ASSERT_NE(GetFirstFileName(n.archive), nullptr);
  ASSERT_NE(ExtractCurrentFile(n.archive), nullptr);
  ASSERT_NE(ExtractCurrentFile(n.archive), nullptr);
  RemoveCurrentFile(n.archive);
  EXPECT_EQ(n.temp.List(), Lines{"arc0000.tmp"});
  ASSERT_NE(ExtractCurrentFile(n.archive), nullptr);
  CloseArchiveFile(std::exchange(n.archive, nullptr));
  EXPECT_EQ(n.temp.List(), (Lines{"arc0000.tmp", "arc0001.tmp"}));
}

TEST(NameBased, MessagesGoToBothCallbacksWithTheLevelFirst) {
  Names n;
  messages.clear();
  RegisterDebugLogCallbackFunction(n.context, WithLevel);
  EXPECT_EQ(messages, Lines{}) << "its own messages go to what was registered before";
  RegisterDebugLogCallbackFunctionNoLevel(n.context, Plain);
  messages.clear();
  SetGatewayMode(n.context, 7);
  EXPECT_EQ(messages, (Lines{"0 Entering: SetGatewayMode()", "- Entering: SetGatewayMode()",
                             "0 Returning from: SetGatewayMode()", "- Returning from: SetGatewayMode()"}));
  EXPECT_EQ(GetGatewayMode(n.context), 7u);
  RegisterDebugLogCallbackFunctionNoLevel(n.context, nullptr);
  const Bytes mail = Zip({{"m", Bytes().Text("\nSubject: hello\n")}});
  messages.clear();
  ASSERT_TRUE(n.Open(mail));
  GetFirstFileName(n.archive);
  const std::string path = ExtractCurrentFile(n.archive);
  RemoveCurrentFile(n.archive);
  SetArchiveLimits(n.archive, 10, 0, 0);
  ExtractCurrentFile(n.archive);
  DisableUUandMIME(n.archive);
  ExtractCurrentFile(n.archive);
  Lines found;
  for (const std::string& line : messages) {
    if (line[0] != '0') found.push_back(line);
  }
  EXPECT_EQ(found, (Lines{"6 Archive opened: " + n.input.File("outer"),
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
  Names n;
  RegisterDebugLogCallbackFunction(n.context, Throwing);
  ASSERT_FALSE(n.Open(Szdd("x")));
  EXPECT_EQ(n.Error(), 10u);
}

TEST(NameBased, DecompressesOneMicrosoftFile) {
  const struct {
    const char* label;
    Bytes content;
    uint32_t deletes;
    uint32_t error;
  } rows[] = {
      {"kept", Szdd("hello"), 0, 0},
      {"deleted", Szdd("hello"), 1, 0},
      {"another type", Zip({{"a", Bytes().Text("b")}}), 1, 3},
      {"damaged", Szdd("x").CutTo(12), 1, 2},
  };
  for (const auto& row : rows) {
    Names n;
    const std::string source = n.input.Write("setup.ex_", row.content);
    char path[BRIX_PATH_SIZE] = "untouched";
    const uint32_t done = DecompressMSCompressedFile(n.context, source.c_str(), path, row.deletes);
    EXPECT_EQ(done, row.error == 0 ? 1u : 0u) << row.label;
    EXPECT_EQ(n.Error(), row.error) << row.label;
    EXPECT_EQ(std::filesystem::exists(source), row.error != 0 || row.deletes == 0) << row.label;
    EXPECT_EQ(row.error == 0 ? Text(ReadFile(path)) : path, row.error == 0 ? "hello" : "untouched")
        << row.label;
  }
  Names n;
  char path[BRIX_PATH_SIZE];
  EXPECT_EQ(DecompressMSCompressedFile(n.context, n.input.File("none").c_str(), path, 0), 0u);
  EXPECT_EQ(n.Error(), 205u);
  EXPECT_EQ(DecompressMSCompressedFile(n.context, nullptr, path, 0), 0u);
  EXPECT_EQ(n.Error(), 204u);
}

TEST(NameBased, ChangesAreRefusedAndTheWalkGoesOn) {
  Names n;
  ASSERT_TRUE(n.Open(Szdd("x")));
  uint32_t (*const calls[])(BrixNamedArchive) = {EnableArchiveChange, AbortArchiveChange, FinishArchiveChange,
                                                 DeleteCurrentFileInArchive, CheckDeletePending};
  for (const auto call : calls) {
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
