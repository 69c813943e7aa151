// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/bzip2/bzip2_decoder.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/bzip2_builder.h"
#include "support/handler_walk.h"
#include "support/resumable.h"
#include "support/rows.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

Decoded DecodeWhole(const Data& bytes, bool nullsoft = false) {
  Bzip2Decoder decoder(nullsoft ? Bzip2Variant::kNullsoft : Bzip2Variant::kStandard);
  return DecodeBy(decoder, bytes, UINT32_MAX);
}

// Any symbols make a block, also one that no rotations have: its rows are then several cycles.
Bzip2Block RandomBlock(std::mt19937& random, size_t symbols) {
  Bzip2Block block;
  const size_t in_use = 1 + random() % (random() % 2 == 0 ? 256 : 3);
  block.lengths.clear();
  for (size_t tables = 2 + random() % 5; tables != 0; --tables) {
    block.lengths.push_back(RandomLengths(in_use + 2, random));
  }
  size_t size = 0;
  for (size_t i = 0, digits = 0; i < symbols; ++i) {
    const bool run = digits < 8 && (in_use == 1 || random() % 3 == 0);
    if (!run && in_use == 1) break;
    const uint32_t place = 1 + static_cast<uint32_t>(random() % (in_use - (in_use == 1 ? 0 : 1)));
    block.symbols.push_back(run ? static_cast<uint32_t>(random() % 2) : 1 + place);
    size += run ? (block.symbols.back() + 1u) << digits : 1;
    digits = run ? digits + 1 : 0;
  }
  block.first_row = static_cast<uint32_t>(random() % size);
  return block;
}

TEST(Bzip2, KeepsRandomisedBlocksAndWhatFollowsAStream) {
  // Two streams, one behind the other, and something behind them; and a randomised block.
  EXPECT_EQ(Digest(DecodeWhole(Fixture("bzip2/two-streams.bz2")).data), "5100 64e91eca");
  EXPECT_TRUE(DecodeWhole(Fixture("bzip2/two-streams.bz2")).ok);
  EXPECT_EQ(Digest(DecodeWhole(Fixture("bzip2/randomised.bz2")).data), "4300 11602455");
  EXPECT_TRUE(DecodeWhole(Fixture("bzip2/randomised.bz2")).ok);
}

TEST(Bzip2, DecodesRandomBlocksInAnyPieces) {
  Bzip2Decoder standard;  // reused: no stream may leak into the next
  Bzip2Decoder nullsoft(Bzip2Variant::kNullsoft);
  for (uint32_t seed = 0; seed < 60; ++seed) {
    const bool short_marks = seed % 2 != 0;
    std::mt19937 random(seed);
    Bzip2Builder stream(short_marks);
    for (int block = 0; block < 3; ++block)
      stream.Add(RandomBlock(random, seed % 5 == 0 ? 14000 : 1 + random() % 700));
    stream.End();
    if (!short_marks) stream.Begin('1').End().Begin('2').Add(RandomBlock(random, 100)).End();
    stream.Put(0, 8);
    Bzip2Decoder& decoder = short_marks ? nullsoft : standard;
    for (const uint32_t piece : {UINT32_MAX, 65536u, 777u}) {
      decoder.Reset();
      const Decoded decoded = DecodeBy(decoder, stream.bytes(), piece);
      ASSERT_TRUE(decoded.ok) << seed;
      ASSERT_EQ(decoded.data, stream.plain) << seed << " by " << piece;
    }
  }
}

TEST(Bzip2, ABlockHoldsAsMuchAsItsLevelSays) {
  // A run of 99,999 or 100,000 zeros, then a one; in the first row stands a zero.
  for (const uint32_t run : {99'999u, 100'000u}) {
    Bzip2Block block;
    for (uint32_t left = run; left != 0; left = (left - 1) / 2) block.symbols.push_back(1 - left % 2);
    block.symbols.push_back(2);
    const Bzip2Builder stream = Bzip2Builder(false, '1').Add(block).End();
    EXPECT_EQ(DecodeWhole(stream.bytes()).ok, run == 99'999);
    const Bzip2Builder larger = Bzip2Builder(false, '2').Add(block).End();
    EXPECT_EQ(DecodeWhole(larger.bytes()).data, larger.plain);
  }
  Bzip2Block endless;
  endless.symbols.assign(20, 1);  // 2,097,150 zeros
  EXPECT_FALSE(DecodeWhole(Bzip2Builder(true).Add(endless).End().bytes(), true).ok);
}

template <class Change>
Bzip2Block With(Change change) {
  Bzip2Block block;
  block.symbols = {2, 0, 2, 1, 2, 1};
  change(block);
  return block;
}
Bzip2Block WithLengths(const Data& all) {
  return With([&](Bzip2Block& b) { b.lengths = {all, {2, 2, 2, 2}}; });
}

void ExpectBlocks(const Rows<Bzip2Block, bool>& rows) {
  for (const bool nullsoft : {false, true}) {
    for (const auto& row : rows) {
      const Bzip2Builder stream = Bzip2Builder(nullsoft).Add(row.input).End();
      const Decoded decoded = DecodeWhole(stream.bytes(), nullsoft);
      EXPECT_EQ(decoded.ok, row.answer) << row.label;
      EXPECT_TRUE(!row.answer || decoded.data == stream.plain) << row.label;
    }
  }
}

TEST(Bzip2, KeepsNeedlessSelectorsAndIncompleteCodes) {
  ExpectBlocks({
      {"more selectors than a block can use", With([](Bzip2Block& b) { b.more_selectors = 20000; }), true},
      {"incomplete", WithLengths({2, 3, 2, 4}), true},
  });
}

TEST(Bzip2, JudgesBlocks) {
  ExpectBlocks({
      {"as written", With([](Bzip2Block&) {}), true},
      {"last row", With([](Bzip2Block& b) { b.first_row = 6; }), true},
      {"row behind the last", With([](Bzip2Block& b) { b.first_row = 8; }), false},
      {"no bytes", With([](Bzip2Block& b) { b.symbols.clear(); }), false},
      {"one table", With([](Bzip2Block& b) { b.tables = 1; }), false},
      {"seven tables", With([](Bzip2Block& b) { b.tables = 7; }), false},
      {"codes of 20 bits", WithLengths({1, 20, 2, 20}), true},
      {"a length of 0", WithLengths({0, 2, 2, 2}), false},
      {"a length of 21", WithLengths({1, 21, 2, 3}), false},
      {"over-subscribed", WithLengths({1, 1, 1, 3}), false},
  });
}

TEST(Bzip2, ChecksumsAndMarks) {
  const Bzip2Builder built = Bzip2Builder().Add(Bzip2Block{.symbols = {2, 2, 2}}).End();
  const Data stream = built.bytes();
  const auto patched = [&](size_t at) { return Bytes(stream).PatchU8(at, stream[at] ^ 0x40u).data; };
  const Rows<Data, bool> rows = {
      {"as written", stream, true},
      {"no header", patched(0), false},
      {"level", patched(3), false},
      {"block mark", patched(5), false},
      {"the block's checksum", patched(12), false},
      {"the stream's checksum", Bytes(stream).PatchU8(stream.size() - 2, stream[stream.size() - 2] ^ 1u).data,
       false},
      {"empty input", {}, false},
      {"a stream without blocks", Bzip2Builder().End().bytes(), true},
  };
  ExpectRows(rows, [](const Data& data) { return DecodeWhole(data).ok; });
  EXPECT_EQ(DecodeWhole(patched(12)).data, built.plain) << "delivered before it can be compared";
}

TEST(Bzip2, CutInputFailsAfterDeliveringAPrefix) {
  for (const bool nullsoft : {false, true}) {
    std::mt19937 random(4);
    const Bzip2Builder stream =
        Bzip2Builder(nullsoft).Add(RandomBlock(random, 60)).Add(RandomBlock(random, 60)).End();
    const Data bytes = stream.bytes();
    for (size_t size = 0; size < bytes.size(); ++size) {
      const Decoded decoded = DecodeWhole(Bytes(bytes).CutTo(size).data, nullsoft);
      ASSERT_FALSE(decoded.ok) << size;
      ASSERT_LE(decoded.data.size(), stream.plain.size());
      ASSERT_TRUE(std::equal(decoded.data.begin(), decoded.data.end(), stream.plain.begin())) << size;
    }
  }
}

}  // namespace
}  // namespace brix
