// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// families_test.cpp - one nested input through all four families: the same members where their rules agree, and the
// stated difference where they do not.
#include <gtest/gtest.h>

#include "api/session_support.h"

namespace brix {
namespace {

using Lines = std::vector<std::string>;

std::string Line(uint32_t level, const std::string& name, const std::string& content) {
  return std::to_string(level) + " " + name + " " + content;
}

Lines ByToolkit(const Bytes& content) {
  Session walk(content);
  EXPECT_EQ(walk.Open(), BRIX_OK);
  Lines lines;
  while (walk.Next() == BRIX_OK) {
    const uint32_t level = walk.Depth() + 1;
    lines.push_back(Line(level, walk.name, walk.Extract(Target::kMemory).content));
  }
  return lines;
}

Lines BySession(const Bytes& content) {
  HostFile file{content};
  ArcStreamFactory factory{};
  EXPECT_EQ(ArcTkOpenTempMemStreamFactory(&factory), BRIX_OK);
  TkSession session(file.Record(), factory);
  Lines lines;
  ArcStream member{};
  while (ArcTkExtractNextMember(session.handle, 1, &member) == BRIX_OK) {
    char name[512] = "";
    ArcMemberProp record{"filename", name, sizeof name, 0};
    EXPECT_EQ(ArcTkGetNamedMemberProp(session.handle, &record), BRIX_OK);
    lines.push_back(Line(ArcTkGetDepth(session.handle), name, ReadAll(member)));
  }
  return lines;
}

Lines ByInterrupting(const Bytes& content) {
  HostFile file{content};
  const ArcStream outer = file.Record();
  ArcArchive archive = nullptr;
  EXPECT_EQ(ArcOpenArchive(&outer, &archive), BRIX_OK);
  Lines lines;
  std::vector<std::unique_ptr<ArcStream>> open;  // members that are being walked
  for (;;) {
    if (ArcNextMember(archive) != BRIX_OK) {
      ArcStream* resumed = nullptr;
      if (ArcResume(&archive, &resumed, nullptr) != BRIX_OK) break;
      (void)resumed->close(resumed->context);
      open.pop_back();
      continue;
    }
    char name[512] = "";
    uint32_t size = sizeof name;
    auto member = std::make_unique<ArcStream>();
    EXPECT_EQ(ArcGetMemberName(archive, name, &size), BRIX_OK);
    EXPECT_EQ(ArcTkOpenTempMemStream(member.get()), BRIX_OK);
    EXPECT_EQ(ArcExtractMember(archive, member.get()), BRIX_OK);
    lines.push_back(Line(static_cast<uint32_t>(open.size()) + 1, name, ReadAll(*member)));
    if (ArcInterrupt(&archive, member.get(), nullptr) == BRIX_OK) {
      open.push_back(std::move(member));
    } else {
      (void)member->close(member->context);
    }
  }
  EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
  return lines;
}

// A walk by name; what could not be extracted has its error as content.
Lines ByName(const Bytes& content, uint32_t ratio = 1000, uint32_t mebibytes = 50) {
  const TempDir dir;
  const BrixDecompression context = InitDecompression();
  SetTemporaryDirectory(context, dir.path.c_str());
  SetThreadArchiveLimits(context, 10, ratio, mebibytes);
  const BrixNamedArchive archive = OpenArchiveFileNew(context, dir.Write("outer", content).c_str());
  Lines lines;
  for (const char* at = GetFirstFileName(archive); at != nullptr; at = GetNextFileName(archive)) {
    const std::string name = at;
    const uint32_t level = GetArchiveLevel(archive);
    const char* const path = ExtractCurrentFile(archive);
    lines.push_back(
        Line(level, name, path != nullptr ? ReadFile(path) : std::to_string(GetErrorValue(context))));
    RemoveCurrentFile(archive);
  }
  CloseArchiveFile(archive);
  DeInitDecompression(context);
  return lines;
}

TEST(Families, SeeTheSameMembersAtTheSameLevels) {
  const Bytes inner = Zip({{"a", Szdd(Szdd("aaa"))}, {"b", SzddOfSpaces(900)}});
  const Bytes content = Zip({{"1", Bytes().Text("one")}, {"inner", inner}, {"last", Bytes().Text("end")}});
  const Lines toolkit = ByToolkit(content);
  EXPECT_EQ(toolkit.size(), 8u);
  EXPECT_EQ(toolkit.back(), "1 last end");
  EXPECT_EQ(BySession(content), toolkit);
  EXPECT_EQ(ByInterrupting(content), toolkit);
  EXPECT_EQ(ByName(content), toolkit);
}

// An archive in an attachment of an enclosed message, a mail in that archive; then all of it in an archive.
TEST(Families, SeeThroughMails) {
  const Bytes inner = Bytes().Text("MIME-Version: 1.0\nContent-Type: text/html; name=h\n\n<p>\n");
  const Bytes outer = Bytes()
                          .Text(
                              "Subject: o\nMIME-Version: 1.0\nContent-Type: message/rfc822\n\nSubject: i\n"
                              "Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n--b\n"
                              "Content-Type: application/zip; name=z\nContent-Transfer-Encoding: binary\n\n")
                          .Raw(Zip({{"m", inner}}))
                          .Text("\n--b--\n");
  for (const Bytes& content : {outer, Zip({{"mail", outer}})}) {
    const Lines toolkit = ByToolkit(content);
    Lines names;
    for (const std::string& line : toolkit) names.push_back(line.substr(0, line.find(' ', 2)));
    EXPECT_EQ(names, content.data == outer.data ? Lines({"1 unknown", "1 z", "2 m", "3 h"})
                                                : Lines({"1 mail", "2 unknown", "2 z", "3 m", "4 h"}));
    EXPECT_TRUE(toolkit.back().ends_with(" h <p>\n"));
    EXPECT_EQ(BySession(content), toolkit);
    EXPECT_EQ(ByInterrupting(content), toolkit);
    EXPECT_EQ(ByName(content), toolkit);
  }
}

TEST(Families, SeeThroughFormatsInFormats) {
  Bytes content;
  content.data = Fixture("nested/setup.exe");
  const Lines toolkit = ByToolkit(content);
  Lines names;  // without the contents, which the families compare with each other
  for (const std::string& line : toolkit) names.push_back(line.substr(0, line.find(' ', 2)));
  const Lines expected = {"1 setup.msi",   "2 Setup.cab", "3 files.tgz", "4 note.txt",
                          "4 package.doc", "5 note.txt",  "3 plain.txt", "2 readme.txt"};
  EXPECT_EQ(names, expected);
  EXPECT_EQ(toolkit.back(), "2 readme.txt read me, in the database\n");
  EXPECT_EQ(BySession(content), toolkit);
  EXPECT_EQ(ByInterrupting(content), toolkit);
  EXPECT_EQ(ByName(content), toolkit);
}

TEST(Families, SeeTheFilesOfAnInstaller) {
  Bytes installer;
  installer.data = Fixture("nsis/bzip2.exe");
  const Bytes content = Zip({{"setup.exe", installer}});
  const Lines toolkit = ByToolkit(content);
  ASSERT_EQ(toolkit.size(), 5u);
  EXPECT_EQ(toolkit[4], "2 $INSTDIR\\bin\\hello.txt hello\n");
  EXPECT_EQ(BySession(content), toolkit);
  EXPECT_EQ(ByInterrupting(content), toolkit);
  EXPECT_EQ(ByName(content), toolkit);
}

TEST(Families, KeepsTheirAnswersToALimitApart) {
  constexpr uint32_t kMebibyte = 1 << 20;
  const struct {
    const char* label;
    uint32_t size, ratio;      // of the member; the limit of size is 1 MiB
    int32_t toolkit, session;  // statuses
    bool by_name;              // whether it is handed over
  } rows[] = {
      {"one byte below the size", kMebibyte - 1, 1000, BRIX_OK, BRIX_OK, true},
      {"exactly the size", kMebibyte, 1000, BRIX_OK, BRIX_OK, false},
      {"cut at the size", kMebibyte + 1, 1000, BRIX_SIZE_LIMIT, BRIX_SIZE_LIMIT, false},
      {"over the ratio", 10000, 2, BRIX_RATIO_LIMIT, BRIX_NESTING_LIMIT, false},
  };
  for (const auto& row : rows) {
    const Bytes content = SzddOfSpaces(row.size);
    Session walk(content, Caps{kMebibyte, row.ratio, 10});
    ASSERT_EQ(walk.Open(), BRIX_OK);
    ASSERT_EQ(walk.Next(), BRIX_OK);
    EXPECT_EQ(walk.Extract(Target::kMemory).status, row.toolkit) << row.label;

    HostFile file{content};
    HostFactory factory;
    TkSession session(file.Record(), factory.Record());
    EXPECT_EQ(ArcTkSetMaxCompressSize(session.handle, 1), BRIX_OK);
    EXPECT_EQ(ArcTkSetMaxCompressRatio(session.handle, row.ratio), BRIX_OK);
    ArcStream member{};
    EXPECT_EQ(ArcTkExtractNextMember(session.handle, 0, &member), row.session) << row.label;

    const Lines named = ByName(content, row.ratio, 1);
    ASSERT_EQ(named.size(), 1u) << row.label;
    EXPECT_EQ(named[0] != "1 unknown 17", row.by_name) << row.label;
  }
}

}  // namespace
}  // namespace brix
