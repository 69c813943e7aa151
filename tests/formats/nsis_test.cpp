// nsis_test.cpp - names as scripts give them, blocks in all layouts, and what damaged installers come to.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/nsis_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kNsis = 21;
constexpr std::u16string_view kInstall2 = u"\u00FD\u0095\u0080", kInstall3 = u"\u0003\u0095\u0080",
                              kInstallWide = u"\u0003\u8095";

std::string Walked(const NsisBuilder& installer) { return WalkText(kNsis, installer.Build().data); }

// The name under which a string shows that is no whole path; "a.txt" behind it keeps the codes known.
std::string NameOf(std::u16string_view text, bool wide) {
  NsisBuilder installer(wide);
  installer.File(text, installer.Block(""));
  const Walk walk = WalkWith(kNsis, installer.Build().data);
  return walk.members.size() == 1 ? walk.members[0].name : "no member";
}

TEST(Nsis, ExpandsCodesFrom252) {
  const auto filled = [](size_t size, std::u16string_view text) {
    return std::u16string(size, u'a').append(text).append(2000, u'b');
  };
  const auto cut = [](std::string_view text) { return std::string(text).substr(0, 511); };
  const std::string long_name = cut("$INSTDIR\\" + std::string(600, 'a'));
  const Rows<std::u16string, std::string> rows = {
      {"text", u"a.txt", "$INSTDIR\\a.txt"},
      {"empty", u"", "$INSTDIR\\"},
      {"variable 1", u"\u00FD\u0081\u0080", "$1"},
      {"variable 11", u"\u00FD\u008B\u0080\\x", "$R1\\x"},
      {"without the high bits", u"\u00FD\u000B\u0001", "$[139]"},
      {"the installation directory", u"\u00FD\u0095\u0080", "$INSTDIR"},
      {"variable 27", u"\u00FD\u009B\u0080", "$HWNDPARENT"},
      {"variable 30", u"\u00FD\u009E\u0080", "$[30]"},
      {"largest variable", u"\u00FD\u00FF\u00FF", "$[16383]"},
      {"folder 26", u"\u00FE\u0002\u001A", "$QUICKLAUNCH"},
      {"folder without a name", u"\u00FE\u0002\u0003", "$"},
      {"last in the table", u"\u00FE\u0002\u0039", "$RESOURCES_LOCALIZED"},
      {"folder 59", u"\u00FE\u0002\u003B", "$SHELL[59]"},
      {"folder 100", u"\u00FE\u0002\u0064", "$SHELL[100]"},
      {"language string", u"x\u00FF\u0081\u0080y", "$INSTDIR\\xNSIS_LANG_CODEy"},
      {"quoted character", u"x\u00FC\u00FC\u0041y", "$INSTDIR\\xy"},
      {"drive", u"C:\\x", "C:\\x"},
      {"share", u"\\\\x\\y", "\\\\x\\y"},
      {"one backslash", u"\\x", "$INSTDIR\\\\x"},
      {"cut at 1,024 bytes", std::u16string(1500, u'a'), long_name},
      {"a code at 1,020", filled(1020, u"\u00FD\u0081\u0080"), long_name},
      {"a code at 1,021", filled(1021, u"\u00FD\u0081\u0080"), "unknown"},
      {"a code that comes to 1,023 bytes", filled(1015, u"\u00FD\u0095\u0080"), long_name},
      {"a code that comes to 1,024 bytes", filled(1016, u"\u00FD\u0095\u0080"), "unknown"},
      {"a code cut by the end", u"x\u00FD", "unknown"},
  };
  ExpectRows(rows, [](const std::u16string& text) { return NameOf(text, false); });
}

TEST(Nsis, ExpandsCodesFrom1) {
  const Rows<std::u16string, std::string> rows = {
      {"installation directory", u"\u0003\u0095\u0080\\x", "$INSTDIR\\x"},
      {"variable 27", u"\u0003\u009B\u0080", "$EXEPATH"},
      {"first of the script's own", u"\u0003\u00A0\u0080", "$[32]"},
      {"folder of the user", u"\u0002\u0002\u0017\\x", "$SMPROGRAMS\\x"},
      {"application data", u"\u0002\u001A\u0023", "$APPDATA"},
      {"quick launch bar", u"\u0002\u001A\u001A", "$QUICKLAUNCH"},
      {"program files", u"\u0002\u0081\u0020", "$PROGRAMFILES"},
      {"common files of 64 bits", u"\u0002\u00D1\u0046", "$COMMONFILES64"},
      {"folder 59", u"\u0002\u003B\u003B", "$SHELL[59]"},
      {"language string", u"x\u0001\u0081\u0080", "$INSTDIR\\xNSIS_LANG_CODE"},
      {"quoted character", u"x\u0004\u0002\u00FDy", "$INSTDIR\\x\x02\xFDy"},
  };
  ExpectRows(rows, [](const std::u16string& text) { return NameOf(text, false); });
}

TEST(Nsis, ExpandsUnits) {
  const Rows<std::u16string, std::string> rows = {
      {"installation directory", u"\u0003\u8095\\\u00FC\u20AC\U0001F600.txt",
       "$INSTDIR\\\u00FC\u20AC\U0001F600.txt"},
      {"half a pair", std::u16string(u"\u0003\u8095") + char16_t{0xD800} + u"x", "$INSTDIR\xED\xA0\x80x"},
      {"folder of the user", u"\u0002\u1702\\x", "$SMPROGRAMS\\x"},
      {"language string", u"x\u0001\u8081", "$INSTDIR\\xNSIS_LANG_CODE"},
      {"quoted character", u"x\u0004\u0002y", "$INSTDIR\\x\x02y"},
      {"a code at 1,021", std::u16string(1021, u'a') + u"\u0004\u0002", "$INSTDIR\\" + std::string(502, 'a')},
      {"a code at 1,022", std::u16string(1022, u'a') + u"\u0002\u1702", "unknown"},
      {"private codes: variable", u"\uE001\u8095\\x", "$INSTDIR\\x"},
      {"private codes: folder", u"\uE002\u1702\\x", "$SMPROGRAMS\\x"},
  };
  ExpectRows(rows, [](const std::u16string& text) { return NameOf(text, true); });
}

TEST(Nsis, KeepsTheFolderOfAllUsersAsVersion2sName) {
  EXPECT_EQ(NameOf(u"\u00FE\u0002\u0017", false), "$COMMONFILES");
}

// Files stand where the entry in front of them says.
TEST(Nsis, JoinsTheOutputDirectory) {
  const auto with = [](const std::function<void(NsisBuilder&)>& change) {
    NsisBuilder installer;
    change(installer);
    installer.File(u"a", installer.Block("A"));
    return installer;
  };
  const auto var = [](uint32_t number, std::u16string_view behind = u"") {
    return std::u16string{char16_t{0xFD}, static_cast<char16_t>(0x80 | number), char16_t{0x80}}.append(
        behind);
  };
  const auto assign = [&](NsisBuilder& n, uint32_t to, const std::u16string& text) {
    n.Entry(25, {to, n.String(text)});
  };
  const Rows<NsisBuilder, std::string> rows = {
      {"none", with([](NsisBuilder&) {}), "$INSTDIR\\a=A $"},
      {"a directory", with([](NsisBuilder& n) { n.OutPath(u"C:\\d"); }), "C:\\d\\a=A $"},
      {"with a backslash", with([](NsisBuilder& n) { n.OutPath(u"C:\\d\\"); }), "C:\\d\\a=A $"},
      {"only made", with([](NsisBuilder& n) {
         n.Entry(11, {n.String(u"C:\\d"), 0});
       }),
       "$INSTDIR\\a=A $"},
      {"below the one in force", with([&](NsisBuilder& n) { n.OutPath(u"C:\\d").OutPath(var(22, u"\\e")); }),
       "C:\\d\\e\\a=A $"},
      {"below the one kept", with([&](NsisBuilder& n) {
         n.OutPath(u"C:\\d");
         assign(n, 31, var(22));
         n.OutPath(var(31, u"\\e")).OutPath(var(31, u"\\f"));
       }),
       "C:\\d\\f\\a=A $"},
      {"kept by its older number", with([&](NsisBuilder& n) {
         n.OutPath(u"C:\\d");
         assign(n, 29, var(22));
         n.OutPath(u"C:\\e").OutPath(var(29));
       }),
       "C:\\d\\a=A $"},
      {"assigned", with([&](NsisBuilder& n) { assign(n, 22, u"C:\\e"); }), "C:\\e\\a=A $"},
      {"a name in it", with([&](NsisBuilder& n) { n.OutPath(u"C:\\d").File(var(22, u"\\b"), n.Block("B")); }),
       "C:\\d\\b=B C:\\d\\a=A $"},
      {"a language string", with([&](NsisBuilder& n) {
         n.Entry(11, {0xFFFFFFB0, 1});
       }),
       "NSIS_LANG_CODE\\a=A $"},
      {"too long",
       with([](NsisBuilder& n) { n.OutPath(std::u16string(1021, u'a') + u"\u00FD\u0081\u0080"); }),
       "unknown=A $"},
      {"no such string", with([](NsisBuilder& n) {
         n.Entry(11, {5000, 1});
       }),
       "unknown=A $"},
  };
  ExpectRows(rows, Walked);
}

TEST(Nsis, ListsAFileOnceUnlessNameOrDataDiffer) {
  NsisBuilder installer;
  const uint32_t a = installer.Block("A");
  const uint32_t b = installer.Block("B");
  const uint32_t name = installer.String(u"f");
  const uint32_t plug_in = installer.String(u"\u00FD\u009A\u0080\\p");
  const uint32_t folder = installer.String(u"C:\\d");
  for (const uint32_t block : {a, a, b, a}) installer.Entry(20, {0, name, block});
  installer.Entry(20, {0, plug_in, a}).Entry(11, {folder, 1});
  for (const uint32_t string : {plug_in, name, name}) installer.Entry(20, {1, string, a});
  EXPECT_EQ(Walked(installer), "$INSTDIR\\f=A $INSTDIR\\f=B $PLUGINSDIR\\p=A C:\\d\\f=A $");
}

NsisBuilder WithUninstaller(NsisData data, uint32_t op, const Bytes& patches) {
  NsisBuilder installer;
  installer.data = data;
  const uint32_t block = installer.Block(patches);
  (void)installer.Block("behind");
  const uint32_t name = installer.String(u"un.exe");
  const uint32_t path = installer.String(std::u16string(kInstall2) + u"\\un.exe");
  return installer.Entry(op, {name, block, patches.size(), path});
}

TEST(Nsis, AnUninstallerIsTheProgramPatchedAndWhatFollowsIt) {
  const Bytes patches =
      Bytes().U32(2).U32(2).Text("XY").U32(3).U32(509).Text("end").U32(9).U32(508).Text("no room..").U32(0);
  for (const NsisData data : {NsisData::kStored, NsisData::kDeflated, NsisData::kSolid}) {
    const Bytes file = WithUninstaller(data, 62, patches).Build();
    Bytes expected = Bytes(file).CutTo(512).PatchU16(2, 0x5958).PatchU16(509, 0x6E65).PatchU8(511, 'd');
    expected.Text("behind");
    for (const uint32_t limit : {0u, 511u, 512u, 515u}) {
      const Walk walk = WalkWith(kNsis, file.data, limit);
      ASSERT_EQ(walk.members.size(), 1u);
      EXPECT_EQ(walk.members[0].name, "$INSTDIR\\un.exe");
      EXPECT_TRUE(walk.members[0].extracted);
      EXPECT_EQ(Text(walk.members[0].data), Text(expected.data).substr(0, limit == 0 ? 1000 : limit))
          << limit;
    }
  }
  // Its opcode is found by its strings, where there are more instructions.
  const Bytes none = Bytes().U32(0);
  EXPECT_EQ(WalkWith(kNsis, WithUninstaller(NsisData::kStored, 66, none).Build().data).members.size(), 1u);
  EXPECT_EQ(WalkWith(kNsis, WithUninstaller(NsisData::kStored, 57, none).Build().data).members.size(), 0u);
}

// Content that takes more than a block of Deflate.
NsisBuilder Sample(NsisData data) {
  NsisBuilder installer;
  installer.data = data;
  const uint32_t second = installer.Block("second");
  const uint32_t first = installer.Block(Bytes().Fill(70000, 'x'));
  const uint32_t empty = installer.Block("");
  return installer.OutPath(std::u16string(kInstall2) + u"\\d")
      .File(u"1", first)
      .File(u"2", second)
      .File(u"3", empty);
}

TEST(Nsis, BlocksComeOutInAllLayouts) {
  const std::string expected =
      "$INSTDIR\\d\\1=" + std::string(70000, 'x') + " $INSTDIR\\d\\2=second $INSTDIR\\d\\3= $";
  for (const NsisData data : {NsisData::kStored, NsisData::kDeflated, NsisData::kSolid}) {
    NsisBuilder installer = Sample(data);
    EXPECT_EQ(Walked(installer), expected);
    installer.long_tables = true;
    EXPECT_EQ(Walked(installer), expected);
    if (data != NsisData::kDeflated) continue;
    NsisBuilder other;
    other.has_complement = true;
    other.File(u"a", other.Block(Bytes().Fill(70000, 'x'))).File(u"b", other.Block("B"));
    EXPECT_EQ(Walked(other), "$INSTDIR\\a=" + std::string(70000, 'x') + " $INSTDIR\\b=B $");
  }
}

TEST(Nsis, RealInstallersOfAllCompressors) {
  const std::vector<std::string> expected = {
      "$INSTDIR\\hello.txt 6 363a3020", "$SMPROGRAMS\\T\\lines.txt 1510 78107e2a",
      "$INSTDIR\\bin\\calls.bin 540 b58bc1d3", "$INSTDIR\\bin\\hello.txt 6 363a3020"};
  for (const std::string file :
       {"zlib", "zlib-solid", "bzip2", "bzip2-solid", "lzma", "lzma-solid", "lzma-filtered"}) {
    const Walk walk = WalkWith(kNsis, Fixture("nsis/" + file + ".exe"));
    EXPECT_TRUE(walk.finished) << file;
    std::vector<std::string> found;
    for (const WalkedMember& member : walk.members) {
      EXPECT_TRUE(member.extracted) << file << member.name;
      found.push_back(member.name + " " + Digest(member.data));
    }
    EXPECT_EQ(found, expected) << file;
  }
}

TEST(Nsis, DamageFailsWhatItIsIn) {
  NsisBuilder installer;
  installer.data = NsisData::kStored;
  const uint32_t block = installer.Block("A");
  installer.File(u"a", block);
  const Bytes file = installer.Build();
  constexpr size_t kLength = 532, kScript = 544, kEntries = kScript + 300;
  const size_t data = file.size() - 9;
  const std::string good = "$INSTDIR\\a=A $";
  const Rows<Bytes, std::string> rows = {
      {"as written", file, good},
      {"no script", Bytes(file).PatchU32(kLength, 0), "damaged"},
      {"another length of the script", Bytes(file).PatchU32(kLength, 400), "damaged"},
      {"a script of 4 GiB", Bytes(file).PatchU32(kLength, 0xFFFFFFFF).PatchU32(540, 0xFFFFFFFF), "damaged"},
      {"the first header is cut", Bytes(file).CutTo(539), "damaged"},
      {"the script is cut", Bytes(file).CutTo(800), "damaged"},
      {"entries inside the tables", Bytes(file).PatchU32(kScript + 20, 60), "damaged"},
      {"entries behind the script", Bytes(file).PatchU32(kScript + 20, 5000), "damaged"},
      {"strings behind the script", Bytes(file).PatchU32(kScript + 28, 5000), "damaged"},
      {"more entries than fit", Bytes(file).PatchU32(kScript + 24, 0xFFFFFFFF), "$INSTDIR\\a=A damaged"},
      {"no end of the last string", Bytes(file).PatchU8(data - 1, 'b'), "$INSTDIR\\ab=A $"},
      {"a name behind the table", Bytes(file).PatchU32(kEntries + 8, 4), "unknown=A $"},
      {"a block behind the file", Bytes(file).PatchU32(kEntries + 12, 4000), "$INSTDIR\\a! $"},
      {"a block at 4 GiB", Bytes(file).PatchU32(kEntries + 12, 0xFFFFFFFF), "$INSTDIR\\a! $"},
      {"a block that ends with the file", Bytes(file).PatchU32(data, 5),
       "$INSTDIR\\a=A" + std::string(4, '\0') + " $"},
      {"a block that ends behind the file", Bytes(file).PatchU32(data, 6), "$INSTDIR\\a! $"},
      {"a compressed block that is not", Bytes(file).PatchU32(data, 0x80000001), "$INSTDIR\\a! $"},
  };
  ExpectRows(rows, [](const Bytes& bytes) { return WalkText(kNsis, bytes.data); });
}

// Each pair of files costs the whole of the data in front of the second, which are 4 MiB.
TEST(Nsis, JumpingBackInSolidDataEnds) {
  NsisBuilder installer;
  installer.data = NsisData::kSolid;
  const uint32_t first = installer.Block("first");
  (void)installer.Block(Bytes().Fill(4 << 20, 0));
  const uint32_t last = installer.Block("last");
  for (uint32_t i = 0; i < 100; ++i) installer.File(u"a", first).File(u"b", last);
  const Walk walk = WalkWith(kNsis, installer.Build().data);
  EXPECT_EQ(walk.members.size(), 200u);
  const auto extracted = std::ranges::count(walk.members, true, &WalkedMember::extracted);
  EXPECT_EQ(extracted, 100 + 64) << "256 MiB are decoded in vain";
}

TEST(Nsis, SurvivesDamage) {
  for (const NsisData data : {NsisData::kStored, NsisData::kSolid}) {
    SweepDamage(kNsis,
                WithUninstaller(data, 62, Bytes().U32(1).U32(1).U8(1).U32(0)).File(u"x", 0).Build().data);
  }
  for (const char* file : {"nsis/lzma.exe", "nsis/lzma-filtered.exe", "nsis/bzip2-solid.exe"})
    SweepDamage(kNsis, Fixture(file));
}

}  // namespace
}  // namespace brix
