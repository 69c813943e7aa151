// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_test.cpp - archives with one field spoiled, sparse members, and the same inside gzip.
#include <gtest/gtest.h>

#include <memory>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/recording_stream.h"
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
  const std::string name(100, 'n');
  const auto then = [&](const Bytes& second) { return Ended(Bytes(a).Raw(second)); };
  const auto with_size = [&](std::string_view size) {
    return Bytes(a).Raw(TarHeader("big", size)).Text("data");
  };
  const Rows<Bytes, std::string> rows = {
      {"two files", then(b), "a=first b=" + std::string(512, 'b') + " $"},
      {"no end", Bytes(a).Raw(TarFile("b", "")), "a=first b= damaged"},
      {"cut inside a header", Bytes(a).Raw(b).CutTo(1535), "a=first damaged"},
      {"only folders", Ended(TarFile("folder/", "", '5').Raw(TarFile("folder/b/", "", '5'))), "$"},
      {"an old header's type, links and what is not known",
       then(TarFile("l", "xx", '2').Raw(TarFile("7", "x", '7')).Raw(TarFile("c", "old", 0))),
       "a=first c=old $"},
      {"no name, and one without a terminator", Ended(TarFile("", "x").Raw(TarFile(name + "mode", ""))),
       "unknown=x " + name + "= $"},
      {"a second header's checksum", then(Bytes(b).PatchU8(0, 'c')), "a=first damaged"},
      {"a size that reaches behind the file", with_size("7777777"), "a=first big=data! damaged"},
      {"and behind 4 GiB", with_size("37777777777"), "a=first big=data! damaged"},
  };
  ExpectRows(rows, kWalkOf);
  EXPECT_EQ(WalkOf(then(b), 3), "a=fir b=bbb $");
}

TEST(Tar, KeepsLongNameRecordsOutOfTheWalkAndUnused) {
  const Bytes records =
      TarFile("././@LongLink", "a longer name", 'L').Raw(TarFile("x", "14 path=longer\n", 'x'));
  EXPECT_EQ(WalkOf(Ended(Bytes(records).Raw(TarFile("short", "x")))), "short=x $");
  Bytes prefixed = TarFile("name", "x");
  PutText(PutText(prefixed, 257,
                  std::string_view("ustar\0"
                                   "00",
                                   8)),
          345, "folder");
  EXPECT_EQ(WalkOf(Ended(Sealed(prefixed))), "name=x $") << "the path prefix of ustar";
}

TEST(Tar, KeepsZerosAtTheStartFromBeingAnEnd) {
  EXPECT_EQ(WalkOf(Ended(Bytes().Fill(512, 0).Raw(TarFile("a", "first")))), "damaged");
  EXPECT_EQ(WalkOf(Ended(Bytes())), "damaged");
}

TEST(Tar, SparseFilesGetTheirHoles) {
  const auto sparse = [](const SparseChunks& chunks, uint64_t real_size, std::string_view data) {
    return Ended(SparseFile(chunks, real_size, data).Raw(TarFile("next", "n")));
  };
  SparseChunks many;  // two extension blocks
  std::string many_text;
  for (uint32_t i = 0; i < 30; ++i) {
    many.emplace_back(2 * i + 1, 1);
    many_text += ".x";
  }
  const SparseChunks two = {{2, 3}, {7, 1}};
  const Bytes plain = sparse(two, 10, "abcd");
  const Rows<Bytes, std::string> rows = {
      // a dot for each zero
      {"holes before, between and behind", plain, "..abc..d.. next=n $"},
      {"extension blocks", sparse(many, 60, std::string(30, 'x')), many_text + " next=n $"},
      {"the real size cuts a chunk", sparse(two, 4, "abcd"), "..ab next=n $"},
      {"and a hole", sparse(two, 6, "abcd"), "..abc. next=n $"},
      {"a length of 0 ends the map of its block alone",
       sparse({{0, 1}, {5, 0}, {1, 1}, {0, 0}, {2, 1}}, 3, "ab"), "a.b next=n $"},
      {"a chunk beyond the stored size", sparse({{2, 3}, {7, 2}, {12, 1}}, 20, "abcd"), "..abc..d! next=n $"},
      {"a chunk after what is stored", sparse({{0, 4}, {6, 1}}, 20, "abcd"), "abcd..! next=n $"},
      {"a chunk beyond both sizes", sparse({{0, 90}}, 4, "abcd"), "abcd next=n $"},
      {"chunks that go back are appended", sparse({{3, 2}, {0, 2}}, 8, "abcd"), "...abcd. next=n $"},
      {"no real size", Sealed(Bytes(plain).PatchU8(483, 'x')), ""},
      {"an extension block behind the end of the file", Sealed(Bytes(plain).PatchU8(482, 1).CutTo(512)), ""},
      {"stored data behind the end of the file", Bytes(plain).CutTo(514), "..ab! damaged"},
  };
  const auto walk_of = [](const Bytes& archive, uint32_t max_bytes = 0) {
    std::string text = WalkOf(archive, max_bytes);
    std::ranges::replace(text, '\0', '.');
    return text.starts_with("sparse=") ? text.substr(7) : "";
  };
  ExpectRows(rows, walk_of);
  EXPECT_EQ(walk_of(plain, 8), "..abc..d next=n $");
  EXPECT_EQ(walk_of(sparse({{0xFFFFFFF0, 1}}, 0xFFFFFFFF, "x"), 5), "..... next=n $");
}

TEST(Tar, KeepsTheStoredSizeAsTheSizeOfASparseMember) {
  const Bytes file = GzipSample(SparseFile({{60000, 40000}}, 200000, std::string(40000, 'x')));
  FixedMemoryStream in(file.data);
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  uint32_t size = 0;
  uint32_t io_size = sizeof size;
  ASSERT_TRUE(handler->OpenArchive(name) && handler->GetMemberSize(&size, &io_size));
  EXPECT_EQ(size, 40000u);
  for (int i = 0; i < 2; ++i) {  // the second time the stream goes back
    MemoryStream out;
    EXPECT_TRUE(handler->ExtractMember(&out, 0, &size));
    EXPECT_EQ(size, 200000u);
    EXPECT_EQ(std::ranges::count(out.bytes(), 'x'), 40000);
  }
}

// Reading on for such a chunk passes the next headers, so that the inflater would begin anew for each of them.
TEST(Tar, ChunksBeyondTheStoredSizeCostNothing) {
  Bytes tar = TarFile("skipped", std::string(1 << 20, 's'), 'x');
  std::string expected;
  for (int i = 0; i < 20; ++i) {
    tar.Raw(SparseFile({{0, 100000}}, 100000, ""));
    expected += "sparse! ";
  }
  const Bytes file = GzipSample(tar.Fill(200000, 0));
  EXPECT_EQ(WalkText(kTar, file.data), expected + "$");

  RecordingStream in;
  uint32_t written = 0;
  ASSERT_TRUE(in.memory.WriteAt(0, file.data.data(), file.size(), &written));
  const std::unique_ptr<ArchiveHandler> handler(Formats().CreateArchiveHandlerAnyType(&in, 0, 0));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler->OpenArchive(name));
  while (name[0] != '\0') {
    MemoryStream out;
    EXPECT_FALSE(handler->ExtractMember(&out, 0, &written));
    ASSERT_TRUE(handler->NextMember(name));
  }
  uint64_t read = 0;
  for (const auto& [offset, size] : in.reads) read += size;
  EXPECT_LT(read, 2 * file.size());
}

TEST(Tar, KeepsToTheFirstGzipMemberWhateverItsHeader) {
  const Bytes tar = TarFile("a", "first");
  const Bytes fields = Bytes().U16(1).U8(9).Fill(700, 'n').U8(0).Text("comment").U8(0).U16(0);
  const Bytes file = GzipSample(Ended(tar), 30, fields).Raw(GzipSample(Ended(TarFile("b", "second"))));
  FixedMemoryStream in(file.data);
  EXPECT_EQ(Formats().DetectArchiveType(in, 0), kTar);
  EXPECT_EQ(WalkText(kTar, file.data), "a=first $");
  // A tar that begins as gzip is none.
  const Bytes named = Ended(TarFile("\x1F\x8B\x08", "x"));
  FixedMemoryStream named_in(named.data);
  EXPECT_EQ(Formats().DetectArchiveType(named_in, 0), 7u);
}

TEST(Tar, Sweep) {
  for (const Bytes& archive :
       {Ended(TarFile("a", "first")), SparseFile({{2, 1}, {4, 1}, {6, 1}, {8, 1}, {10, 2}}, 20, "abcdef")}) {
    SweepDamage(kTar, archive.data);
    SweepDamage(kTar, GzipSample(archive).data);
  }
}

}  // namespace
}  // namespace brix
