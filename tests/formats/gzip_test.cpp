// gzip_test.cpp - header fields, and what the one member of a gzip file shows.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kGzip = 7;

std::string WalkOf(const Bytes& file) { return WalkText(kGzip, file.data); }

const Bytes kText = Bytes().Text("text");

Bytes Named(std::string_view name) { return GzipSample(kText, 8, Bytes().Text(name).U8(0)); }

TEST(Gzip, ReadsPastTheHeadersFields) {
  const std::string longest(511, 'n');
  const Bytes whole = Named("a");
  const Rows<Bytes, std::string> rows = {
      {"no fields", GzipSample(kText), "unknown=text $"},
      {"a name", whole, "a=text $"},
      {"an empty name", Named(""), "unknown=text $"},
      {"the longest name", Named(longest), longest + "=text $"},
      {"extra field, name and header CRC", GzipSample(kText, 14, Bytes().U16(3).Text("xxxn").U8(0).U16(9)),
       "n=text $"},
      {"the trailer is not looked at", Bytes(whole).CutTo(whole.size() - 8), "a=text $"},
      {"nor another gzip member", Bytes(whole).Raw(Named("b")), "a=text $"},
      {"data cut", Bytes(whole).CutTo(whole.size() - 9), "a=tex! $"},
      {"the extra field reaches behind the file", GzipSample(kText, 4, Bytes().U16(0xFFFF)), "unknown! $"},
      {"the extra field's length is cut", Bytes().U8(0x1F).U8(0x8B).U8(8).U8(4).Fill(7, 0), "damaged"},
      {"no name where the file ends", Bytes().U8(0x1F).U8(0x8B).U8(8).U8(8).Fill(6, 0), "damaged"},
      {"cut before the extra flags", Bytes().U8(0x1F).U8(0x8B).U8(8).Fill(5, 0), "damaged"},
      {"not Deflate", Bytes(whole).PatchU8(2, 7), "damaged"},
  };
  ExpectRows(rows, WalkOf);
}

TEST(Gzip, KeepsAFileWithACommentShut) {
  const Bytes file = GzipSample(kText, 16, Bytes().Text("c").U8(0));
  FixedMemoryStream in(file.data);
  EXPECT_EQ(Formats().DetectArchiveType(in, 0), kGzip);
  EXPECT_EQ(WalkOf(file), "damaged");
}

TEST(Gzip, KeepsALongNamesRestAsData) {
  for (const size_t length : {512u, 600u}) {
    EXPECT_EQ(WalkOf(Named(std::string(length, 'n'))), std::string(511, 'n') + "! $");
  }
}

TEST(Gzip, EmptyBlocksCutNothingShort) {
  const std::vector<uint8_t> empty = {0, 0, 0, 0xFF, 0xFF};  // a stored block of no bytes, and not the last
  Bytes file = GzipSample(Bytes()).CutTo(10);
  for (const char* piece : {"one ", "two ", "three"}) {
    for (int i = 0; i < 1000; ++i) file.Raw(empty);
    const Bytes data = Bytes().Text(piece);
    file.U8(0).U16(data.size()).U16(~data.size() & 0xFFFF).Raw(data);
  }
  EXPECT_EQ(WalkOf(Bytes(file).Raw(empty).U8(3).U8(0)), "unknown=one two three $");
}

TEST(Gzip, ExtractsUnderALimitAndAgain) {
  const Bytes file = Named("a");
  FixedMemoryStream in(file.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  uint32_t size = 0;
  uint32_t io_size = sizeof size;
  EXPECT_FALSE(handler->GetMemberSize(&size, &io_size));
  for (const uint32_t limit : {2u, 0u, 4u, 9u}) {
    MemoryStream out;
    uint32_t written = 0;
    EXPECT_TRUE(handler->ExtractMember(&out, limit, &written));
    EXPECT_EQ(Text(out.bytes()), limit == 2 ? "te" : "text");
    EXPECT_EQ(written, out.bytes().size());
  }
  for (int i = 0; i < 2; ++i) {
    ASSERT_TRUE(handler->NextMember(name));
    EXPECT_STREQ(name, "");
  }
}

TEST(Gzip, Sweep) {
  SweepDamage(kGzip, GzipSample(kText, 14, Bytes().U16(3).Text("xxxname").U8(0).U16(9)).data);
}

}  // namespace
}  // namespace brix
