// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// What each detector accepts, and the order in which they are asked.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "core/memory_stream.h"
#include "formats/classic/arj/arj_detect.h"
#include "formats/classic/tar/tar_header.h"
#include "formats/installers/rar/rar_detect.h"
#include "formats/microsoft/cabinet/cabinet_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/compound_builder.h"
#include "support/detect_samples.h"
#include "support/pe_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

uint32_t TypeOf(const Bytes& file) {
  FixedMemoryStream in(file.data);
  return Formats().DetectArchiveType(in, 0);
}

template <uint32_t kTypeId>
bool Detects(const Bytes& file) {
  FixedMemoryStream in(file.data);
  return Formats().Find(kTypeId)->detect(in, 0, Formats());
}

TEST(Detect, TellsEachFormatByItsFixedSignature) {
  const Rows<Bytes, uint32_t> rows = {
      {"bzip2", Bytes().Text("BZh"), 2},
      {"bzip2 cut", Bytes().Text("BZ"), 0},
      {"QX Zip", Bytes().Text("QXZIP\x04"), 4},
      {"QX Zip of another version", Bytes().Text("QXZIP\x05"), 0},
      {"help", Bytes().Text("ITSF").U32(3), 5},
      {"help of version 2", Bytes().Text("ITSF").U32(2), 0},
      {"gzip", Bytes().U8(0x1F).U8(0x8B).U8(8), 7},
      {"gzip, not deflate", Bytes().U8(0x1F).U8(0x8B).U8(7), 0},
      {"Unix compress", Bytes().U8(0x1F).U8(0x9D), 15},
      {"TNEF", Bytes().U32(0x223E9F78), 14},
      {"TNEF cut", Bytes().U32(0x223E9F78).CutTo(3), 0},
      {"SZDD", Bytes().Text("SZDD").U32(0x3327F088), 10},
      {"SZDD, second half of the magic differs", Bytes().Text("SZDD").U32(0x3327F089), 0},
      {"SZDD cut inside the magic", Bytes().Text("SZDD").U32(0x3327F088).CutTo(7), 0},
      {"nothing known", Bytes().Text("plain words\n"), 0},
      {"empty", Bytes(), 0},
  };
  ExpectRows(rows, TypeOf);
}

TEST(Detect, TheFirstRowThatAnswersWins) {
  const Rows<Bytes, uint32_t> rows = {
      {"tar inside gzip", GzipSample(TarSample()), 13},
      {"text inside gzip", GzipSample(Bytes().Fill(600, 'a')), 7},
      {"mail inside gzip stays gzip", GzipSample(Bytes().Text("From me\n")), 7},
      {"bzip2 with a cabinet behind", Bytes().Text("BZh").Raw(CabinetSample()), 2},
      {"ARJ before RAR", Bytes(ArjSample()).Raw(RarSample()).U8(0), 1},
      {"LHA before RAR", Bytes(LhaSample()).Raw(RarSample()).U8(0), 8},
      {"cabinet before RAR", Bytes().Text("x").Raw(RarSample()).Raw(CabinetSample()).U8(0), 3},
      {"RAR before mail", Bytes().Text("From me\n").Raw(RarSample()), 12},
      {"mail last", Bytes().Text("From me\n"), 9},
  };
  ExpectRows(rows, TypeOf);
}

// 60,000 and 0 in a row, which are an ARJ archive's end mark, too.
TEST(Detect, SeesThroughTheEndMarkOfArj) {
  const Bytes mark = Bytes().U32(60000).U32(0);
  CompoundBuilder document;
  (void)document.Stream(u"WordDocument", Bytes().Text("text"));
  Bytes installer = PeHeaders({{100, 400}}).PatchU32(8, 60000).PadTo(500);
  installer.U32(0).U32(0xDEADBEEF).Text("NullsoftInst").U32(100).U32(200);
  const Rows<Bytes, uint32_t> rows = {
      {"the mark alone", mark, 0},
      {"the first file's size in a cabinet", CabinetSample().PadTo(44).Raw(mark), 3},
      {"as a common packer writes it", Bytes(Fixture("cabinet/first-60000.cab")), 3},
      {"a gzip extra field", GzipSample(Bytes().Text("text"), 4, Bytes().U16(8).Raw(mark)), 7},
      {"a compound file's class id", Bytes(document.Build()).PatchU32(8, 60000), 17},
      {"an installer's DOS header", installer, 21},
  };
  ExpectRows(rows, TypeOf);
}

TEST(Detect, KeepsADisabledTypeFromFallingThroughToALaterOne) {
  // A text that is SZDD by its start and mail by its second line; SZDD has a handler.
  const Bytes file = Bytes().Text("SZDD").U32(0x3327F088).Text("A").U8(0).U32(0).Text("\nFrom me\n");
  ASSERT_TRUE(Detects<9>(file));
  FixedMemoryStream in(file.data);
  uint32_t enabled[kTypeCount];
  std::ranges::fill(enabled, 1u);
  ArchiveHandler* handler = Formats().CreateArchiveHandler(&in, enabled, 0, 0);
  ASSERT_NE(handler, nullptr);
  EXPECT_EQ(handler->GetTypeId(), 10u);
  delete handler;
  enabled[10 - 1] = 0;
  EXPECT_EQ(Formats().CreateArchiveHandler(&in, enabled, 0, 0), nullptr);
}

// Counts what reaches the file below the cache.
class CountingStream final : public Stream {
 public:
  explicit CountingStream(Stream* inner) : inner_(inner) {}
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    ++reads;
    return inner_->ReadAt(offset, buf, size, got);
  }
  bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  bool GetSize(uint32_t* size) override { return inner_->GetSize(size); }
  bool SetSize(uint32_t) override { return false; }
  int reads = 0;

 private:
  Stream* inner_;
};

TEST(Detect, CostsAHandfulOfReads) {
  for (const uint32_t size : {20u, 700u, 5000u}) {
    const Bytes file = Bytes().Fill(size, 'q');
    FixedMemoryStream memory(file.data);
    CountingStream in(&memory);
    EXPECT_EQ(Formats().CreateArchiveHandlerAnyType(&in, 0, 0), nullptr);
    // The first kilobyte, the end of the file for ZIP, its scan.
    EXPECT_LE(in.reads, 8) << size;
  }
}

TEST(DetectArj, ChecksTheFirstHeaderIn64Bytes) {
  const Bytes good = ArjSample();
  const Rows<Bytes, int64_t> rows = {
      {"as written", good, 0},
      {"the farthest place", Bytes().Fill(63, 'g').Raw(good), 63},
      {"one too far", Bytes().Fill(64, 'g').Raw(good), -1},
      {"the longest header", ArjSample(2600), 0},
      {"too long a header", ArjSample(2601), -1},
      {"a header byte differs from the CRC", Bytes(good).PatchU8(10, 0x5B), -1},
      {"cut", Bytes(good).CutTo(good.size() - 1), -1},
      {"half a marker", Bytes().U8(0x60), -1},
      {"an end mark", Bytes().U8(0x60).U8(0xEA).U16(0).U32(0), -1},
  };
  ExpectRows(rows, PlaceOf<arj::LocateArj>);
}

TEST(DetectArj, KeepsToTheFirstMarker) {
  EXPECT_EQ(PlaceOf<arj::LocateArj>(Bytes().U8(0x60).U8(0xEA).Raw(ArjSample())), -1);
}

TEST(DetectLha, ChecksMethodSumAndZeros) {
  const Rows<Bytes, bool> rows = {
      {"lh5", LhaSample(), true},
      {"a directory", LhaSample("-lhd-"), true},
      {"a high digit", LhaSample("-lh9-"), true},
      {"an unknown variant", LhaSample("-lhx-"), false},
      {"an unknown family", LhaSample("-la5-"), false},
      {"no closing dash", LhaSample("-lh5+"), false},
      {"the shortest header", LhaSample("-lh5-", 7), true},
      {"too short a header", LhaSample("-lh5-", 6), false},
      {"the longest header", LhaSample("-lh5-", 255), true},
      {"the sum differs in one bit", LhaSample().PatchU8(1, LhaSample().data[1] ^ 0x80u), false},
      {"cut", LhaSample().CutTo(31), false},
  };
  ExpectRows(rows, Detects<8>);
}

// A header of level 2 begins with its length in two bytes, where others have a length and a sum.
TEST(DetectLha, KeepsLaterLevelsToAccidents) {
  Bytes header =
      Bytes().U16(26).Text("-lh5-").U32(5).U32(5).U32(0).U8(0x20).U8(2).U16(0).U8('U').U16(0).U16(0);
  EXPECT_FALSE(Detects<8>(header));
  const uint32_t sum = std::accumulate(header.data.begin() + 2, header.data.end(), 0u);
  EXPECT_TRUE(Detects<8>(header.PatchU8(21, -sum & 0xFF))) << "the sum is 0 by a byte of the checksum";
}

TEST(DetectTar, ChecksSumAndSize) {
  const Bytes good = TarSample();
  const Rows<Bytes, bool> rows = {
      {"one byte short", Bytes(good).CutTo(511), false},
      {"a byte of the name differs", Bytes(good).PatchU8(1, 'E'), false},
      {"blank checksum", Bytes(good).PatchU32(148, 0x20202020).PatchU32(152, 0x20202020), false},
      {"all zero", Bytes().Fill(512, 0), false},
      {"size not octal", TarSample("x0000000144"), false},
      {"size behind blanks", TarSample("        144"), true},
      {"size absent", TarSample(""), false},
      {"binary size", TarSample("\x80\x01\x01"), false},
      {"size beyond 32 bits", TarSample("777777777777"), true},
  };
  ExpectRows(rows, Detects<13>);
}

TEST(DetectTar, KeepsTheSumOfUnsignedBytesAlone) {
  Bytes signed_sum = TarSample("0", "\xE9\xE8\xFF");
  EXPECT_TRUE(Detects<13>(signed_sum));
  const std::string sum(signed_sum.data.begin() + 149, signed_sum.data.begin() + 155);
  PutText(signed_sum, 148, Octal(std::stoul(sum, nullptr, 8) - 3 * 256).substr(5));
  EXPECT_FALSE(Detects<13>(signed_sum));
}

TEST(DetectTar, ReadsThroughEveryGzipHeaderField) {
  const Bytes tar = TarSample();
  const Bytes long_name = Bytes().Fill(700, 'n').U8(0);
  const Rows<Bytes, bool> rows = {
      {"a name longer than a read", GzipSample(tar, 8, long_name), true},
      {"header CRC", GzipSample(tar, 2, Bytes().U16(0)), true},
      {"all", GzipSample(tar, 30, Bytes().U16(1).U8(9).Text("n").U8(0).Text("c").U8(0).U16(0)), true},
      {"a name without end", Bytes().U8(0x1F).U8(0x8B).U8(8).U8(8).Fill(200000, 'n'), false},
      {"an extra field behind the end", GzipSample(tar, 4, Bytes().U16(0xFFFF)), false},
      {"the inflated data are one byte short", GzipSample(Bytes(tar).CutTo(511)), false},
      {"the compressed data end early", GzipSample(tar).CutTo(400), false},
  };
  ExpectRows(rows, [](const Bytes& file) {
    EXPECT_EQ(TypeOf(file), Detects<13>(file) ? 13u : 7u);
    return Detects<13>(file);
  });
}

TEST(DetectTar, KeepsToTheFirst64KiBOfCompressedData) {
  for (const uint32_t blocks : {0u, 13003u, 13004u, 20000u}) {
    Bytes empty;  // blocks, of five bytes each; the one with the header has 517
    for (uint32_t i = 0; i < blocks; ++i) empty.U8(0).U16(0).U16(0xFFFF);
    EXPECT_EQ(TypeOf(GzipSample(TarSample(), 0, empty)), empty.size() + 517 <= 65536 ? 13u : 7u) << blocks;
  }
}

TEST(DetectTar, OctalNumbersAreReadOneWay) {
  const std::pair<const char*, int64_t> rows[] = {
      {"0000644", 0644},
      {"  12 ", 012},
      {"17x", 017},
      {"18", 1},
      {" 0", 0},
      {"37777777777", UINT32_MAX},
      {"40000000000", UINT32_MAX},
      {"", -1},
      {"    ", -1},
      {"8", -1},
      {"-1", -1},
  };
  for (const auto& [field, number] : rows) {  // -1: none
    uint32_t value = 0;
    const bool parses = tar::ParseOctal(Bytes().Text(field).data, &value);
    EXPECT_EQ(parses ? int64_t{value} : -1, number) << field;
  }
}

// The signature's last usable offset leaves one byte of what was read behind it.
TEST(DetectInFirstKilobyte, EndsWithOneByteToSpare) {
  const Bytes rest = Bytes().Fill(2000, 0);
  const Rows<Bytes, int64_t> rows = {
      {"at the start", RarSample(), 0},
      {"nothing behind it at the start", RarSample().CutTo(7), 0},
      {"nothing behind it elsewhere", Bytes().U8('x').Raw(RarSample().CutTo(7)), -1},
      {"one byte behind it", Bytes().U8('x').Raw(RarSample().CutTo(8)), 1},
      {"the farthest place", Bytes().Fill(1016, 'x').Raw(RarSample()).Raw(rest), 1016},
      {"one too far", Bytes().Fill(1017, 'x').Raw(RarSample()).Raw(rest), -1},
      {"the first of two", Bytes().Fill(600, 'x').Raw(RarSample()).Raw(RarSample()), 600},
  };
  ExpectRows(rows, PlaceOf<rar::LocateRar>);
}

TEST(DetectCabinet, ChecksTheHeadersLimits) {
  const Bytes good = CabinetSample();
  const Rows<Bytes, int64_t> rows = {
      {"as written", good, 0},
      {"behind a prefix", Bytes().Fill(100, 'M').Raw(good), 100},
      {"at 1019", Bytes().Fill(1019, 'M').Raw(good), 1019},
      {"at 1020", Bytes().Fill(1020, 'M').Raw(good), -1},
      {"size 0", Bytes(good).PatchU32(8, 0), -1},
      {"largest size", Bytes(good).PatchU32(8, 0x40000000), 0},
      {"size too large", Bytes(good).PatchU32(8, 0x40000001), -1},
      {"file list at 36", Bytes(good).PatchU32(16, 36), 0},
      {"file list inside the header", Bytes(good).PatchU32(16, 35), -1},
      {"no folders", Bytes(good).PatchU16(26, 0), -1},
      {"no files", Bytes(good).PatchU16(28, 0), -1},
      {"ten folders more than files", Bytes(good).PatchU16(26, 11), 0},
      {"eleven more", Bytes(good).PatchU16(26, 12), -1},
      {"65,535 of both", Bytes(good).PatchU32(26, 0xFFFFFFFF), 0},
      {"cut behind the counts", Bytes(good).CutTo(30), 0},
      {"cut in the counts", Bytes(good).CutTo(29), -1},
      {"a good one behind a bad one", Bytes(good).PatchU32(8, 0).Raw(good), -1},
  };
  ExpectRows(rows, PlaceOf<cabinet::LocateCabinet>);
}

}  // namespace
}  // namespace brix
