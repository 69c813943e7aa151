// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/lzx/lzx_decoder.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/lzx_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

// A unit's bytes; nothing when it is refused.
std::optional<Data> Decode(LzxDecoder& decoder, Data unit, size_t expected, bool half_word = false) {
  const size_t size = unit.size();
  unit.resize(size + LzxDecoder::kSlack, 0xA5);
  std::span<const uint8_t> out;
  if (!decoder.DecodeBlock({unit.data(), size}, half_word, static_cast<uint32_t>(expected), &out)) return {};
  return Data(out.begin(), out.end());
}

// Blocks of all kinds in units of all sizes, around the ring and before its beginning, with blocks that go on in the
// next unit and padding on either side of its border.
TEST(Lzx, UnitsDecodeAsOneStream) {
  for (uint32_t window_bits = 15; window_bits <= 21; ++window_bits) {
    SCOPED_TRACE(window_bits);
    LzxBuilder builder(window_bits, window_bits);
    LzxDecoder decoder(window_bits);
    builder.Put(0, 1);
    const uint32_t units = window_bits == 15 ? 24 : 4;
    for (uint32_t i = 0; i < units; ++i) {
      const size_t start = builder.plain.size();
      builder.RandomUnit(i % 4 == 0 ? 32768 : builder.Random(32768));
      const Data expected(builder.plain.begin() + static_cast<ptrdiff_t>(start), builder.plain.end());
      ASSERT_EQ(Decode(decoder, builder.TakeUnit(), expected.size()), expected) << i;
    }
  }
}

TEST(Lzx, RefusesWindowsOutside15To21) {
  for (const uint32_t window_bits : {0u, 14u, 22u, 32u}) {
    LzxDecoder decoder(window_bits, 1);
    EXPECT_FALSE(Decode(decoder, Data(64), 1)) << window_bits;
  }
}

TEST(Lzx, KeepsMatchesInsideTheRequestAndTheBlock) {
  const struct {
    uint32_t block, expected, match;
    bool good;
  } rows[] = {{9, 9, 8, true},    {100, 9, 8, true}, {100, 9, 9, false}, {9, 100, 9, false},
              {9, 100, 8, false}, {3, 3, 2, true},   {100, 2, 2, false}, {2, 100, 2, false}};
  for (const auto& row : rows) {
    LzxBuilder builder(15);
    builder.Put(0, 1).CodedHeader(LzxBuilder::kVerbatim, row.block).Literal('a').Match(1, row.match);
    LzxDecoder decoder(15);
    EXPECT_EQ(Decode(decoder, builder.TakeUnit(), row.expected).has_value(), row.good)
        << row.block << " " << row.expected << " " << row.match;
  }
}

TEST(Lzx, KeepsAMatchPastTheRequestOutOfTheWindow) {
  LzxDecoder decoder(15, 1);
  LzxBuilder first(15);
  first.Put(0, 1).RandomUnit(32768);
  ASSERT_EQ(Decode(decoder, first.TakeUnit(), 32768), first.plain);
  ASSERT_TRUE(decoder.Reset());
  LzxBuilder past(15);  // goes once around the ring, if it is let
  past.Put(0, 1).CodedHeader(LzxBuilder::kVerbatim, 100000).Literal('a');
  for (int i = 0; i < 300; ++i) past.Match(1, 257);
  EXPECT_FALSE(Decode(decoder, past.TakeUnit(), 2));
  ASSERT_TRUE(decoder.Reset());
  LzxBuilder second(15);
  second.plain = first.plain;
  second.Put(0, 1).CodedHeader(LzxBuilder::kVerbatim, 257).Match(32000, 257);
  const Data expected(second.plain.begin() + 32768, second.plain.end());
  EXPECT_EQ(Decode(decoder, second.TakeUnit(), 257), expected);
}

TEST(Lzx, APadByteMayComeWithTheNextUnit) {
  LzxBuilder builder(15);
  builder.Put(0, 1).RawHeader(3).Raw(Data{'a', 'b', 'c'});
  const Data odd = builder.TakeUnit();
  builder.unit.push_back(0xEE);
  builder.CodedHeader(LzxBuilder::kVerbatim, 9).Literal('d').Match(3, 8);
  LzxDecoder decoder(15, 1);
  EXPECT_EQ(Decode(decoder, odd, 3), (Data{'a', 'b', 'c'}));
  EXPECT_EQ(Decode(decoder, builder.TakeUnit(), 9), Data(builder.plain.begin() + 3, builder.plain.end()));

  ASSERT_TRUE(decoder.Reset());
  EXPECT_EQ(Decode(decoder, odd, 3), (Data{'a', 'b', 'c'}));
  ASSERT_TRUE(decoder.Reset());
  EXPECT_EQ(Decode(decoder, odd, 3), (Data{'a', 'b', 'c'})) << "a reset point is no next unit";
}

TEST(Lzx, DamageIsRefusedAndSticks) {
  const auto raw = [](uint32_t type) {
    return LzxBuilder(15).Put(0, 1).Put(type, 3).Put(4, 24).Put(0, 4).TakeUnit();
  };
  LzxBuilder trees(15);
  trees.Put(0, 1).Put(1, 3).Put(4, 24);
  LzxBuilder over = trees, empty = trees;
  over.Put(0x1110, 16).Put(0, 64).Put(0, 64).Put(0, 64);  // a pretree of three 1-bit codes
  empty.Put(0, 64).Put(0, 16).Put(0, 64).Put(0, 64);
  ExpectRows<Data, bool>(
      {
          {"block type 0", raw(0), false},
          {"block type 4", raw(4), false},
          {"an uncompressed block cut in its header", raw(3), false},
          {"over-subscribed pretree", over.TakeUnit(), false},
          {"a pretree without codes", empty.TakeUnit(), false},
          {"nothing", {}, false},
      },
      [](const Data& unit) {
        LzxDecoder decoder(15);
        return Decode(decoder, unit, 4).has_value();
      });

  LzxBuilder good(15);
  good.Put(0, 1).RandomUnit(3000);
  const Data unit = good.TakeUnit();
  LzxDecoder decoder(15, 1);
  for (size_t size = 0; size + 2 < unit.size(); ++size) {
    EXPECT_FALSE(Decode(decoder, Data(unit.begin(), unit.begin() + static_cast<ptrdiff_t>(size)), 3000))
        << size;
    if (size % 16 == 0) {
      EXPECT_FALSE(Decode(decoder, unit, 3000)) << "goes on after a failure";
    }
    ASSERT_TRUE(decoder.Reset());
  }
  EXPECT_EQ(Decode(decoder, unit, 3000), good.plain);
  EXPECT_FALSE(Decode(decoder, unit, 32769));
}

TEST(Lzx, KeepsTheTranslationToTheRequest) {
  // A call, its operand, and eleven bytes more in the same request.
  const auto call = [](uint32_t operand) { return Bytes().U8(0xE8).U32(operand).Fill(11, 0x90); };
  const Rows<Bytes, Bytes> rows = {
      {"forward", call(0x150), call(0x150 - 0x100)},
      {"the largest", call(999), call(999 - 0x100)},
      {"the size itself stays", call(1000), call(1000)},
      {"back", call(static_cast<uint32_t>(-0x100)), call(1000 - 0x100)},
      {"too far back", call(static_cast<uint32_t>(-0x101)), call(static_cast<uint32_t>(-0x101))},
      {"one byte before the last ten", call(0x150).CutTo(11), call(0x50).CutTo(11)},
      {"in the last ten bytes", call(0x150).CutTo(10), call(0x150).CutTo(10)},
      {"an operand is no call", call(0x1E8).PatchU8(5, 0), call(0xE8).PatchU8(5, 0)},
  };
  for (const auto& row : rows) {
    LzxBuilder builder(15);
    builder.Put(1, 1).Put(1000, 32).RawHeader(0x100 + row.input.size());
    LzxDecoder decoder(15);
    // The position counts the bytes of short requests, which are not translated, as well.
    for (int i = 0; i < 0x20; ++i) {
      EXPECT_TRUE(Decode(decoder, builder.Raw(Data(8, 0xE8)).TakeUnit(), 8));
    }
    EXPECT_EQ(Decode(decoder, builder.Raw(row.input.data).TakeUnit(), row.input.size()), row.answer.data)
        << row.label;
  }
}

TEST(Lzx, WordsMayBeginAtOddPositions) {
  LzxBuilder builder(16);
  builder.half_word = true;
  builder.Put(0, 1).RandomUnit(5000);
  LzxDecoder decoder(16);
  EXPECT_EQ(Decode(decoder, builder.TakeUnit(), 5000, true), builder.plain);
}

TEST(Lzx, ResetBeginsAnewWithTheWindowAndIsForHelpFiles) {
  LzxDecoder cabinet(15);
  EXPECT_FALSE(cabinet.Reset());
  LzxDecoder decoder(15, 1);
  LzxBuilder first(15, 2);
  first.Put(0, 1).RandomUnit(32768);
  ASSERT_EQ(Decode(decoder, first.TakeUnit(), 32768), first.plain);
  ASSERT_TRUE(decoder.Reset());
  LzxBuilder second(15, 3);  // with trees coded as differences from nothing, and offsets of 1
  second.plain = first.plain;
  second.Put(0, 1).CodedHeader(LzxBuilder::kAligned, 300).Repeat(2, 4).Match(32000, 257).Match(20, 39);
  const Data expected(second.plain.begin() + 32768, second.plain.end());
  EXPECT_EQ(Decode(decoder, second.TakeUnit(), 300), expected);
}

}  // namespace
}  // namespace brix
