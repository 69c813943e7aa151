// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/session_support.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace brix {
namespace {

using Lines = std::vector<std::string>;

Bytes Nested() {
  const Bytes inner = Zip({{"deep", Szdd("bottom")}, {"side", Bytes().Text("beside")}});
  return Zip({{"first", Bytes().Text("1st")}, {"in.zip", inner}, {"last", Bytes().Text("end")}});
}

TEST(Session, WalksDepthFirstAndComesBackUp) {
  const Lines nested = {"1 first 0 1st",
                        "1 in.zip 0 PK\x03\x04",
                        "2 deep 0 SZDD",
                        "3 unknown 0 bott",
                        "2 side 0 besi",
                        "1 last 0 end",
                        "-5"};
  const Lines flat = {"1 first 0 1st", "1 in.zip 0 PK\x03\x04", "1 last 0 end", "-5"};
  for (const bool descend : {true, false}) {
    HostFile file{Nested()};
    HostFactory factory;
    {
      TkSession session(file.Record(), factory.Record());
      EXPECT_EQ(ArcTkGetDepth(session.handle), 1u);
      EXPECT_EQ(SessionLines(session, descend), descend ? nested : flat);
      EXPECT_EQ(ArcTkGetDepth(session.handle), 0u);
      ArcStream unchanged{};
      EXPECT_EQ(ArcTkExtractNextMember(session.handle, 1, &unchanged), BRIX_NO_MORE_MEMBERS);
      EXPECT_EQ(unchanged.read, nullptr);
      ArcMemberProp record{"filename", nullptr, 0, 0};
      EXPECT_EQ(ArcTkGetNamedMemberProp(session.handle, &record), BRIX_FAILED) << "the session is empty";
    }
    EXPECT_TRUE(factory.AllClosed());
    EXPECT_EQ(file.closes, 0) << "it is the host's";
  }
}

TEST(Session, KeepsEnteringMembersOverTheRatioButNotCutOnes) {
  const auto levels = ArcTkSetMaxNestedLevel;
  const auto ratio = ArcTkSetMaxCompressRatio;
  const auto bytes = ArcTkSetMaxExtractSize;
  const auto mebibytes = ArcTkSetMaxCompressSize;
  struct Setting {
    int32_t (*set)(ArcTkSession, uint32_t);
    uint32_t value;
  };
  const Bytes text = Szdd(Szdd("12345678"));  // 37 bytes over 23 over 8
  const struct {
    const char* label;
    Bytes file;
    std::vector<Setting> settings;
    Lines lines;
  } rows[] = {
      {"one level enters nothing", text, {{levels, 1}}, {"1 unknown 0 SZDD", "-5"}},
      {"two levels", text, {{levels, 2}}, {"1 unknown 0 SZDD", "2 unknown 0 1234", "-5"}},
      {"exactly the size", Szdd("12345678"), {{bytes, 8}}, {"1 unknown 0 1234", "-5"}},
      {"a byte longer", Szdd("12345678"), {{bytes, 7}}, {"1 unknown -12 1234", "-5"}},
      {"cut to nothing", Szdd("1"), {{bytes, 0}}, {"1 unknown -12 ", "-5"}},
      {"a cut member is never entered", text, {{bytes, 22}}, {"1 unknown -12 SZDD", "-5"}},
      {"MiB", Szdd("1"), {{mebibytes, 1}}, {"1 unknown 0 1", "-5"}},
      {"the later of the two wins", text, {{mebibytes, 1}, {bytes, 3}}, {"1 unknown -12 SZD", "-5"}},
      {"and the other way round", text, {{bytes, 3}, {mebibytes, 0}}, {"1 unknown -12 ", "-5"}},
      // A member that reaches the ratio is not handed over. 23 / 37 is 0, (23 + 8) / 23 is 1.
      {"ratio of 1, reached inside only", text, {{ratio, 1}}, {"1 unknown 0 SZDD", "2 unknown -10", "-5"}},
      {"a member over the ratio is entered", text, {{ratio, 0}}, {"1 unknown -10", "2 unknown -10", "-5"}},
      {"ratio before size", Szdd("12345678"), {{ratio, 0}, {bytes, 2}}, {"1 unknown -10", "-5"}},
  };
  for (const auto& row : rows) {
    HostFile file{row.file};
    HostFactory factory;
    TkSession session(file.Record(), factory.Record());
    for (const auto& setting : row.settings) {
      EXPECT_EQ(setting.set(session.handle, setting.value), BRIX_OK);
      EXPECT_EQ(setting.set(nullptr, setting.value), BRIX_BAD_ARGUMENT);
    }
    EXPECT_EQ(SessionLines(session, true), row.lines) << row.label;
  }
}

TEST(Session, KeepsWrappingMebibytesExceptAllBitsSet) {
  for (const auto& [mebibytes, line] : {std::pair{4096u, "1 unknown -12 "}, {UINT32_MAX, "1 unknown 0 1"}}) {
    HostFile file{Szdd("1")};
    HostFactory factory;
    TkSession session(file.Record(), factory.Record());
    EXPECT_EQ(ArcTkSetMaxCompressSize(session.handle, mebibytes), BRIX_OK);
    EXPECT_EQ(SessionLines(session, true), (Lines{line, "-5"}));
  }
}

TEST(Session, KeepsItsLowerDefaultRatioOf100) {
  static uint32_t size, lie, calls, lie_at;
  const auto lines = [](uint32_t claimed) {
    HostFile file{SzddOfSpaces(1008)};
    size = file.content.size();
    lie = claimed;
    calls = 0;
    ArcStream record = file.Record();
    record.get_size = [](void*, uint32_t* out) {
      *out = ++calls == lie_at ? lie : size;
      return 0;
    };
    HostFactory factory;
    TkSession session(record, factory.Record());
    if (lie_at == 0) lie_at = calls;  // the last question is the session's own
    return SessionLines(session, true);
  };
  lie_at = 0;
  EXPECT_EQ(lines(0), (Lines{"1 unknown 0     ", "-5"}));
  EXPECT_EQ(lines(11), (Lines{"1 unknown 0     ", "-5"})) << "1008 / 11 is 91";
  EXPECT_EQ(lines(10), (Lines{"1 unknown -10", "-5"})) << "1008 / 10 is 100";
  EXPECT_EQ(lines(0), (Lines{"1 unknown -10", "-5"})) << "an empty container is always too small";
}

TEST(Session, MemberStreamIsAViewThatBelongsToTheSession) {
  HostFile file{Zip({{"a", Bytes().Text("aaaa")}, {"b", Bytes().Text("b")}})};
  HostFactory factory;
  TkSession session(file.Record(), factory.Record());
  ArcStream member{};
  ASSERT_EQ(ArcTkExtractNextMember(session.handle, 0, &member), BRIX_OK);
  EXPECT_EQ(ReadAll(member), "aaaa");
  EXPECT_EQ(member.close(member.context), BRIX_FAILED);
  EXPECT_EQ(member.write(member.context, 0, "x", 1), BRIX_FAILED);
  EXPECT_EQ(member.set_size(member.context, 0, 0), BRIX_FAILED);
  char path[512];
  EXPECT_EQ(member.get_file_name(member.context, path, 0), BRIX_FAILED) << "the factory's stream has none";
  EXPECT_EQ(factory.made[0]->closes, 0);
  ASSERT_EQ(ArcTkExtractNextMember(session.handle, 0, &member), BRIX_OK);
  EXPECT_EQ(factory.made[0]->closes, 1) << "until the next extraction";
  EXPECT_EQ(factory.made[1]->closes, 0);
}

TEST(Session, KeepsTellingNoMoreThanThatItCannotBeOpened) {
  HostFile zip{Nested()}, text{Bytes().Text("no archive")};
  HostFactory host;
  const ArcStream good = zip.Record(), bad = text.Record();
  const ArcStreamFactory factory = host.Record(), no_create{};
  auto session = reinterpret_cast<ArcTkSession>(&zip);
  EXPECT_EQ(ArcTkOpenArchive(&bad, &factory, &session), BRIX_FAILED) << "not that it is no archive";
  EXPECT_EQ(session, nullptr);
  EXPECT_EQ(ArcTkOpenArchive(nullptr, &factory, &session), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkOpenArchive(&good, nullptr, &session), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkOpenArchive(&good, &no_create, &session), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkOpenArchive(&good, &factory, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkCloseArchive(&session), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkExtractNextMember(nullptr, 0, nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkGetDepth(nullptr), 0u);
}

TEST(Session, FactoryThatFailsCostsTheMemberAndNothingElse) {
  for (const bool fills_in : {false, true}) {
    HostFile file{Nested()};
    HostFactory factory;
    factory.fills_in = fills_in;
    factory.fault_at = 2;
    {
      TkSession session(file.Record(), factory.Record());
      EXPECT_EQ(SessionLines(session, true), (Lines{"1 first 0 1st", "1 in.zip -9", "1 last 0 end", "-5"}));
    }
    EXPECT_TRUE(factory.AllClosed()) << fills_in;
  }
}

TEST(Session, NestedLevelsOpenedForChangeHaveOutputsOfTheFactory) {
  for (const int fault_at : {0, 2}) {
    HostFile file{Zip({{"in", Szdd("x")}, {"last", Bytes().Text("end")}})}, output;
    HostFactory factory;
    factory.fault_at = fault_at;
    const ArcStream stream = file.Record(), out = output.Record();
    const ArcStreamFactory record = factory.Record();
    ArcTkSession session = nullptr;
    ArcStream member{};
    ASSERT_EQ(ArcTkOpenModifyArchive(&stream, &out, &record, &session), BRIX_OK);
    ASSERT_EQ(ArcTkExtractNextMember(session, 1, &member), BRIX_OK);
    if (fault_at != 0) {
      EXPECT_EQ(ArcTkExtractNextMember(session, 1, &member), BRIX_OUT_OF_MEMORY);
    }
    ASSERT_EQ(ArcTkExtractNextMember(session, 1, &member), BRIX_OK) << "a member is tried once";
    EXPECT_EQ(ReadAll(member), fault_at != 0 ? "end" : "x");
    EXPECT_EQ(ArcTkReplaceMember(session, &stream, nullptr, 0), BRIX_FAILED);
    EXPECT_EQ(ArcTkGetDepth(session), fault_at != 0 ? 1u : 2u);
    EXPECT_EQ(factory.made.size(), fault_at != 0 ? 2u : 3u) << "member, output, member";
    EXPECT_EQ(ArcTkCloseArchive(&session), BRIX_OK);
    EXPECT_TRUE(factory.AllClosed());
    EXPECT_EQ(output.calls + output.closes, 0);
  }
}

TEST(Session, FactoryThatKeepsFailingCannotHoldUpAWalkForChange) {
  HostFile file{Zip({{"in", Szdd("x")}, {"last", Bytes().Text("end")}})};
  HostFactory factory;
  factory.fault_at = 2;
  factory.keeps_failing = true;
  const ArcStream stream = file.Record();
  TkSession session(stream, factory.Record(), &stream);
  EXPECT_EQ(SessionLines(session, true), (Lines{"1 in 0 SZDD", "1 in -3", "1 last -9", "-5"}));
}

TEST(Session, DamagedNestedArchiveDoesNotHideWhatLiesBehindIt) {
  Bytes damaged = Zip({{"a", Bytes().Text("a")}, {"b", Bytes().Text("b")}});
  damaged.PatchU8(Text(damaged).rfind("PK\x01\x02"), 'X');
  HostFile file{Zip({{"bad.zip", damaged}, {"last", Bytes().Text("end")}})};
  HostFactory factory;
  TkSession session(file.Record(), factory.Record());
  EXPECT_EQ(SessionLines(session, true),
            (Lines{"1 bad.zip 0 PK\x03\x04", "2 a 0 a", "2  -1", "1 last 0 end", "-5"}));
}

TEST(Session, ReadyStreamsAnswerAsTheirKind) {
  const TempDir dir;
  const std::string path = dir.Write("file", Bytes().Text("content")), created = dir.File("new");
  const std::wstring wide(path.begin(), path.end());
  char block[] = "content";
  using Open = std::function<int32_t(ArcStream*)>;
  const struct {
    const char* label;
    Open open;
    const char* content;
    bool writable;
  } rows[] = {
      {"reading", [&](ArcStream* s) { return ArcTkOpenFile(path.c_str(), 0, s); }, "content", false},
      {"wide", [&](ArcStream* s) { return ArcTkOpenFileW(wide.c_str(), 0, s); }, "content", false},
      {"both", [&](ArcStream* s) { return ArcTkOpenFile(path.c_str(), 1, s); }, "content", true},
      {"create", [&](ArcStream* s) { return ArcTkOpenFile(created.c_str(), 2, s); }, "", true},
      {"fixed", [&](ArcStream* s) { return ArcTkOpenFixedMemStream(s, block, 7); }, "content", false},
      {"memory", [&](ArcStream* s) { return ArcTkOpenTempMemStream(s); }, "", true},
      {"temporary", [&](ArcStream* s) { return ArcTkOpenTempFile(dir.path.c_str(), s); }, "", true},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.open(nullptr), BRIX_BAD_ARGUMENT) << row.label;
    ArcStream stream{};
    ASSERT_EQ(row.open(&stream), BRIX_OK) << row.label;
    EXPECT_EQ(ReadAll(stream), row.content) << row.label;
    uint32_t got = 9;
    char byte = 0;
    EXPECT_EQ(stream.read(stream.context, 99, &byte, 1, &got), BRIX_OK) << row.label;
    EXPECT_EQ(got, 0u);
    const int32_t writes = row.writable ? BRIX_OK : BRIX_FAILED;
    EXPECT_EQ(stream.write(stream.context, 5, "xyz", 3), writes) << row.label;
    EXPECT_EQ(stream.set_size(stream.context, 7, 99), writes) << row.label;
    if (row.writable) {
      EXPECT_EQ(ReadAll(stream).substr(5), "xy") << row.label;
    }
    EXPECT_EQ(stream.write(stream.context, 0, nullptr, 1), BRIX_BAD_ARGUMENT);
    EXPECT_EQ(stream.get_size(stream.context, nullptr), BRIX_BAD_ARGUMENT);
    char name[512] = "untouched";
    const bool is_temporary = std::string_view(row.label) == "temporary";
    EXPECT_EQ(stream.get_file_name(stream.context, name, 0), is_temporary ? BRIX_OK : BRIX_FAILED);
    EXPECT_EQ(std::string(name), is_temporary ? dir.File("arc0000.tmp") : "untouched");
    EXPECT_EQ(stream.get_file_name(stream.context, name, 1), is_temporary ? BRIX_BAD_ARGUMENT : BRIX_FAILED);
    EXPECT_EQ(stream.close(stream.context), BRIX_OK);
  }
  EXPECT_EQ(dir.List(), (std::set<std::string>{"file", "new"})) << "the temporary file went with its stream";
}

TEST(Session, KeepsFixedMemoryFromBeingWritten) {
  char block[] = "content";
  ArcStream stream{};
  ASSERT_EQ(ArcTkOpenFixedMemStream(&stream, block, 7), BRIX_OK);
  EXPECT_EQ(stream.write(stream.context, 0, "x", 1), BRIX_FAILED);
  EXPECT_EQ(stream.set_size(stream.context, 7, 0), BRIX_FAILED);
  EXPECT_STREQ(block, "content");
  EXPECT_EQ(stream.close(stream.context), BRIX_OK);
}

#ifndef _WIN32  // where making a link is a privilege
TEST(Session, OpensFilesThatTheHostNamesByALink) {
  const TempDir dir;
  (void)dir.Write("file", Bytes().Text("content"));
  std::filesystem::create_symlink("file", dir.File("link"));
  for (const uint32_t mode : {BRIX_FILE_READ, BRIX_FILE_READ_WRITE, BRIX_FILE_CREATE}) {
    ArcStream stream{};
    ASSERT_EQ(ArcTkOpenFile(dir.File("link").c_str(), mode, &stream), BRIX_OK) << mode;
    EXPECT_EQ(stream.close(stream.context), BRIX_OK);
  }
}
#endif

TEST(Session, KeepsTheFailuresOfReadyStreamsAndFactoriesApart) {
  const std::string long_path(500, 'd');
  ArcStream stream{};
  ArcStreamFactory factory{};
  EXPECT_EQ(ArcTkOpenFile("no such file", 0, &stream), BRIX_FAILED);
  EXPECT_EQ(ArcTkOpenFileW(L"\x20AC", 0, &stream), BRIX_FAILED);
  EXPECT_EQ(ArcTkOpenFile("no such file", 3, &stream), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkOpenFixedMemStream(&stream, nullptr, 0), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkOpenTempFile(long_path.c_str(), &stream), BRIX_FAILED);
  EXPECT_EQ(stream.close, nullptr) << "unchanged";
  EXPECT_EQ(ArcTkOpenTempMemStreamFactory(nullptr), BRIX_FAILED);
  EXPECT_EQ(ArcTkOpenTempFileStreamFactory(nullptr, &factory), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkCloseStreamFactory(nullptr), BRIX_BAD_ARGUMENT);
  EXPECT_EQ(ArcTkInitStreamFactory(&factory), BRIX_OK);
  EXPECT_EQ(factory.create(nullptr, &stream), BRIX_FAILED);
  EXPECT_EQ(ArcTkCloseStreamFactory(&factory), BRIX_FAILED);
}

TEST(Session, TemporaryFilesOfAFactoryGoWithTheirMembers) {
  const TempDir dir;
  ArcStreamFactory factory{};
  ASSERT_EQ(ArcTkOpenTempFileStreamFactory(std::string(dir.path).c_str(), &factory), BRIX_OK)
      << "a copy is kept";
  {
    HostFile file{Nested()};
    TkSession session(file.Record(), factory);
    ArcStream member{};
    ASSERT_EQ(ArcTkExtractNextMember(session.handle, 1, &member), BRIX_OK);
    char path[512] = "";
    EXPECT_EQ(member.get_file_name(member.context, path, 0), BRIX_OK);
    EXPECT_EQ(ReadFile(path), "1st");
    ASSERT_EQ(ArcTkExtractNextMember(session.handle, 1, &member), BRIX_OK);
    EXPECT_EQ(dir.List().size(), 1u);
  }
  EXPECT_TRUE(dir.List().empty());
  EXPECT_EQ(ArcTkCloseStreamFactory(&factory), BRIX_OK);
}

// The outermost stream goes wrong at any one call, or from there on; the two families take turns.
TEST(Session, HostStreamThatFailsAtAnyCall) {
  for (int kind = 0; kind < 20; ++kind) {
    const bool in_session = kind % 2 == 0;
    int at = 0;
    HostFile file;
    do {
      file = HostFile{Nested(), static_cast<HostFile::Fault>(kind / 4), ++at, kind / 2 % 2 == 0};
      HostFactory factory;
      const ArcStream record = file.Record();
      ArcArchive archive = nullptr;
      if (in_session) {
        TkSession session(record, factory.Record());
        EXPECT_LT(SessionLines(session, true).size(), 20u);
      } else if (ArcOpenArchive(&record, &archive) == BRIX_OK) {
        HostFile target;
        const ArcStream output = target.Record();
        while (ArcNextMember(archive) == BRIX_OK) (void)ArcExtractMember(archive, &output);
        EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
      }
      EXPECT_TRUE(factory.AllClosed());
      EXPECT_EQ(file.closes, 0);
    } while (file.calls >= at && at < 1000);  // until no call is the faulty one
    EXPECT_TRUE(at > 3 && at < 1000) << kind;
  }
}

}  // namespace
}  // namespace brix
