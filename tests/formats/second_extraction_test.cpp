// second_extraction_test.cpp - a member that is extracted again gives the same bytes, or fails; and those after it are
// none the worse for it. Of Office documents alone an extraction goes on where the one before ended, as
// Office.KeepsGoingOnWhereAnExtractionWithALimitEnded has it.
#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
#include "support/rar_builder.h"
#include "support/recording_stream.h"
#include "support/tar_builder.h"
#include "support/zip_builder.h"

namespace brix {
namespace {

struct Sample {
  uint32_t type_id;
  const char* label;
  Bytes file;
};

Sample FromFixture(uint32_t type_id, const char* file) { return {type_id, file, Bytes(Fixture(file))}; }

// Three members, of which the last two go on from the one before.
Bytes SolidRar(bool is20) {
  const uint32_t version = is20 ? 20 : 29;
  Bytes archive = RarStart(8);
  RarPacked first(is20);
  first.Header().Text("the first of a chain, ").Match(9, 9);
  RarPacked packed = first;
  for (const char* name : {"a", "b", "c"}) {
    if (!is20) packed.End(3);
    const auto size = static_cast<uint32_t>(packed.plain.size());
    const uint32_t flags = name[0] == 'a' ? 0x8000 : 0x8010;
    archive.Raw(RarFile({name, packed.bits.bytes(), size, version, '3', flags}));
    packed = RarPacked(is20);
    packed.window = first.plain;
    packed.Text("and ").Match(20, 12);
  }
  return archive.Raw(RarEnd());
}

std::vector<Sample> Samples() {
  std::vector<Sample> samples;
  for (const char* file : {"cabinet/mszip.cab", "cabinet/stored.cab", "cabinet/quantum.cab"}) {
    samples.push_back(FromFixture(3, file));
  }
  samples.push_back(FromFixture(5, "chm/manual.chm"));
  samples.push_back(FromFixture(6, "nested/setup.exe"));
  samples.push_back({7, "gzip", GzipSample(Bytes().Fill(1000, 'g'))});
  samples.push_back(
      {9, "mail",
       Bytes().Text("MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n--b\n"
                    "Content-Type: a/b\nContent-Transfer-Encoding: base64\n\nYWJj\n--b\n"
                    "Content-Type: a/b\nContent-Transfer-Encoding: quoted-printable\n\na=3Db\n--b\n"
                    "Content-Type: text/plain\n\nbegin 644 r.doc\n#86)C\n`\nend\n--b\n"
                    "Content-Type: message/rfc822\n\nSubject: s\nContent-Type: a/c\n\ntext\n--b--\n")});
  samples.push_back(FromFixture(10, "szdd/nested.tx_"));
  samples.push_back(FromFixture(11, "msi/two-streams.msi"));
  for (const char* file : {"ppmd/solid.rar", "rar/lz.rar", "rar/rar20.rar", "rar/unicode.rar"}) {
    samples.push_back(FromFixture(12, file));
  }
  samples.push_back({12, "solid RAR 2.0", SolidRar(true)});
  samples.push_back({12, "solid RAR 2.9", SolidRar(false)});
  const Bytes tar = TarFile("a", "first").Raw(SparseFile({{2, 3}, {7, 1}}, 10, "abcd")).Fill(1024, 0);
  samples.push_back({13, "tar", tar});
  samples.push_back({13, "tar in gzip", GzipSample(tar)});
  for (const char* file : {"zip/plain.zip", "zip/streamed.zip", "zip/deflate64.zip"}) {
    samples.push_back(FromFixture(16, file));
  }
  const Bytes inner = BuildZip({StoredMember("in", "inner")}).bytes;
  samples.push_back({16, "stored ZIP in ZIP", BuildZip({StoredMember("inner.zip", Text(inner.data))}).bytes});
  samples.push_back(FromFixture(17, "office/package.doc"));
  samples.push_back(FromFixture(18, "office/nested.xls"));
  samples.push_back(FromFixture(19, "office/objects.ppt"));
  samples.push_back(FromFixture(20, "office/package.ole"));
  for (const char* file : {"nsis/zlib.exe", "nsis/zlib-solid.exe", "nsis/bzip2.exe", "nsis/bzip2-solid.exe",
                           "nsis/lzma.exe", "nsis/lzma-solid.exe", "nsis/lzma-filtered.exe"}) {
    samples.push_back(FromFixture(21, file));
  }
  return samples;
}

enum class First { kWhole, kOneByte, kTargetFails };

// Extracts every member twice, the second time whole.
void ExtractTwice(const Sample& sample, First first) {
  SCOPED_TRACE(std::string(sample.label) + ", first extraction " + std::to_string(static_cast<int>(first)));
  const Walk expected = WalkWith(sample.type_id, sample.file.data);
  ASSERT_TRUE(expected.finished && !expected.members.empty());
  FixedMemoryStream in(sample.file.data);
  const std::unique_ptr<ArchiveHandler> handler(
      Formats().Find(sample.type_id)->create(&in, {sample.type_id, 0, 0, Formats()}));
  char name[kNameBufferSize];
  ASSERT_TRUE(handler != nullptr && handler->OpenArchive(name));
  for (const WalkedMember& member : expected.members) {
    SCOPED_TRACE(name);
    MemoryStream out;
    MemoryStream again;
    RecordingStream full;
    full.fails = true;
    Stream* const target = first == First::kTargetFails ? static_cast<Stream*>(&full) : &out;
    uint32_t written = 0;
    const bool ok = handler->ExtractMember(target, first == First::kOneByte ? 1 : 0, &written);
    if (first == First::kWhole) {
      EXPECT_EQ(ok, member.extracted);
      EXPECT_EQ(Text(out.bytes()), Text(member.data));
    }
    if (handler->ExtractMember(&again, 0, &written)) {
      EXPECT_TRUE(member.extracted);
      const bool goes_on = sample.type_id >= 17 && sample.type_id <= 20;
      EXPECT_EQ(Text(again.bytes()), Text(member.data).substr(goes_on ? out.bytes().size() : 0));
    }
    ASSERT_TRUE(handler->NextMember(name));
  }
  EXPECT_STREQ(name, "");
}

TEST(SecondExtraction, GivesTheSameBytesOrFails) {
  std::set<uint32_t> covered;
  for (const Sample& sample : Samples()) {
    covered.insert(sample.type_id);
    for (const First first : {First::kWhole, First::kOneByte, First::kTargetFails})
      ExtractTwice(sample, first);
  }
  for (uint32_t type_id = 1; type_id <= kTypeCount; ++type_id) {
    EXPECT_EQ(covered.contains(type_id), Formats().Find(type_id)->create != nullptr) << type_id;
  }
}

}  // namespace
}  // namespace brix
