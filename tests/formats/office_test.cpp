// office_test.cpp - packages in each layout, and where a walk finds them.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/compound_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kWord = 17;
constexpr uint32_t kExcel = 18;
constexpr uint32_t kPowerPoint = 19;
constexpr uint32_t kPackage = 20;
const std::u16string kPackageName = u"\x01Ole10Native";

Bytes Packaged(const std::string& label, const std::string& text, uint32_t size) {
  const auto zero = std::string_view("", 1);
  Bytes rest = Bytes().U16(2).Text(label).Text(zero).Text("C:\\from").Text(zero).U16(0).U16(3).U32(8);
  rest.Text("C:\\temp").Text(zero).U32(size).Text(text);
  return Bytes().U32(rest.size()).Raw(rest);
}
Bytes Packaged(const std::string& label, const std::string& text) {
  return Packaged(label, text, static_cast<uint32_t>(text.size()));
}
Bytes Raw(const std::string& text) { return Bytes().U32(static_cast<uint32_t>(text.size())).Text(text); }

Bytes Bare(const Bytes& package) {
  CompoundBuilder file;
  file.Stream(kPackageName, package);
  return file.Build();
}

TEST(Office, TellsPackagesByTheirLayout) {
  const Bytes mark = Bytes().U32(0xFFFFFFFF);
  const std::string most(511, 'n');
  const Rows<Bytes, std::string> rows = {
      {"a packaged file", Packaged("a.txt", "text"), "a.txt=text $"},
      {"bytes behind the data", Packaged("a.txt", "text").Text("more"), "a.txt=text $"},
      {"without a label or data", Packaged("", ""), "Unknown= $"},
      {"the leading size is not looked at", Packaged("a.txt", "text").PatchU32(0, 7), "a.txt=text $"},
      {"the longest label", Packaged(most, "text"), most + "=text $"},
      {"a label that does not end in 512 bytes", Packaged(most + "n", "text").PatchU32(0, 1), "damaged"},
      {"data a byte too long", Packaged("a.txt", "text", 5).PatchU32(0, 1), "damaged"},
      {"much too long", Packaged("a.txt", "text", 0xFFFFFFFF).PatchU32(0, 1), "damaged"},
      {"a raw object", Bytes(mark).U32(2).Fill(32, 'h').Text("text"), "Unknown=text $"},
      {"of the other kind, nothing in it", Bytes(mark).U32(3).Fill(32, 0), "Unknown= $"},
      {"cut in its header", Bytes(mark).U32(2).Fill(31, 0), "damaged"},
      {"of another kind", Bytes(mark).U32(4).Fill(40, 0), "damaged"},
      {"a size and raw data", Raw("text"), "Unknown=text $"},
      {"that begin as a packaged file does", Raw(std::string("\2\0end", 5)),
       std::string("Unknown=\2\0end $", 15)},
      {"a size that differs", Raw("text").U8(0), "damaged"},
      {"shorter than 8 bytes", Raw("abc"), "damaged"},
  };
  ExpectRows(rows, [](const Bytes& package) { return WalkLine(kPackage, Bare(package)); });
}

TEST(Office, WalksTheStoragesThatItsTypeSays) {
  // Objects 1 to 5: in the root, in the pool, two levels below it, one that does not parse, one behind it.
  CompoundBuilder file;
  file.Stream(u"WordDocument", Bytes().Text("x"));
  file.Stream(kPackageName, Raw("root"), file.Storage(u"MBD1"));
  const uint32_t pool = file.Storage(u"objectpool");
  file.Stream(kPackageName, Raw("pool itself"), pool);
  file.Stream(u"\x01oLE10nATIVE", Packaged("label", "pool"), file.Storage(u"_1", pool));
  const uint32_t deep = file.Storage(u"deep", file.Storage(u"_2", pool));
  file.Stream(u"other", Bytes().Text("x"), deep);
  file.Stream(kPackageName, Raw("deep"), file.Storage(u"deeper", deep));
  const uint32_t bad = file.Storage(u"_3", pool);
  file.Stream(kPackageName, Bytes().Text("12345678"), bad);
  file.Stream(kPackageName, Raw("not entered"), file.Storage(u"inside", bad));
  file.Stream(kPackageName, Packaged("large", std::string(5000, 'L')), file.Storage(u"_4", pool));
  const Bytes& bytes = file.Build();
  EXPECT_EQ(WalkLine(kWord, bytes, 2), "label=po Unknown=de large=LL $");
  // The pool holds a package itself, so that an Excel document's walk does not enter it.
  EXPECT_EQ(WalkLine(kExcel, bytes, 50), "Unknown=root Unknown=pool itself $");
  const Bytes no_pool = Bytes(bytes).PatchU8(file.EntryAt(pool), 'X');
  EXPECT_EQ(WalkLine(kWord, no_pool), "$");
  const Bytes circle = Bytes(bytes).PatchU32(file.EntryAt(deep) + 76, pool);
  EXPECT_EQ(WalkLine(kWord, circle, 2), "label=po large=LL damaged");
  SweepDamage(kWord, bytes.data, 6000);
}

Bytes Record(uint32_t version, uint32_t type, const Bytes& data) {
  return Bytes().U16(version).U16(type).U32(data.size()).Raw(data);
}
// A compound file in stored blocks behind its size and a zlib header.
Bytes Compressed(const Bytes& storage, bool has_end = true, int32_t stated_more = 0) {
  const Bytes block =
      Bytes().U8(has_end ? 1 : 0).U16(storage.size()).U16(~storage.size() & 0xFFFF).Raw(storage);
  return Bytes().U32(storage.size() + static_cast<uint32_t>(stated_more)).U8(0x78).U8(0x9C).Raw(block);
}
std::string Presented(const Bytes& records) {
  CompoundBuilder file;
  file.Stream(u"PowerPoint Document", records);
  return WalkLine(kPowerPoint, file.Build());
}

TEST(PowerPoint, FindsEmbeddedObjectsAmongItsRecords) {
  const Bytes storage = Bare(Packaged("a", "text"));
  const Bytes object = Record(0x10, 4113, Compressed(storage));
  Bytes deep = object;
  const Bytes limits[] = {Compressed(storage).PatchU32(0, 0), Compressed(storage).PatchU32(0, 0x1400000)};
  const auto in = [](const Bytes& inside, int32_t more) {
    return Record(15, 1000, inside).PatchU32(4, inside.size() + static_cast<uint32_t>(more));
  };
  for (int depth = 0; depth < 20; ++depth) deep = in(deep, 0);
  const auto bad = [&](const Bytes& data) { return Record(0x10, 4113, data).Raw(object); };
  const Rows<Bytes, const char*> rows = {
      {"compressed", object, "a=text $"},
      {"as it is", Record(0, 4113, storage), "a=text $"},
      {"one after the other", bad(storage), "a=text a=text $"},
      {"of another type", Record(0x10, 4112, Compressed(storage)).Raw(object), "a=text $"},
      {"a size of 0", bad(limits[0]), "a=text $"},
      {"a size of 20 MiB", bad(limits[1]), "a=text $"},
      {"data without an end", bad(Compressed(storage, false)), "a=text a=text $"},
      {"less than stated", bad(Compressed(storage, true, 1)), "a=text $"},
      {"more than stated", bad(Compressed(storage, true, -1)), "a=text $"},
      {"no compound file", bad(Compressed(Bytes().Fill(600, 'x'))), "a=text $"},
      {"a storage without a package", bad(CompoundBuilder().Build()), "a=text $"},
      {"too short for a size", bad(Bytes().U8(1)), "a=text $"},
      {"inside another record", in(in(object, 0), 0).Raw(object), "a=text a=text $"},
      {"inside one that ends too late", in(object, 100), "a=text $"},
      {"a record inside that ends too late", in(Bytes().U16(0).U16(1).U32(99), 0).Raw(object), "a=text $"},
      {"behind records in records, deeper than looked at", Bytes(deep).Raw(object), "a=text $"},
      {"a length behind the end", Record(0, 1, Bytes()).PatchU32(4, 0xFFFFFFFF).Raw(object), "$"},
      {"less than a header at the end", Bytes(object).Fill(7, 0), "a=text $"},
      {"nothing", Bytes(), "$"},
  };
  ExpectRows(rows, Presented);
}

TEST(Office, KeepsGoingOnWhereAnExtractionWithALimitEnded) {
  const Bytes bytes = Bare(Packaged("a", "0123456789"));
  FixedMemoryStream in(bytes.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler != nullptr && handler->OpenArchive(name));
  EXPECT_EQ(handler->GetTypeId(), kPackage);
  for (const auto& [limit, text] : {std::pair(4u, "0123"), {3u, "456"}, {0u, "789"}, {0u, ""}, {9u, ""}}) {
    MemoryStream out;
    uint32_t written = 1;
    EXPECT_TRUE(handler->ExtractMember(&out, limit, &written));
    EXPECT_EQ(Text(out.bytes()), text);
    EXPECT_EQ(written, out.bytes().size());
  }
}

TEST(Office, ReadsCompoundFilesWrittenByGsf) {
  const std::tuple<const char*, uint32_t, const char*> files[] = {
      {"package.doc", kWord, "note.txt=text in a Word document\n $"},
      {"nested.xls", kExcel, "Unknown=raw\r\n $"},
      {"package.ole", kPackage, "slide.txt=text in a presentation\n $"},
      {"objects.ppt", kPowerPoint, "slide.txt=text in a presentation\n slide.txt=text in a presentation\n $"},
  };
  for (const auto& [file, type_id, line] : files) {
    const Bytes bytes(Fixture(std::string("office/") + file));
    FixedMemoryStream in(bytes.data);
    EXPECT_EQ(Formats().DetectArchiveType(in, 0), type_id) << file;
    EXPECT_EQ(WalkLine(type_id, bytes), line);
    if (type_id != kWord) SweepDamage(type_id, bytes.data, 8000);
  }
}

}  // namespace
}  // namespace brix
