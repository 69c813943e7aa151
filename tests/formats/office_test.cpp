// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// office_test.cpp - packages in each layout, and where a walk finds them.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/compound_builder.h"
#include "support/deflate_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kWord = 17;
constexpr uint32_t kExcel = 18;
constexpr uint32_t kPowerPoint = 19;
constexpr uint32_t kPackage = 20;
const std::u16string kPackageName = u"\x01Ole10Native";

Bytes Packaged(const std::string& label, const std::string& text, uint32_t more = 0) {
  const auto zero = std::string_view("", 1);
  Bytes rest = Bytes().U16(2).Text(label).Text(zero).Text("C:\\from").Text(zero).U16(0).U16(3).U32(8);
  rest.Text("C:\\temp").Text(zero).U32(static_cast<uint32_t>(text.size()) + more).Text(text);
  return Bytes().U32(rest.size()).Raw(rest);
}
Bytes Raw(const std::string& text) { return Bytes().U32(static_cast<uint32_t>(text.size())).Text(text); }

Bytes With(const std::u16string& name, const Bytes& data) {
  CompoundBuilder file;
  file.Stream(name, data);
  return file.Build();
}

TEST(Office, TellsPackagesByTheirLayout) {
  const Bytes mark = Bytes().U32(0xFFFFFFFF);
  const std::string most(511, 'n');
  const Rows<Bytes, std::string> rows = {
      {"a packaged file", Packaged("a.txt", "text"), "a.txt=text $"},
      {"the leading size is not looked at", Packaged("a.txt", "text").PatchU32(0, 7), "a.txt=text $"},
      {"the longest label", Packaged(most, "text"), most + "=text $"},
      {"a label that does not end in 512 bytes", Packaged(most + "n", "text").PatchU32(0, 1), "damaged"},
      {"data a byte too long, as no size is right", Packaged("a.txt", "text", 1).PatchU32(0, 1),
       "a.txt=text $"},
      {"none of the data", Packaged("a.txt", "", ~0u).PatchU32(0, 1), "a.txt= $"},
      {"no room for the data's size", Packaged("a.txt", "").CutTo(37).PatchU32(0, 1), "damaged"},
      {"the leading size is right, so all is raw data", Packaged("", "text", 1),
       "Unknown=" + Text(Packaged("", "text", 1).data).substr(4) + " $"},
      {"a raw object", Bytes(mark).U32(2).Fill(32, 'h').Text("text"), "Unknown=text $"},
      {"of the other kind, nothing in it", Bytes(mark).U32(3).Fill(32, 0), "Unknown= $"},
      {"cut in its header", Bytes(mark).U32(2).Fill(31, 0), "damaged"},
      {"a size and raw data", Raw("text"), "Unknown=text $"},
      {"that begin as a packaged file does", Raw(std::string("\2\0end", 5)),
       std::string("Unknown=\2\0end $", 15)},
      {"a size that differs", Raw("text").U8(0), "damaged"},
      {"shorter than 8 bytes", Raw("abc"), "damaged"},
  };
  ExpectRows(rows, [](const Bytes& package) { return WalkLine(kPackage, With(kPackageName, package)); });
}

TEST(Office, KeepsUnknownCapitalisedForPackagesWithoutALabel) {
  EXPECT_EQ(WalkLine(kPackage, With(kPackageName, Packaged("", ""))), "Unknown= $");
}

TEST(Office, KeepsStoragesOfBrokenPackagesClosed) {
  CompoundBuilder file;
  file.Stream(u"Workbook", Bytes().Text("x"));
  const uint32_t bad = file.Storage(u"1");
  file.Stream(kPackageName, Bytes().Text("12345678"), bad);
  file.Stream(kPackageName, Raw("not entered"), file.Storage(u"inside", bad));
  file.Stream(kPackageName, Raw("next"), file.Storage(u"2"));
  EXPECT_EQ(WalkLine(kExcel, file.Build()), "Unknown=next $");
}

TEST(Office, WalksTheStoragesThatItsTypeSays) {
  // Objects 1 to 4: in the root, in the pool, two levels below it, one after that.
  CompoundBuilder file;
  file.Stream(u"WordDocument", Bytes().Text("x"));
  file.Stream(kPackageName, Raw("root"), file.Storage(u"MBD1"));
  const uint32_t pool = file.Storage(u"objectpool");
  file.Stream(kPackageName, Raw("pool itself"), pool);
  file.Stream(u"\x01oLE10nATIVE", Packaged("label", "pool"), file.Storage(u"_1", pool));
  const uint32_t deep = file.Storage(u"deep", file.Storage(u"_2", pool));
  file.Stream(u"other", Bytes().Text("x"), deep);
  file.Stream(kPackageName, Raw("deep"), file.Storage(u"deeper", deep));
  file.Stream(kPackageName, Packaged("large", std::string(5000, 'L')), file.Storage(u"_4", pool));
  const Bytes& bytes = file.Build();
  EXPECT_EQ(WalkLine(kWord, bytes, 2), "label=po Unknown=de large=LL $");
  // The pool holds a package itself, so that an Excel document's walk does not enter it.
  EXPECT_EQ(WalkLine(kExcel, bytes, 50), "Unknown=root Unknown=pool itself $");
  EXPECT_EQ(WalkLine(kWord, Bytes(bytes).PatchU8(file.EntryAt(pool), 'X')), "$") << "no pool";
  EXPECT_EQ(WalkLine(kWord, Bytes(bytes).PatchU32(file.EntryAt(deep) + 76, pool), 2),
            "label=po large=LL damaged");
}

// A compound file with a directory of any size: the builder's header and tables, then one entry again and again, each
// the left sibling of the one before it.
class EndlessRoot final : public Stream {
 public:
  explicit EndlessRoot(uint32_t entries) : entries_(entries) {
    const uint32_t sectors = entries / kPerSector + 1;
    head_ =
        Bytes().U32(0xE011CFD0).U32(0xE11AB1A1).PadTo(30).U16(16).U16(6).PadTo(44).U32(1).U32(1).PadTo(60);
    head_.U32(~1u).U32(0).U32(~1u).U32(0).U32(0).PadTo(1 << 16).U32(~2u);
    for (uint32_t i = 1; i <= sectors; ++i) head_.U32(i == sectors ? ~1u : i + 1);
    head_.PadTo(2 << 16);
  }
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    for (*got = 0; *got < size;) {
      const uint32_t index = (offset - head_.size()) / 128, at = offset % 128;
      const uint32_t run = std::min(size - *got, 128 - at);
      entry_.PatchU32(68, index == 0 || index == entries_ ? ~0u : index + 1)
          .PatchU32(76, index == 0 ? 1 : ~0u);
      std::copy_n((offset < head_.size() ? &head_.data[offset - at] : &entry_.data[0]) + at, run, buf + *got);
      *got += run, offset += run;
    }
    return true;
  }
  [[nodiscard]] bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  [[nodiscard]] bool SetSize(uint32_t) override { return false; }
  [[nodiscard]] bool GetSize(uint32_t* size) override {
    *size = head_.size() + ((entries_ / kPerSector + 1) << 16);
    return true;
  }

 private:
  static constexpr uint32_t kPerSector = 512;
  const uint32_t entries_;
  Bytes head_;
  Bytes entry_ = Bytes().PadTo(66).U16(2).U32(0).U32(~0u).PadTo(128);
};

TEST(Office, GivesUpTheSearchForAPackageAfterAMillionEntries) {
  for (const auto& [entries, ends] : {std::pair(5000u, true), {1000001u, false}}) {
    EndlessRoot in(entries);
    const FormatEntry* const row = Formats().Find(kExcel);
    const std::unique_ptr<ArchiveHandler> handler(row->create(&in, {kExcel, 0, 0, Formats()}));
    char name[kNameBufferSize];
    EXPECT_EQ(handler->OpenArchive(name), ends) << entries;
    EXPECT_STREQ(name, "");
  }
}

Bytes Record(uint32_t version, uint32_t type, const Bytes& data) {
  return Bytes().U16(version).U16(type).U32(data.size()).Raw(data);
}

TEST(PowerPoint, FindsEmbeddedObjectsAmongItsRecords) {
  const Bytes storage = With(kPackageName, Packaged("a", "text"));
  const uint32_t size = storage.size();
  Bytes packed = Bytes().U32(size).U8(0x78).U8(0x9C).U8(1).U16(size).U16(~size & 0xFFFF).Raw(storage);
  const Bytes object = Record(0x10, 4113, packed);
  // A record of these data, and a good one behind it.
  const auto then = [&](const Bytes& data) { return Record(0x10, 4113, data).Raw(object); };
  const auto stating = [&](uint32_t value) { return then(Bytes(packed).PatchU32(0, value)); };
  Bytes deep = object;
  for (int depth = 0; depth < 20; ++depth) deep = Record(15, 1000, deep);
  const Rows<Bytes, const char*> rows = {
      {"compressed", object, "a=text $"},
      {"as it is", then(storage), "a=text a=text $"},
      {"of another type", Record(0x10, 4112, packed).Raw(object), "a=text $"},
      {"a size of 0", stating(0), "a=text $"},
      {"a size of 20 MiB", stating(0x1400000), "a=text $"},
      {"less than stated", stating(size + 1), "a=text $"},
      {"more than stated", stating(size - 1), "a=text $"},
      {"data without an end", then(Bytes(packed).PatchU8(6, 0)), "a=text a=text $"},
      {"no compound file", then(Bytes(packed).PatchU8(11, 0)), "a=text $"},
      {"too short for a size", then(Bytes().U8(1)), "a=text $"},
      {"inside another record", Record(15, 1000, object).Raw(object), "a=text a=text $"},
      {"in one with a record that ends too late", Record(15, 1000, Bytes().U32(1).U32(99)).Raw(object),
       "a=text $"},
      {"deeper than is looked at", deep.Raw(object), "a=text $"},
      {"a length behind the end", Record(0, 1, Bytes()).PatchU32(4, 0xFFFFFFFF).Raw(object), "$"},
      {"an object's length past the stream, its data whole", Bytes(object).PatchU32(4, 0xFFFFFFFF),
       "a=text $"},
      {"past its container, too", Record(15, 1000, Bytes(object).PatchU32(4, packed.size() + 1)).Raw(object),
       "a=text a=text $"},
      {"past it, as its data are", Record(15, 1000, object).PatchU32(4, 20), "a=text $"},
      {"past the stream, and the data cut", Bytes(object).CutTo(object.size() - 1), "$"},
      {"of an object as it is, cut at its container",
       Record(15, 1000, Record(0x10, 4113, storage).PatchU32(4, 0xFFFFFFFF)).Raw(object), "a=text a=text $"},
  };
  ExpectRows(rows, [](const Bytes& r) { return WalkLine(kPowerPoint, With(u"PowerPoint Document", r)); });
}

TEST(PowerPoint, BoundsWhatRecordsReadPastTheirContainers) {
  // Each object's data run through all containers that follow: a stored block hides the next one's headers.
  const Bytes object = Bytes().U32(0x13FFFFF).U16(0x9C78).U8(0).U16(22).U16(0xFFFF - 22);
  const Bytes unit = Record(15, 1000, Record(0x10, 4113, object).PatchU32(4, 0x7FFFFFFF));
  const Bytes whole = Record(0x10, 4113, With(kPackageName, Packaged("a", "text")));
  for (const auto& [count, line] : {std::pair(100, "a=text $"), {3000, "a=text damaged"}}) {
    Bytes records;
    for (int i = 0; i < count; ++i) records.Raw(unit);
    EXPECT_EQ(WalkLine(kPowerPoint, With(u"PowerPoint Document", records.Raw(whole))), line) << count;
  }
}

TEST(PowerPoint, BoundsTheSizeOfAnObject) {
  const Bytes storage = With(kPackageName, Packaged("a", "text"));
  const auto object = [&](uint32_t size) {
    const uint32_t rest = size - storage.size();
    std::vector<Token> tokens(rest / 258, Token{258, 1});
    tokens.insert(tokens.end(), rest % 258, Token{0, 0});
    DeflateBuilder deflate;
    deflate.Stored(storage.data, false).Fixed(tokens, true);
    return Record(0x10, 4113, Bytes().U32(size).U16(0x9C78).Raw(deflate.bits.bytes()));
  };
  const Bytes largest = object(0x13FFFFF);
  // More than their container, so that they may overlap: all that they inflate to counts.
  const Bytes past = Record(15, 1000, Bytes(largest).PatchU32(4, 0x7FFFFFFF));
  const Rows<Bytes, const char*> rows = {
      {"the largest", largest, "a=text $"},
      {"20 MiB", object(0x1400000), "$"},
      {"past their containers", Bytes(past).Raw(past).Raw(past), "a=text a=text a=text $"},
      {"more of those", Bytes(past).Raw(past).Raw(past).Raw(past).Raw(past),
       "a=text a=text a=text a=text a=text damaged"},
  };
  ExpectRows(rows, [](const Bytes& r) { return WalkLine(kPowerPoint, With(u"PowerPoint Document", r)); });
}

TEST(Office, KeepsGoingOnWhereAnExtractionWithALimitEnded) {
  const Bytes bytes = With(kPackageName, Packaged("a", "0123456789"));
  FixedMemoryStream in(bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler != nullptr && handler->OpenArchive(name));
  for (const auto& [limit, text] : {std::pair(4u, "0123"), {3u, "456"}, {0u, "789"}, {0u, ""}, {9u, ""}}) {
    MemoryStream out;
    uint32_t written = 1;
    EXPECT_TRUE(handler->ExtractMember(&out, limit, &written));
    EXPECT_TRUE(Text(out.bytes()) == text && written == out.bytes().size()) << text;
  }
}

TEST(Office, ReadsCompoundFilesWrittenByGsf) {
  const Rows<uint32_t, const char*> rows = {
      {"office/package.doc", 17, "note.txt=text in a Word document\n $"},
      {"office/nested.xls", 18, "Unknown=raw\r\n $"},
      {"office/package.ole", 20, "slide.txt=text in a presentation\n $"},
      {"office/objects.ppt", 19, "slide.txt=text in a presentation\n slide.txt=text in a presentation\n $"},
  };
  for (const auto& [file, type_id, line] : rows) {
    const Bytes bytes(Fixture(file));
    FixedMemoryStream in(bytes.data);
    EXPECT_EQ(Formats().DetectArchiveType(in, 0), type_id) << file;
    EXPECT_EQ(WalkLine(type_id, bytes), line);
    SweepDamage(type_id, bytes.data, 8000);
  }
}

}  // namespace
}  // namespace brix
