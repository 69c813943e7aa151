// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Archives inside executables: the search, its confirmation, and the installer header behind the image.
#include <gtest/gtest.h>

#include <array>

#include "core/memory_stream.h"
#include "formats/installers/nsis/nsis_detect.h"
#include "formats/microsoft/sfx/sfx_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/detect_samples.h"
#include "support/pe_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kArj = 1, kCabinet = 3, kLha = 8, kRar = 12, kZip = 16;

bool Accept(Stream&, uint32_t, const FormatTable&) { return true; }

// Every inner format confirms, so that what is seen is the search alone.
constexpr std::array kAcceptingRows = {
    FormatEntry{kArj, Accept, nullptr}, FormatEntry{kCabinet, Accept, nullptr},
    FormatEntry{kLha, Accept, nullptr}, FormatEntry{kRar, Accept, nullptr},
    FormatEntry{kZip, Accept, nullptr},
};
constexpr FormatTable kAccepting{kAcceptingRows};

struct Found {
  uint32_t type_id = 0;
  uint32_t offset = 0;
  bool operator==(const Found&) const = default;
};
void PrintTo(const Found& f, std::ostream* out) { *out << "type " << f.type_id << " at " << f.offset; }

Found Locate(const Bytes& file, const FormatTable& formats = kAccepting) {
  FixedMemoryStream in(file.data);
  EmbeddedArchive found{};
  if (!sfx::LocateSfx(in, 0, formats, &found)) return {};
  return {found.type_id, found.offset};
}

// A file of zeros with `what` written over it at `at`.
Bytes Over(Bytes file, uint32_t at, const Bytes& what) {
  file.PadTo(at + what.size());
  std::copy(what.data.begin(), what.data.end(), file.data.begin() + at);
  return file;
}

const Bytes kZipSignature = Bytes().Text("PK\x03\x04");

TEST(SfxSearch, OfAnyProgramCoversThe100KiBLessTheOverlap) {
  const Bytes program = Bytes().Text("MZ").PadTo(110000);
  const Rows<uint32_t, bool> rows = {
      {"right behind MZ", 2, true},
      {"across the first chunk's end", 4094, true},
      {"the last that fits the bytes read", 102390, true},
      {"one too far", 102391, false},
      {"where the second chunk starts", 4090, true},
  };
  ExpectRows(rows, [&](uint32_t at) { return Locate(Over(program, at, kZipSignature)) == Found{kZip, at}; });
}

TEST(SfxSearch, OfAWindowsProgramCoversTheLastSectionsStartAndTheOverlay) {
  constexpr uint32_t kSection = 1000, kSize = 20000, kEnd = kSection + kSize;
  const Bytes program = PeHeaders({{500, 300}, {kSize, kSection}}).PadTo(kEnd + 20000);
  const Rows<uint32_t, bool> rows = {
      {"before the last section", 600, false},
      {"at the section's start", kSection, true},
      {"the last place of the first search", kSection + 5120 - 6 - 4, true},
      {"behind the first search", kSection + 5120 - 6 - 3, false},
      {"before the section's end", kEnd - 4, false},
      {"at the overlay's start", kEnd, true},
      {"the last place of the second search", kEnd + 10240 - 6 - 4, true},
      {"behind the second search", kEnd + 10240 - 6 - 3, false},
  };
  ExpectRows(rows, [&](uint32_t at) { return Locate(Over(program, at, kZipSignature)) == Found{kZip, at}; });
}

TEST(SfxSearch, HeadersThatLieEndTheTest) {
  const Bytes good = PeHeaders({{100, 400}}).PadTo(500).Raw(kZipSignature).PadTo(600);
  const uint32_t entry = kPeTableAt;
  const Rows<Bytes, bool> rows = {
      {"as written", good, true},
      {"no MZ", Bytes(good).PatchU8(0, 'N'), false},
      {"no sections", Bytes(good).PatchU16(kPeHeaderAt + 6, 0), false},
      {"a section table behind the end", Bytes(good).PatchU16(kPeHeaderAt + 6, 0xFFFF), false},
      {"an optional header behind the end", Bytes(good).PatchU16(kPeHeaderAt + 20, 0xFFFF), false},
      {"a section whose end wraps to before the archive",
       PeHeaders({{UINT32_MAX - 599, 1000}}).PadTo(500).Raw(kZipSignature).PadTo(1100), false},
      {"a section at the last byte", Bytes(good).PatchU32(entry + 20, 0xFFFFFFFF), false},
      {"not PE: the whole start is searched", Bytes(good).PatchU8(kPeHeaderAt, 'N'), true},
      {"no new-header offset", Bytes().Text("MZ").Raw(kZipSignature).PadTo(63), false},
      {"cut inside the section entry", Bytes(good).CutTo(entry + 23), false},
  };
  ExpectRows(rows, [](const Bytes& file) { return Locate(file).type_id == kZip; });
}

TEST(SfxSearch, KeepsLibrariesOut) {
  const auto with = [](uint32_t characteristics) {
    return PeHeaders({{100, 400}}, characteristics).PadTo(500).Raw(kZipSignature).PadTo(600);
  };
  EXPECT_EQ(Locate(with(0x0102)), (Found{kZip, 500}));
  EXPECT_EQ(Locate(with(0x2102)), Found{});
}

TEST(SfxSearch, KeepsProgramsWhoseNewHeaderIsNowhereAmongThoseNotPe) {
  for (const uint32_t new_header : {198u, 199u, 200u, 1u << 20, UINT32_MAX}) {
    const Bytes program = Bytes().Text("MZ").PadTo(60).U32(new_header).Raw(kZipSignature).PadTo(200);
    EXPECT_EQ(Locate(program), (Found{kZip, 64})) << new_header;
  }
}

TEST(SfxSearch, SignaturesAndTheirConditions) {
  constexpr uint32_t kAt = 200;
  const Bytes program = Bytes().Text("MZ").PadTo(400);
  const auto arj = [](uint32_t size) { return Bytes().U8(0x60).U8(0xEA).U16(size); };
  const Rows<Bytes, Found> rows = {
      {"ARJ", arj(2600), {kArj, kAt}},
      {"ARJ, header too long", arj(2601), {}},
      {"cabinet", Bytes().Text("MSCF"), {kCabinet, kAt}},
      {"LHA starts before its method", Bytes().Text("-lh5-"), {kLha, kAt - 2}},
      {"LHA, directory", Bytes().Text("-lzd-"), {kLha, kAt - 2}},
      {"LHA, digit above 7", Bytes().Text("-lh8-"), {}},
      {"LHA, no closing dash", Bytes().Text("-lh5 "), {}},
      {"RAR", RarSample(), {kRar, kAt}},
      {"RAR of a later format", Bytes().Text("Rar!\x1A\x07\x01"), {}},
      {"ZIP", kZipSignature, {kZip, kAt}},
      {"a first byte repeated", Bytes().Text("PPK\x03\x04"), {kZip, kAt + 1}},
      {"the first of two", Bytes().Text("MSCFPK\x03\x04"), {kCabinet, kAt}},
      {"a failed condition does not end the search", arj(0).Text("MSCF"), {kCabinet, kAt + 4}},
  };
  ExpectRows(rows, [&](const Bytes& what) { return Locate(Over(program, kAt, what)); });
}

TEST(SfxSearch, SeesAcrossTheEndsOfBlocksAndChunks) {
  // Every place around the starts of the range's first blocks, and around the first chunk's end.
  for (uint32_t at = 64; at <= 4100; at += at == 200 ? 3885 : 1) {
    const Bytes program = Bytes().Text("MZ").PadTo(9000);
    EXPECT_EQ(Locate(Over(program, at, Bytes().Text("-lh5-"))), (Found{kLha, at - 2})) << at;
    EXPECT_EQ(Locate(Over(program, at, Bytes().U8(0x60).U8(0xEA).U16(50))), (Found{kArj, at})) << at;
    EXPECT_EQ(Locate(Over(program, at, RarSample())), (Found{kRar, at})) << at;
  }
}

TEST(SfxSearch, AnLhaMethodAtTheVeryStartIsPassedOver) {
  for (const uint32_t in_range : {0u, 1u, 2u}) {
    const Bytes program = Over(PeHeaders({{400, 400}}).PadTo(900), 400 + in_range, Bytes().Text("-lh5-"));
    EXPECT_EQ(Locate(program), (in_range < 2 ? Found{} : Found{kLha, 400})) << in_range;
  }
}

TEST(DetectSfx, AsksTheInnerFormatOnAViewOfTheRest) {
  const Bytes damaged = CabinetSample().PatchU32(8, 0);
  const Rows<Bytes, Found> rows = {
      {"cabinet", CabinetSample(), {kCabinet, 500}},
      {"LHA", LhaSample(), {kLha, 500}},
      {"ARJ", ArjSample(), {kArj, 500}},
      {"a damaged cabinet", damaged, {}},
  };
  const Bytes program = PeHeaders({{100, 400}}).PadTo(500);
  ExpectRows(rows, [&](const Bytes& rest) { return Locate(Bytes(program).Raw(rest), Formats()); });
  constexpr FormatTable kEmpty{std::span<const FormatEntry>()};
  EXPECT_EQ(Locate(Bytes(program).Raw(CabinetSample()), kEmpty), Found{}) << "the inner format has no row";
}

TEST(DetectSfx, KeepsToTheFirstSignature) {
  const Bytes program = PeHeaders({{100, 400}}).PadTo(500);
  EXPECT_EQ(Locate(Bytes(program).Raw(ArjSample()), Formats()), (Found{kArj, 500}));
  EXPECT_EQ(Locate(Bytes(program).Raw(CabinetSample().PatchU32(8, 0)).Raw(ArjSample()), Formats()), Found{});
}

Bytes NsisHeader() { return Bytes().U32(0).U32(0xDEADBEEF).Text("NullsoftInst").U32(100).U32(200); }

TEST(DetectNsis, TakesTheHeaderAtTheLargestEndOfAnySection) {
  const Bytes installer = PeHeaders({{100, 400}, {300, 600}, {0, 0}}).PadTo(900).Raw(NsisHeader());
  const uint32_t entry = kPeTableAt;
  const Rows<Bytes, int64_t> rows = {
      {"as written", installer, 900},
      {"cut behind the signature", Bytes(installer).CutTo(920), 900},
      {"cut inside the signature", Bytes(installer).CutTo(919), -1},
      {"marker differs", Bytes(installer).PatchU32(904, 0xDEADBEEE), -1},
      {"a section that wraps around to the header", Bytes(installer).PatchU32(entry + 20, 0xFFFFFFFF), -1},
      {"more sections than the file holds", Bytes(installer).PatchU16(kPeHeaderAt + 6, 0xFFFF), -1},
      {"no sections", Over(PeHeaders({}), 4, Bytes().U32(0xDEADBEEF).Text("NullsoftInst")), -1},
      {"a library is an installer too", Bytes(installer).PatchU16(kPeHeaderAt + 22, 0x2102), 900},
  };
  ExpectRows(rows, PlaceOf<nsis::LocateNsis>);
}

TEST(DetectNsis, KeepsFromSearching) {
  for (const uint32_t later : {0u, 1u, 512u}) {
    const Bytes installer = PeHeaders({{500, 400}}).PadTo(900 + later).Raw(NsisHeader());
    EXPECT_EQ(PlaceOf<nsis::LocateNsis>(installer), later == 0 ? 900 : -1) << later;
  }
}

TEST(DetectNsis, WalksMoreEntriesThanOneReadHolds) {
  for (const uint32_t largest : {0u, 24u, 25u, 26u, 49u, 50u, 59u}) {
    std::vector<PeSection> sections(60, {16, 64});
    sections[largest] = {1000, 4000};
    EXPECT_EQ(PlaceOf<nsis::LocateNsis>(PeHeaders(sections).PadTo(5000).Raw(NsisHeader())), 5000) << largest;
  }
}

}  // namespace
}  // namespace brix
