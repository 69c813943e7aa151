// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "support/compound_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kMsi = 11;

std::string Listed(const std::vector<std::u16string>& names) {
  CompoundBuilder file;
  for (const std::u16string& name : names) file.Stream(name, Bytes().Text("x"));
  return WalkLine(kMsi, file.Build());
}

TEST(Msi, UnpacksNamesAndLeavesTablesOut) {
  const Rows<std::vector<std::u16string>, const char*> rows = {
      {"pairs", {u"\x3A4B\x3FAC"}, "B9iU=x $"},
      {"an odd number of characters", {u"\x3A4B\x4824"}, "B9a=x $"},
      {"tables and property sets", {u"\x4840\x3A4B", u"\x5Summary", u"\x4825"}, "b=x $"},
      {"characters that are not packed", {u"\x3A4B-\xE9\x20AC\x4825"}, "B9-\xC3\xA9\xE2\x82\xAC\x62=x $"},
      {"no name, or an empty raw one, does not end the walk",
       {u"", u"\x3800" + std::u16string(31, u'\x3A4B'), u"\x4825"},
       "unknown=x unknown=x b=x $"},
  };
  ExpectRows(rows, Listed);
}

TEST(Msi, KeepsOddNames) {
  const std::u16string full(32, u'\x3A4B');
  EXPECT_EQ(Listed({u"\x3A40"}), "$") << "a zero in front is a table's";
  EXPECT_EQ(Listed({u"\x47E5"}), "$") << "the second character is an underscore";
  EXPECT_EQ(Listed({u"\x483F\x3A4B"}), "_=x $") << "nothing after a single character";
  EXPECT_EQ(Listed({full.substr(1)}).size(), 62u + 4) << "31 units are unpacked";
  EXPECT_EQ(Listed({full}).substr(0, 8), "K:K:K:K:") << "32 are not";
  EXPECT_EQ(Listed({u"a" + full.substr(1)}), "a=x $") << "and end at a zero byte";
}

TEST(Msi, ListsTheRootOnlyAndHoldsLimits) {
  CompoundBuilder file;
  file.Stream(u"\x4825", Bytes().Text("inside"), file.Storage(u"\x4824"));
  file.Stream(u"\x4826", Bytes().Text("small"));
  file.Stream(u"\x4827", Bytes().Text("large").PadTo(5000));
  EXPECT_EQ(WalkLine(kMsi, file.Build(), 3), "c=sma d=lar $");
  SweepDamage(kMsi, file.bytes.data, 10000);
}

TEST(Msi, ReadsADatabaseWrittenByMsibuild) {
  const Walk walk = WalkWith(kMsi, Fixture("msi/two-streams.msi"));
  ASSERT_TRUE(walk.finished && walk.members.size() == 2);
  EXPECT_EQ(walk.members[0].name + " " + Digest(walk.members[0].data), "Two 4340 870fe6ce");
  EXPECT_EQ(walk.members[1].name + "=" + Text(walk.members[1].data), "one.txt=a text of the first stream\n");
}

}  // namespace
}  // namespace brix
