// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// second_extraction_test.cpp - a member that is extracted again gives the same bytes, or fails; and those after it are
// none the worse for it. Of Office documents alone an extraction continues the one before unless the member is started
// again; the test that keeps that is Office.KeepsGoingOnWhereAnExtractionWithALimitEnded.
#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "support/detect_samples.h"
#include "support/handler_walk.h"
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

constexpr std::pair<uint32_t, const char*> kFixtures[] = {
    {3, "cabinet/mszip.cab"},      {3, "cabinet/stored.cab"},   {3, "cabinet/quantum.cab"},
    {5, "chm/manual.chm"},         {6, "nested/setup.exe"},     {10, "szdd/nested.tx_"},
    {11, "msi/two-streams.msi"},   {12, "ppmd/solid.rar"},      {12, "rar/lz.rar"},
    {12, "rar/rar20.rar"},         {12, "rar/unicode.rar"},     {16, "zip/plain.zip"},
    {16, "zip/streamed.zip"},      {16, "zip/deflate64.zip"},   {17, "office/package.doc"},
    {18, "office/nested.xls"},     {19, "office/objects.ppt"},  {20, "office/package.ole"},
    {21, "nsis/zlib.exe"},         {21, "nsis/zlib-solid.exe"}, {21, "nsis/bzip2.exe"},
    {21, "nsis/bzip2-solid.exe"},  {21, "nsis/lzma.exe"},       {21, "nsis/lzma-solid.exe"},
    {21, "nsis/lzma-filtered.exe"}};

std::vector<Sample> Samples() {
  const Bytes tar = TarFile("a", "first").Raw(SparseFile({{2, 3}, {7, 1}}, 10, "abcd")).Fill(1024, 0);
  const Bytes inner = BuildZip({StoredMember("in", "inner")}).bytes;
  const Bytes mail = Bytes().Text(
      "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n--b\n"
      "Content-Type: a/b\nContent-Transfer-Encoding: base64\n\nYWJj\n--b\n"
      "Content-Type: a/b\nContent-Transfer-Encoding: quoted-printable\n\na=3Db\n--b\n"
      "Content-Type: text/plain\n\nbegin 644 r.doc\n#86)C\n`\nend\n--b--\n");
  std::vector<Sample> samples = {
      {7, "gzip", GzipSample(Bytes().Fill(1000, 'g'))},
      {9, "mail", mail},
      {13, "tar", tar},
      {13, "tar in gzip", GzipSample(tar)},
      {16, "stored ZIP in ZIP", BuildZip({StoredMember("inner.zip", Text(inner.data))}).bytes},
  };
  for (const auto& [type_id, file] : kFixtures) samples.push_back({type_id, file, Bytes(Fixture(file))});
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
    handler->RestartMember();
    if (handler->ExtractMember(&again, 0, &written)) {
      EXPECT_TRUE(member.extracted);
      EXPECT_EQ(Text(again.bytes()), Text(member.data));
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
