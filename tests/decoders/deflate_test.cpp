// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/deflate/deflate_decoder.h"

#include <gtest/gtest.h>

#include "core/memory_stream.h"
#include "support/deflate_builder.h"
#include "support/resumable.h"
#include "support/rows.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

Decoded DecodeWhole(std::span<const uint8_t> bytes, bool deflate64 = false) {
  DeflateDecoder decoder(deflate64 ? DeflateMode::kDeflate64 : DeflateMode::kDeflate);
  return DecodeBy(decoder, bytes, UINT32_MAX);
}

Data Noise(size_t size, std::mt19937& random) {
  Data data(size);
  for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
  return data;
}

// A stream of blocks of every kind, with random codes and tokens, and empty blocks between them.
DeflateBuilder RandomStream(bool deflate64, uint32_t seed, size_t tokens) {
  std::mt19937 random(seed);
  DeflateBuilder stream(deflate64);
  for (int block = 0; block < 6; ++block) {
    switch (random() % 3) {
      case 0:
        stream.Stored(Noise(random() % 3000, random), false);
        break;
      case 1:
        stream.Fixed(stream.RandomTokens(tokens, random), false);
        break;
      default:
        stream.Dynamic(stream.RandomTokens(tokens, random), RandomLengths(286, random),
                       RandomLengths(deflate64 ? 32 : 30, random), false);
    }
    for (uint32_t empty = random() % 4; empty != 0; --empty) {
      random() % 2 == 0 ? stream.Stored({}, false) : stream.Fixed({}, false);
    }
  }
  stream.Fixed({}, true);
  return stream;
}

TEST(Deflate, DecodesBlocksOfEveryKindWithEveryCode) {
  DeflateDecoder deflate(DeflateMode::kDeflate);
  DeflateDecoder deflate64(DeflateMode::kDeflate64);
  for (uint32_t seed = 0; seed < 60; ++seed) {
    for (const bool mode64 : {false, true}) {
      const DeflateBuilder stream = RandomStream(mode64, seed, seed % 10 == 0 ? 9000 : 300);
      DeflateDecoder& decoder = mode64 ? deflate64 : deflate;  // reused: no stream may leak into the next
      for (const uint32_t piece : {UINT32_MAX, 65536u, 777u}) {
        decoder.Reset();
        const Decoded decoded = DecodeBy(decoder, stream.bits.bytes(), piece);
        ASSERT_TRUE(decoded.ok && decoder.finished()) << seed << " " << mode64;
        ASSERT_EQ(decoded.data, stream.plain) << seed << " " << mode64 << " by " << piece;
      }
    }
  }
}

TEST(Deflate, EveryLimitGivesThatPrefix) {
  const DeflateBuilder stream = RandomStream(true, 7, 12);
  DeflateDecoder decoder(DeflateMode::kDeflate64);
  for (uint32_t limit = 0; limit <= stream.plain.size() + 2; limit += limit < 400 ? 1 : 97) {
    decoder.Reset();
    FixedMemoryStream in(stream.bits.bytes());
    MemoryStream out;
    uint32_t produced = limit;
    ASSERT_TRUE(decoder.Decode(in, out, &produced));
    ASSERT_EQ(produced, std::min<size_t>(limit, stream.plain.size()));
    ASSERT_TRUE(std::equal(out.bytes().begin(), out.bytes().end(), stream.plain.begin()));
    ASSERT_EQ(out.bytes().size(), produced);
  }
}

TEST(Deflate, OneByteACallThroughALongMatchAndManyEmptyBlocks) {
  DeflateBuilder stream;
  stream.Fixed({{'x', 0}, {258, 1}}, false);
  for (int i = 0; i < 100000; ++i) stream.Stored({}, false);
  stream.Stored({'b'}, true);
  DeflateDecoder decoder;
  EXPECT_EQ(DecodeBy(decoder, stream.bits.bytes(), 1).data, stream.plain);
}

TEST(Deflate, ReachesBackAWholeWindowAndNoFurther) {
  for (const bool mode64 : {false, true}) {
    const uint32_t window = mode64 ? 65536 : 32768;
    std::mt19937 random(1);
    DeflateBuilder stream(mode64);
    // Far enough for the buffer to have slid more than once.
    for (int i = 0; i < 9; ++i) stream.Stored(Noise(65535, random), false);
    stream.Stored({1, 2, 3}, false).Fixed({{258, window}, {3, window - 1}, {258, 1}}, true);
    const Decoded decoded = DecodeWhole(stream.bits.bytes(), mode64);
    EXPECT_TRUE(decoded.ok);
    EXPECT_EQ(decoded.data, stream.plain);

    for (const size_t behind : {0u, 4000u}) {  // the loop is another one far from the end of the input
      DeflateBuilder before_start(mode64);
      before_start.Stored({'a', 'b', 'c'}, false).Fixed({{3, 4}}, false).Stored(Noise(behind, random), true);
      const Decoded refused = DecodeWhole(before_start.bits.bytes(), mode64);
      EXPECT_FALSE(refused.ok);
      EXPECT_EQ(refused.data, (Data{'a', 'b', 'c'}));
    }
  }
}

TEST(Deflate, StoredComplementCountsOnlyWithoutTheRawFlag) {
  const DeflateBuilder raw = DeflateBuilder().Stored({'h', 'i'}, true, false);
  DeflateDecoder decoder(DeflateMode::kDeflate, 1);
  const Decoded decoded = DecodeBy(decoder, raw.bits.bytes(), UINT32_MAX);
  EXPECT_TRUE(decoded.ok);
  EXPECT_EQ(decoded.data, raw.plain);
  EXPECT_FALSE(DecodeWhole(raw.bits.bytes()).ok);
}

TEST(Deflate, RefusesBadHeadersAndCodes) {
  // The lengths of the codes for 'a', 'b' and the end of the block, and those of the distances.
  const auto dynamic = [](uint8_t a, uint8_t b, uint8_t end, const Data& distances) {
    Data litlen(257, 0);
    litlen['a'] = a;
    litlen['b'] = b;
    litlen[256] = end;
    return DeflateBuilder().Dynamic({}, litlen, distances, true).bits.bytes();
  };
  const auto fixed = [] { return BitWriter().Put(1, 1).Put(1, 2); };
  Data complement = DeflateBuilder().Stored({'h', 'i'}, true).bits.bytes();
  complement[3] ^= 1;
  const Rows<Data, bool> rows = {
      {"block type 3", {0x07}, false},
      {"complete codes", dynamic(1, 0, 1, {1, 1}), true},
      {"no distance code at all", dynamic(1, 0, 1, {0}), true},
      {"a single distance code of one bit", dynamic(1, 0, 1, {1}), true},
      {"a single distance code of two bits", dynamic(1, 0, 1, {2}), false},
      {"no code for the end of the block", dynamic(1, 1, 0, {1, 1}), false},
      {"over-subscribed", dynamic(1, 1, 1, {1, 1}), false},
      {"incomplete", dynamic(2, 0, 1, {1, 1}), false},
      {"length symbol 286 in the fixed code", fixed().PutCode(0b11000110, 8).Put(0, 32).bytes(), false},
      {"distance symbol 30 in the fixed code",
       fixed().PutCode(0b10010001, 8).PutCode(1, 7).PutCode(30, 5).Put(0, 32).bytes(), false},
      {"code length repeated before the first",
       BitWriter().Put(1, 1).Put(2, 2).Put(0, 14).Put(1, 3).Put(1, 3).Put(0, 6).Put(0, 64).bytes(), false},
      {"the stored length's complement differs", complement, false},
      {"something behind the end", {0x03, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}, true},
      {"empty input", {}, false},
  };
  ExpectRows(rows, [](const Data& bytes) { return DecodeWhole(bytes).ok; });
}

TEST(Deflate, CutInputFailsAfterDeliveringAPrefix) {
  const DeflateBuilder stream = RandomStream(false, 3, 60);
  const Data& bytes = stream.bits.bytes();
  size_t last = 0;
  for (size_t size = 0; size + 1 < bytes.size(); ++size) {
    const Decoded decoded = DecodeWhole(std::span(bytes).first(size));
    ASSERT_FALSE(decoded.ok) << size;
    ASSERT_LE(decoded.data.size(), stream.plain.size());
    ASSERT_TRUE(std::equal(decoded.data.begin(), decoded.data.end(), stream.plain.begin())) << size;
    ASSERT_GE(decoded.data.size(), last) << size;
    last = decoded.data.size();
  }
}

TEST(Deflate, HistoryOutlivesABlockRunWhenAskedTo) {
  const DeflateBuilder first = DeflateBuilder().Stored({'a', 'b', 'c'}, true);
  DeflateBuilder second;
  second.plain = first.plain;
  second.Fixed({{3, 3}}, true);
  DeflateDecoder decoder;
  ASSERT_TRUE(DecodeBy(decoder, first.bits.bytes(), UINT32_MAX).ok);
  decoder.ResetKeepingHistory(true);
  EXPECT_EQ(DecodeBy(decoder, second.bits.bytes(), UINT32_MAX).data, (Data{'a', 'b', 'c'}));
  decoder.Reset();
  EXPECT_FALSE(DecodeBy(decoder, second.bits.bytes(), UINT32_MAX).ok);
}

}  // namespace
}  // namespace brix
