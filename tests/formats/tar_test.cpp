// tar_test.cpp - archives with one field spoiled, sparse members, and the same inside gzip.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/rows.h"
#include "support/tar_builder.h"

namespace brix {
namespace {

constexpr uint32_t kTar = 13;

Bytes Ended(Bytes archive) { return archive.Fill(1024, 0); }

// The walk over the archive, which must be the same inside gzip.
std::string WalkOf(const Bytes& archive, uint32_t max_bytes = 0) {
  const std::string text = WalkText(kTar, archive.data, max_bytes);
  EXPECT_EQ(WalkText(kTar, GzipSample(archive).data, max_bytes), text);
  return text;
}
const auto kWalkOf = [](const Bytes& archive) { return WalkOf(archive); };

TEST(Tar, WalksFilesByTheirHeaders) {
  const Bytes a = TarFile("a", "first");
  const Bytes b = TarFile("b", std::string(512, 'b'));
  const std::string b_text = "b=" + std::string(512, 'b');
  const std::string name(100, 'n');
  const auto with_size = [&](std::string_view size) {
    return Bytes(a).Raw(TarHeader("big", size)).Text("data");
  };
  const Rows<Bytes, std::string> rows = {
      {"two files", Ended(Bytes(a).Raw(b)), "a=first " + b_text + " $"},
      {"no end", Bytes(a).Raw(b), "a=first " + b_text + " damaged"},
      {"one block of zeros is enough", Bytes(a).Fill(512, 0), "a=first $"},
      {"what stands behind the end", Ended(a).Raw(b), "a=first $"},
      {"cut inside a header", Bytes(a).Raw(b).CutTo(1535), "a=first damaged"},
      {"cut inside data", Bytes(a).CutTo(515), "a=fir! damaged"},
      {"empty files", Ended(TarFile("a", "").Raw(TarFile("b", ""))), "a= b= $"},
      {"only folders", Ended(TarFile("folder/", "", '5').Raw(TarFile("folder/b/", "", '5'))), "$"},
      {"an old header's type", Ended(TarFile("a", "old", 0)), "a=old $"},
      {"links, devices and what is not known",
       Ended(TarFile("l", "xx", '2').Raw(TarFile("7", "x", '7')).Raw(a)), "a=first $"},
      {"no name", Ended(TarFile("", "x")), "unknown=x $"},
      {"a name without a terminator", Ended(TarFile(name + "mode", "x")), name + "=x $"},
      {"a second header's checksum", Ended(Bytes(a).Raw(Bytes(b).PatchU8(0, 'c'))), "a=first damaged"},
      {"and blank", Ended(Bytes(a).Raw(Bytes(b).PatchU32(148, 0x20202020).PatchU32(152, 0x20202020))),
       "a=first damaged"},
      {"and size", Ended(Bytes(a).Raw(TarHeader("b", "x"))), "a=first damaged"},
      {"a size that reaches behind the file", with_size("7777777"), "a=first big=data! damaged"},
      {"and behind 4 GiB", with_size("37777777777"), "a=first big=data! damaged"},
      {"and behind any number", with_size("777777777777"), "a=first big=data! damaged"},
      {"zeros at the start are no end", Ended(Bytes().Fill(512, 0).Raw(a)), "damaged"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkOf(Ended(Bytes(a).Raw(b)), 3), "a=fir b=bbb $");
}

TEST(Tar, KeepsLongNameRecordsOutOfTheWalkAndUnused) {
  const Bytes record = TarFile("././@LongLink", "a much longer name", 'L');
  EXPECT_EQ(WalkOf(Ended(Bytes(record).Raw(TarFile("short", "x")))), "short=x $");
  EXPECT_EQ(WalkOf(Ended(TarFile("pax", "18 path=longer\n", 'x').Raw(TarFile("short", "x")))), "short=x $");
}

TEST(Tar, SparseFilesGetTheirHoles) {
  const auto sparse = [](const SparseChunks& chunks, uint64_t real_size, std::string_view data) {
    return Ended(SparseFile(chunks, real_size, data).Raw(TarFile("next", "n")));
  };
  // Two extension blocks.
  SparseChunks many;
  std::string many_data;
  std::string many_text;
  for (uint32_t i = 0; i < 30; ++i) {
    many.emplace_back(3 * i + 1, 2);
    many_data += std::string(2, static_cast<char>('a' + i));
    many_text += std::string(1, '\0') + many_data.substr(2 * i);
  }
  const auto text = [](std::string_view parts) {  // a dot for each zero
    std::string bytes(parts);
    std::ranges::replace(bytes, '.', '\0');
    return "sparse=" + bytes + " next=n $";
  };
  const SparseChunks two = {{2, 3}, {7, 1}};
  const Bytes plain = sparse(two, 10, "abcd");
  const Rows<Bytes, std::string> rows = {
      {"holes before, between and behind", plain, text("..abc..d..")},
      {"no chunks at all", sparse({}, 4, ""), text("....")},
      {"extension blocks", sparse(many, 90, many_data), "sparse=" + many_text + " next=n $"},
      {"the real size cuts a chunk", sparse(two, 4, "abcd"), text("..ab")},
      {"and a hole", sparse(two, 6, "abcd"), text("..abc.")},
      {"a length of 0 ends the map", sparse({{0, 1}, {5, 0}, {2, 1}}, 3, "ab"), text("a..")},
      {"but not that of the next block", sparse({{0, 1}, {5, 0}, {0, 0}, {0, 0}, {2, 1}}, 3, "ab"),
       text("a.b")},
      {"chunks that go back are appended", sparse({{3, 2}, {0, 2}}, 8, "abcd"), text("...abcd.")},
      {"no real size", Sealed(Bytes(plain).PatchU8(483, 'x')), "damaged"},
      {"an extension block behind the end of the file", Sealed(Bytes(plain).PatchU8(482, 1).CutTo(512)),
       "damaged"},
      {"stored data behind the end of the file", Bytes(plain).CutTo(514),
       "sparse=" + std::string("\0\0ab!", 5) + " damaged"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkOf(plain, 8), "sparse=" + std::string("\0\0abc\0\0d", 8) + " next=n $");
  EXPECT_EQ(WalkOf(sparse({{0xFFFFFFF0, 1}}, UINT64_MAX >> 31, "x"), 5),
            "sparse=" + std::string(5, '\0') + " next=n $");
}

TEST(Tar, KeepsTheStoredSizeAsTheSizeOfASparseMember) {
  const Bytes file = Ended(SparseFile({{100000, 4}}, 200000, "data"));
  FixedMemoryStream in(file.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  uint32_t size = 0;
  uint32_t io_size = sizeof size;
  EXPECT_TRUE(handler->GetMemberSize(&size, &io_size));
  EXPECT_EQ(size, 4u);
  for (int i = 0; i < 2; ++i) {  // also a second time
    MemoryStream out;
    uint32_t written = 0;
    EXPECT_TRUE(handler->ExtractMember(&out, 0, &written));
    EXPECT_EQ(written, 200000u);
    EXPECT_EQ(Text(out.bytes().subspan(99999, 6)), std::string("\0data\0", 6));
  }
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(handler->NextMember(name));
    EXPECT_STREQ(name, "");
  }
}

TEST(Tar, DetectionAndOpeningReadTheSameGzipHeader) {
  const Bytes tar = Ended(TarFile("a", "first"));
  const Bytes fields = Bytes().U16(1).U8(9).Fill(700, 'n').U8(0).Text("comment").U8(0).U16(0);
  for (const Bytes& file : {GzipSample(tar, 30, fields), GzipSample(tar, 16, Bytes().U8(0))}) {
    FixedMemoryStream in(file.data);
    EXPECT_EQ(Formats().DetectArchiveType(in, 0), kTar);
    EXPECT_EQ(WalkText(kTar, file.data), "a=first $");
  }
  // Of several gzip members only the first is read.
  const Bytes two = GzipSample(TarFile("a", "first")).Raw(GzipSample(Ended(TarFile("b", "second"))));
  EXPECT_EQ(WalkText(kTar, two.data), "a=first damaged");
}

TEST(Tar, Sweep) {
  const Bytes plain = Ended(TarFile("a", "first").Raw(TarFile("b/", "", '5')));
  const Bytes sparse = SparseFile({{2, 1}, {4, 1}, {6, 1}, {8, 1}, {10, 2}}, 20, "abcdef");
  for (const Bytes& archive : {plain, sparse}) {
    SweepDamage(kTar, archive.data);
    SweepDamage(kTar, GzipSample(archive).data);
  }
}

}  // namespace
}  // namespace brix
