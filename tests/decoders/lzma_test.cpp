// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// LZMA and the filter behind it. The fixtures are five bytes of properties, eight of a size, the stream.
#include "decoders/lzma/lzma_decoder.h"

#include <gtest/gtest.h>

#include "decoders/filters/x86_filter.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/resumable.h"
#include "support/rows.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;
constexpr size_t kHeader = 13;

Data LzmaFile(const char* name) { return Fixture(std::string("lzma/") + name); }

bool Begin(LzmaDecoder& decoder, const Data& file, uint64_t size) {
  return decoder.Begin(std::span(file).first<LzmaDecoder::kPropertyBytes>(), size);
}

// Decodes a fixture to its end mark or to the size it is given.
Decoded DecodeFixture(LzmaDecoder& decoder, const Data& file, uint32_t piece = UINT32_MAX,
                      uint64_t size = UINT64_MAX) {
  if (!Begin(decoder, file, size)) return {false, {}};
  return DecodeBy(decoder, std::span(file).subspan(kHeader), piece);
}

constexpr const char* kMixed = "8000 d64490ff";

TEST(Lzma, DecodesWithAnyPropertiesAndAnyPieces) {
  LzmaDecoder decoder;  // reused: no stream may leak into the next
  const struct {
    const char* file;
    const char* digest;
  } rows[] = {{"lc3-lp0-pb2.lzma", kMixed}, {"lc0-lp0-pb0.lzma", kMixed},
              {"lc0-lp4-pb4.lzma", kMixed}, {"lc4-lp0-pb1.lzma", kMixed},
              {"lc1-lp2-pb3.lzma", kMixed}, {"dictionary-4k.lzma", "252570 404b23c2"}};
  for (const auto& row : rows) {
    for (const uint32_t piece : {UINT32_MAX, 777u, 1u}) {
      const Decoded decoded = DecodeFixture(decoder, LzmaFile(row.file), piece);
      EXPECT_TRUE(decoded.ok) << row.file;
      EXPECT_EQ(Digest(decoded.data), row.digest) << row.file << " by " << piece;
    }
  }
  // Packed without an end mark.
  const Data most_models = LzmaFile("lc8-lp4-pb4.lzma");
  for (const uint32_t piece : {UINT32_MAX, 100u}) {
    const Decoded decoded = DecodeFixture(decoder, most_models, piece, 8000);
    EXPECT_TRUE(decoded.ok);
    EXPECT_EQ(Digest(decoded.data), kMixed) << piece;
  }
  const Decoded endless = DecodeFixture(decoder, most_models);
  EXPECT_FALSE(endless.ok);
  EXPECT_EQ(Digest(Data(endless.data.begin(), endless.data.begin() + 8000)), kMixed);
}

TEST(Lzma, EndsAtTheSizeOrAtTheMark) {
  LzmaDecoder decoder;
  const Data file = LzmaFile("lc3-lp0-pb2.lzma");
  const Data whole = DecodeFixture(decoder, file).data;
  for (const uint64_t size : {0u, 1u, 2500u, 5100u, 8000u, 8001u, 9000u}) {
    const Decoded decoded = DecodeFixture(decoder, file, 1000, size);
    const size_t there = std::min<size_t>(size, whole.size());
    EXPECT_EQ(decoded.data, Data(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(there)));
    EXPECT_EQ(decoded.data.size(), there) << size;
    EXPECT_FALSE(size > whole.size() && decoded.ok) << "a mark before the end: " << size;
  }
}

TEST(Lzma, KeepsWhatFollowsTheStreamUnread) {
  LzmaDecoder decoder;
  Data file = LzmaFile("lc3-lp0-pb2.lzma");
  const Decoded whole = DecodeFixture(decoder, file);
  EXPECT_EQ(DecodeFixture(decoder, Bytes(file).Fill(100, 0xFF).data), whole);
  file.back() ^= 1;
  EXPECT_FALSE(DecodeFixture(decoder, file).ok) << "bits after the end mark";
  EXPECT_TRUE(DecodeFixture(decoder, file, 1000, whole.data.size()).ok) << "which a known size leaves unread";
}

TEST(Lzma, RefusesBadPropertiesAndFirstBytes) {
  const Data file = LzmaFile("lc3-lp0-pb2.lzma");
  const auto patched = [&](size_t at, uint32_t value) { return Bytes(file).PatchU8(at, value).data; };
  const Rows<Data, bool> rows = {
      {"as written", file, true},
      {"pb 5", patched(0, 225), false},
      {"first byte of the coder", patched(kHeader, 1), false},
      {"a dictionary of 4 GiB", Bytes(file).PatchU32(1, UINT32_MAX).data, true},
      {"no dictionary counts as 4 KiB, which distances pass", Bytes(file).PatchU32(1, 0).data, false},
      {"the coder's bytes cut", Bytes(file).CutTo(kHeader + 4).data, false},
  };
  ExpectRows(rows, [](const Data& data) {
    LzmaDecoder decoder;
    return DecodeFixture(decoder, data).ok;
  });
  LzmaDecoder never_begun;
  EXPECT_FALSE(DecodeBy(never_begun, file, 10).ok);
}

TEST(Lzma, DistancesBeforeTheFirstByteAreDamage) {
  // A stream of ones: not a literal, a repetition of the byte before, which is not there.
  const Data ones = {0, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  LzmaDecoder decoder;
  const Data properties = {93, 0, 0, 1, 0};
  ASSERT_TRUE(Begin(decoder, properties, UINT64_MAX));
  const Decoded decoded = DecodeBy(decoder, ones, UINT32_MAX);
  EXPECT_FALSE(decoded.ok);
  EXPECT_TRUE(decoded.data.empty());
}

TEST(Lzma, CutInputFailsAfterDeliveringAPrefix) {
  LzmaDecoder decoder;
  const Data file = LzmaFile("lc1-lp2-pb3.lzma");
  const Data whole = DecodeFixture(decoder, file).data;
  size_t last = 0;
  for (size_t size = kHeader; size < file.size(); ++size) {
    const Decoded decoded = DecodeFixture(decoder, Bytes(file).CutTo(size).data);
    ASSERT_FALSE(decoded.ok) << size;
    ASSERT_TRUE(decoded.data.size() <= whole.size() && decoded.data.size() >= last) << size;
    ASSERT_TRUE(std::equal(decoded.data.begin(), decoded.data.end(), whole.begin())) << size;
    last = decoded.data.size();
  }
}

TEST(Lzma, DamageShowsTheSameInAnyPieces) {
  LzmaDecoder decoder;
  const Data file = LzmaFile("lc8-lp4-pb4.lzma");
  for (size_t at = kHeader; at < file.size(); at += 3) {
    for (const uint32_t value : {0x00u, 0xFFu}) {
      const Data damaged = Bytes(file).PatchU8(at, value).data;
      ASSERT_EQ(DecodeFixture(decoder, damaged, UINT32_MAX, 20000),
                DecodeFixture(decoder, damaged, 50, 20000))
          << at;
    }
  }
}

TEST(X86Filter, UndoesTheConversionInAnyPieces) {
  const Data file = LzmaFile("x86.lzma");
  LzmaDecoder packed;
  X86FilteredDecoder decoder(packed);
  for (const uint32_t piece : {UINT32_MAX, 1u, 3u, 333u}) {
    ASSERT_TRUE(Begin(packed, file, UINT64_MAX));
    decoder.Reset();
    const Decoded decoded = DecodeBy(decoder, std::span(file).subspan(kHeader), piece);
    EXPECT_TRUE(decoded.ok);
    EXPECT_EQ(Digest(decoded.data), "4817 1ba37f3a") << piece;
  }
  // Damage shows behind all that came before it, the undecided bytes too.
  const Data cut = Bytes(file).CutTo(1000).data;
  const size_t there = DecodeFixture(packed, cut).data.size();
  decoder.Reset();
  const Decoded decoded = DecodeBy(decoder, std::span(cut).subspan(kHeader), 50);
  EXPECT_FALSE(decoded.ok);
  EXPECT_EQ(decoded.data.size(), there);
}

}  // namespace
}  // namespace brix
