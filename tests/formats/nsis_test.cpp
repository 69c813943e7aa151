// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_test.cpp - names as scripts give them, blocks in all layouts, and what damaged installers come to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/nsis_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kNsis = 21;
using Text16 = std::u16string;
constexpr std::array kLayouts = {NsisData::kStored, NsisData::kDeflated, NsisData::kSolid};

// The name under which a string shows.
std::string NameOf(const Text16& text, bool wide) {
  NsisBuilder installer(wide);
  installer.File(text, installer.Block(""));
  const Walk walk = WalkWith(kNsis, installer.Build().data);
  return walk.members.size() == 1 ? walk.members[0].name : "no member";
}

TEST(Nsis, ExpandsStrings) {
  const auto filled = [](size_t size, const Text16& text) {
    return Text16(size, u'a') + text + Text16(600, u'b');
  };
  const std::string all_a = "$INSTDIR\\" + std::string(502, 'a');
  const Rows<Text16, std::string> bytes = {
      {"variable 1", u"\xFD\x81\x80", "$1"},
      {"variable 11, without the high bits", u"\xFD\x0B\x80\\x", "$R1\\x"},
      {"the installation directory", u"\xFD\x95\x80", "$INSTDIR"},
      {"folder 26", u"\xFE\x02\x1A", "$QUICKLAUNCH"},
      {"folder without a name", u"\xFE\x02\x03", "$"},
      {"last folder of the table", u"\xFE\x02\x39", "$RESOURCES_LOCALIZED"},
      {"language string", u"x\xFF\x81\x80y", "$INSTDIR\\xNSIS_LANG_CODEy"},
      {"drive", u"C:\\x", "C:\\x"},
      {"cut at 1,024 bytes", Text16(1500, u'a'), all_a},
      {"a code at 1,020", filled(1020, u"\xFD\x81\x80"), all_a},
      {"a code at 1,021", filled(1021, u"\xFD\x81\x80"), "unknown"},
      {"a code that comes to 1,023 bytes", filled(1015, u"\xFD\x95\x80"), all_a},
      {"a code that comes to 1,024 bytes", filled(1016, u"\xFD\x95\x80"), "unknown"},
      {"version 3: variable 27", u"\x03\x9B\x80", "$EXEPATH"},
      {"version 3: variable 32", u"\x03\xA0\x80", "$[32]"},
      {"version 3: application data", u"\x02\x1A\x23", "$APPDATA"},
      {"version 3: common files of 64 bits", u"\x02\xD1\x46", "$COMMONFILES64"},
      {"version 3: language, quoted", u"x\x01\x81\x80\x04\x02\xFDy", "$INSTDIR\\xNSIS_LANG_CODE\x02\xFDy"},
  };
  ExpectRows(bytes, [](const Text16& text) { return NameOf(text, false); });
  const Rows<Text16, std::string> units = {
      {"characters", u"\x03\x8095\\\u00FC\u20AC\U0001F600", "$INSTDIR\\\u00FC\u20AC\U0001F600"},
      {"half a pair", Text16(u"\x03\x8095") + char16_t{0xD800} + u"x", "$INSTDIR\xED\xA0\x80x"},
      {"language, quoted", u"x\x01\x8081\x04\x02y", "$INSTDIR\\xNSIS_LANG_CODE\x02y"},
      {"a code at 1,022", filled(1022, u"\x02\x1702"), "unknown"},
      {"private codes", u"\xE001\x8095\\\xE002\x1702", "$INSTDIR\\$SMPROGRAMS"},
  };
  ExpectRows(units, [](const Text16& text) { return NameOf(text, true); });
}

TEST(Nsis, KeepsOldTablesForVersion2) {
  const Rows<Text16, std::string> rows = {
      {"variable 29", u"\xFD\x9D\x80", "$_OUTDIR"},
      {"variable 30", u"\xFD\x9E\x80", "$[30]"},
      {"folder by the second parameter, that of all users", u"\xFE\x02\x17", "$COMMONFILES"},
      {"version 3 by the first", u"\x02\x02\x17\\x", "$SMPROGRAMS\\x"},
      {"folder 59", u"\xFE\x02\x3B", "$SHELL[59]"},
      {"quoted character", u"x\xFC\xFC\x41z", "$INSTDIR\\xz"},
  };
  ExpectRows(rows, [](const Text16& text) { return NameOf(text, false); });
}

// A file stands where the entries in front of it say: each an opcode, its first parameter, unless a string is that,
// and a string.
TEST(Nsis, JoinsTheOutputDirectory) {
  struct Step {
    uint32_t op, number;
    Text16 text;
  };
  constexpr uint32_t kPath = 11, kOnlyMake = 1011, kAssign = 25;
  const Text16 out_dir = u"\xFD\x96\x80", saved = u"\xFD\x9F\x80", saved_before = u"\xFD\x9D\x80";
  const Text16 out_dir3 = u"\x03\x96\x80", saved3 = u"\x03\x9F\x80";  // of version 3
  const Rows<std::vector<Step>, std::string> rows = {
      {"none", {}, "$INSTDIR\\a=A $"},
      {"a directory", {{kPath, 0, u"C:\\d"}}, "C:\\d\\a=A $"},
      {"only made", {{kOnlyMake, 0, u"C:\\d"}}, "$INSTDIR\\a=A $"},
      {"below the one in force", {{kPath, 0, u"C:\\d"}, {kPath, 0, out_dir + u"\\e"}}, "C:\\d\\e\\a=A $"},
      {"below the one kept",
       {{kPath, 0, u"C:\\d"}, {kAssign, 31, out_dir}, {kPath, 0, saved + u"\\e"}, {kPath, 0, saved + u"\\f"}},
       "C:\\d\\f\\a=A $"},
      {"kept by its older number",
       {{kPath, 0, u"C:\\d"}, {kAssign, 29, out_dir}, {kPath, 0, u"C:\\e"}, {kPath, 0, saved_before}},
       "C:\\d\\a=A $"},
      {"by either number when none is kept",
       {{kPath, 0, u"C:\\d"}, {kPath, 0, saved_before + u"\\e"}},
       "$_OUTDIR\\e\\a=A $"},
      {"version 3: below the one kept",
       {{kPath, 0, u"C:\\d"}, {kAssign, 31, out_dir3}, {kPath, 0, u"C:\\e"}, {kPath, 0, saved3 + u"\\f"}},
       "C:\\d\\f\\a=A $"},
      {"version 3: kept no longer",
       {{kAssign, 31, out_dir3}, {kAssign, 31, u"text"}, {kPath, 0, saved3 + u"\\f"}},
       "$_OUTDIR\\f\\a=A $"},
      {"version 3: a window, not the older number",
       {{kAssign, 29, out_dir3}, {kPath, 0, u"\x03\x9D\x80\\e"}},
       "$HWNDPARENT\\e\\a=A $"},
      {"assigned", {{kAssign, 22, u"C:\\e"}}, "C:\\e\\a=A $"},
      {"too long", {{kPath, 0, Text16(1021, u'a') + saved}}, "unknown=A $"},
  };
  ExpectRows(rows, [](const std::vector<Step>& steps) {
    NsisBuilder installer;
    for (const Step& step : steps) {
      const uint32_t string = installer.String(step.text);
      step.op == kAssign ? installer.Entry(kAssign, {step.number, string})
                         : installer.Entry(kPath, {string, step.op == kPath ? 1u : 0u});
    }
    return WalkText(kNsis, installer.File(u"a", installer.Block("A")).Build().data);
  });
}

TEST(Nsis, ListsAFileOnceUnlessNameOrDataDiffer) {
  NsisBuilder installer;
  const uint32_t a = installer.Block("A");
  const uint32_t b = installer.Block("B");
  const uint32_t name = installer.String(u"f");
  const uint32_t plug_in = installer.String(u"\xFD\x9A\x80\\p");
  const uint32_t folder = installer.String(u"C:\\d");
  for (const uint32_t block : {a, a, b, a}) installer.Entry(20, {0, name, block});
  installer.Entry(20, {0, plug_in, a}).Entry(11, {folder, 1});
  for (const uint32_t string : {plug_in, name, name}) installer.Entry(20, {1, string, a});
  EXPECT_EQ(WalkText(kNsis, installer.Build().data),
            "$INSTDIR\\f=A $INSTDIR\\f=B $PLUGINSDIR\\p=A C:\\d\\f=A $");
}

NsisBuilder WithUninstaller(NsisData data, uint32_t op, const Bytes& patches) {
  NsisBuilder installer;
  installer.data = data;
  const uint32_t block = installer.Block(patches);
  (void)installer.Block("behind");
  const uint32_t name = installer.String(u"un.exe");
  const uint32_t path = installer.String(u"\xFD\x95\x80\\un.exe");
  return installer.Entry(op, {name, block, patches.size(), path});
}

TEST(Nsis, AnUninstallerIsTheProgramPatchedAndWhatFollowsIt) {
  const Bytes patches =
      Bytes().U32(2).U32(2).Text("XY").U32(3).U32(509).Text("end").U32(9).U32(508).Text("no room..").U32(0);
  for (const NsisData data : kLayouts) {
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

TEST(Nsis, BlocksComeOutInAllLayouts) {
  for (const NsisData data : kLayouts) {
    for (const bool variant : {false, true}) {
      NsisBuilder installer;
      installer.data = data;
      installer.long_tables = installer.has_complement = variant;
      const uint32_t second = installer.Block("second");
      const uint32_t first = installer.Block(Bytes().Fill(60000, 'x'));
      installer.File(u"1", first).File(u"2", second).File(u"3", installer.Block(""));
      EXPECT_EQ(WalkText(kNsis, installer.Build().data),
                "$INSTDIR\\1=" + std::string(60000, 'x') + " $INSTDIR\\2=second $INSTDIR\\3= $");
    }
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
  const Rows<Bytes, std::string> rows = {
      {"no script", Bytes(file).PatchU32(kLength, 0), "damaged"},
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
      {"a block that ends with the file", Bytes(file).PatchU32(data, 5),
       "$INSTDIR\\a=A" + std::string(4, '\0') + " $"},
      {"a block that ends behind the file", Bytes(file).PatchU32(data, 6), "$INSTDIR\\a! $"},
      {"a compressed block that is not", Bytes(file).PatchU32(data, 0x80000001), "$INSTDIR\\a! $"},
  };
  ExpectRows(rows, [](const Bytes& bytes) { return WalkText(kNsis, bytes.data); });
}

// The stated length counts from the first header, whose place is 512.
TEST(Nsis, TheStatedArchiveLengthBoundsTheData) {
  for (const NsisData data : kLayouts) {
    NsisBuilder installer;
    installer.data = data;
    const Bytes file = installer.File(u"a", installer.Block("text")).Build();
    const uint32_t whole = file.size() - 512;
    const auto stating = [&](uint32_t length) { return Bytes(file).PatchU32(536, length); };
    const Rows<Bytes, const char*> rows = {
        {"a signature after the archive", Bytes(file).Fill(1000, 's'), "$INSTDIR\\a=text $"},
        {"more than there is", stating(0xFFFFFFFF), "$INSTDIR\\a=text $"},
        {"without the checksum", stating(whole - 4), "$INSTDIR\\a=text $"},
        {"the script cut", stating(40), "damaged"},
        {"less than a block's length", stating(30), "damaged"},
        {"nothing", stating(0), "damaged"},
    };
    ExpectRows(rows, [](const Bytes& bytes) { return WalkText(kNsis, bytes.data); });
    const Walk walk = WalkWith(kNsis, stating(whole - 6).data);
    EXPECT_TRUE(walk.finished && walk.members.size() == 1 && !walk.members[0].extracted) << "the block cut";
  }
}

// Each pair of files costs the whole of the data before the second, which are 16 MiB.
TEST(Nsis, JumpingBackInSolidDataEnds) {
  NsisBuilder installer;
  installer.data = NsisData::kSolid;
  const uint32_t first = installer.Block("first");
  (void)installer.Block(Bytes().Fill(16 << 20, 0));
  const uint32_t last = installer.Block("last");
  for (uint32_t i = 0; i < 100; ++i) installer.File(u"a", first).File(u"b", last);
  const Bytes file = installer.Build();
  const Walk walk = WalkWith(kNsis, file.data);
  EXPECT_EQ(walk.members.size(), 200u);
  const auto extracted = std::ranges::count(walk.members, true, &WalkedMember::extracted);
  const double allowed = (64 << 20) + 64.0 * file.size();
  EXPECT_NEAR(static_cast<double>(extracted), 2 * allowed / ((16 << 20) / 16 + file.size()), 4);
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
