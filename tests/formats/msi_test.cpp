#include <gtest/gtest.h>

#include "support/compound_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kMsi = 11;

Bytes With(const std::vector<std::u16string>& names) {
  CompoundBuilder file;
  for (const std::u16string& name : names) file.Stream(name, Bytes().Text("x"));
  return file.Build();
}

TEST(Msi, UnpacksNamesAndLeavesTablesOut) {
  const Rows<std::vector<std::u16string>, const char*> rows = {
      {"pairs", {u"\x3A4B\x3FAC"}, "B9iU=x $"},
      {"an odd number of characters", {u"\x3A4B\x4824"}, "B9a=x $"},
      {"one character", {u"\x483F"}, "_=x $"},
      {"nothing behind a single character", {u"\x4824\x3A4B"}, "a=x $"},
      {"a table", {u"\x4840\x3A4B"}, "$"},
      {"a property set", {u"\x5Summary", u"\x4825"}, "b=x $"},
      {"characters that are not packed",
       {u"\x3A4B-\xE9\x20AC\x4824"},
       "B9-\xC3\xA9\xE2\x82\xAC"
       "a=x $"},
      {"31 units",
       {std::u16string(31, u'\x3A4B')},
       "B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9B9=x $"},
      {"no name at all does not end the walk", {u"", u"\x4825"}, "unknown=x b=x $"},
      {"an empty raw name neither", {u"\x3800" + std::u16string(31, u'\x3A4B')}, "unknown=x $"},
  };
  ExpectRows(rows, [](const auto& names) { return WalkLine(kMsi, With(names)); });
}

TEST(Msi, KeepsOddNames) {
  const Rows<std::vector<std::u16string>, const char*> rows = {
      {"a zero in front is a table's", {u"\x3A40"}, "$"},
      {"the second character is an underscore", {u"\x47E5"}, "$"},
      {"32 units are not unpacked",
       {std::u16string(32, u'\x3A4B')},
       "K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:K:=x $"},
      {"and end at a zero byte", {u"a" + std::u16string(31, u'\x3A4B')}, "a=x $"},
  };
  ExpectRows(rows, [](const auto& names) { return WalkLine(kMsi, With(names)); });
}

TEST(Msi, ListsTheRootOnlyAndHoldsLimits) {
  CompoundBuilder file;
  const uint32_t storage = file.Storage(u"\x4824");
  file.Stream(u"\x4825", Bytes().Text("inside"), storage);
  file.Stream(u"\x4826", Bytes().Text("small"));
  file.Stream(u"\x4827", Bytes().Text("large").PadTo(5000));
  EXPECT_EQ(WalkLine(kMsi, file.Build(), 3), "c=sma d=lar $");
  EXPECT_EQ(WalkLine(kMsi, file.bytes).size(), std::string("c=small d= $").size() + 5000);
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
