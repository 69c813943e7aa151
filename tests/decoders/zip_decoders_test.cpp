// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The decoders of ZIP's old methods, over what the original programs packed and over what none would.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>

#include "core/memory_stream.h"
#include "decoders/zip/explode_decoder.h"
#include "decoders/zip/reduce_decoder.h"
#include "decoders/zip/shannon_fano_table.h"
#include "decoders/zip/shrink_decoder.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/zip_codes.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

// Hands out at most one byte a call.
class TrickleStream final : public Stream {
 public:
  explicit TrickleStream(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    return bytes_.ReadAt(offset, buf, std::min(size, 1u), got);
  }
  bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  bool GetSize(uint32_t* size) override { return bytes_.GetSize(size); }
  bool SetSize(uint32_t) override { return false; }

 private:
  FixedMemoryStream bytes_;
};

struct Result {
  bool ok;
  Data data;
};

Result Unpack(Decoder& decoder, Stream& in, uint32_t limit) {
  MemoryStream out;
  uint32_t produced = limit;
  const bool ok = decoder.Decode(in, out, &produced);
  EXPECT_LE(produced, limit);
  EXPECT_EQ(produced, out.bytes().size());
  return {ok, Data(out.bytes().begin(), out.bytes().end())};
}

Result Unpack(Decoder& decoder, std::span<const uint8_t> packed, uint32_t limit) {
  FixedMemoryStream in(packed);
  return Unpack(decoder, in, limit);
}

// What the original programs packed.
struct Sample {
  const char* file;
  std::shared_ptr<Decoder> decoder;
  const char* digest;

  [[nodiscard]] Data Packed() const { return Fixture(file); }
  [[nodiscard]] Data Plain() const {
    Result result = Unpack(*decoder, Packed(), static_cast<uint32_t>(std::stoul(digest)));
    EXPECT_TRUE(result.ok) << file;
    EXPECT_EQ(Digest(result.data), digest) << file;
    return result.data;
  }
};

std::vector<Sample> Samples() {
  return {
      {"zip/shrink-partial-clear.bin", std::make_shared<ShrinkDecoder>(), "45056 cfb109c8"},
      {"zip/reduce-4.bin", std::make_shared<ReduceDecoder>(4), "45056 cfb109c8"},
      {"zip/implode-4k-2-trees.bin", std::make_shared<ExplodeDecoder>(4096, 2), "45056 cfb109c8"},
      {"zip/implode-8k-3-trees.bin", std::make_shared<ExplodeDecoder>(8192, 3), "15498 9bd160fa"},
  };
}

TEST(ZipDecoders, GiveTheSameForEveryPieceAndLimitAndWhenUsedAgain) {
  for (const Sample& sample : Samples()) {
    SCOPED_TRACE(sample.file);
    const Data plain = sample.Plain();
    const Data packed = sample.Packed();
    const auto size = static_cast<uint32_t>(plain.size());
    TrickleStream trickle(packed);
    EXPECT_EQ(Unpack(*sample.decoder, trickle, size).data, plain);
    std::vector<uint32_t> limits{0, 8191, 8192, 8193, 16383, 16384, 16385, 32768, size - 1};
    for (uint32_t limit = 1; limit < 1500; ++limit) limits.push_back(limit);
    for (const uint32_t limit : limits) {
      if (limit > size) continue;
      const Result result = Unpack(*sample.decoder, packed, limit);
      ASSERT_TRUE(result.ok) << limit;
      ASSERT_TRUE(std::equal(result.data.begin(), result.data.end(), plain.begin(), plain.begin() + limit))
          << limit;
    }
    EXPECT_FALSE(Unpack(*sample.decoder, packed, UINT32_MAX).ok) << "there is no end mark";
    FixedMemoryStream in(packed);
    FixedMemoryStream read_only(plain);
    uint32_t produced = size;
    EXPECT_FALSE(sample.decoder->Decode(in, read_only, &produced)) << "a failed write";
    EXPECT_EQ(produced, 0u);
  }
}

TEST(ZipDecoders, InputCutAnywhereFailsWithAPrefix) {
  for (const Sample& sample : Samples()) {
    SCOPED_TRACE(sample.file);
    const Data plain = sample.Plain();
    const Data packed = sample.Packed();
    size_t longest = 0;
    // Everywhere near the ends, and here and there between.
    for (size_t size = 0; size < packed.size(); size += size < 400 || size + 400 > packed.size() ? 1u : 29u) {
      const Result result =
          Unpack(*sample.decoder, std::span(packed).first(size), static_cast<uint32_t>(plain.size()));
      ASSERT_FALSE(result.ok) << size;
      ASSERT_TRUE(std::equal(result.data.begin(), result.data.end(), plain.begin())) << size;
      ASSERT_GE(result.data.size(), longest) << "a longer input gives no less";
      longest = result.data.size();
    }
    EXPECT_GE(longest + 400, plain.size()) << "only the last step is missing";
  }
}

TEST(ZipDecoders, DamageEndsInsideTheLimit) {
  for (const Sample& sample : Samples()) {
    Data packed = sample.Packed();
    for (size_t at = 0; at < packed.size(); at += at < 400 ? 1u : 23u) {
      const uint8_t right = packed[at];
      for (const uint8_t wrong : {uint8_t{0}, uint8_t{0xFF}, static_cast<uint8_t>(right ^ 0x10)}) {
        packed[at] = wrong;
        (void)Unpack(*sample.decoder, packed, 20000);  // checks the count
      }
      packed[at] = right;
    }
    (void)sample.Plain();  // nothing stays behind
  }
}

TEST(Shrink, StringsThatMeetFreedAndUnfinishedCodes) {
  const struct {
    const char* label;
    std::initializer_list<uint32_t> codes;  // of 9 bits; 256 and the command behind it are written out
    bool ok;
    std::string text;
  } rows[] = {
      {"the code being defined", {'a', 257}, true, "aaa"},
      {"the first code is no byte", {257}, false, ""},
      {"a code above the one being defined", {'a', 258}, false, "a"},
      {"command before anything else", {256, 2, 'a'}, true, "a"},
      {"no such command", {'a', 256, 3, 'b'}, false, "a"},
      {"freed leaf", {'a', 'b', 'c', 256, 2, 258}, false, "abc"},
      {"freed leaf, about to be defined anew", {'a', 'b', 'c', 256, 2, 257}, true, "abccc"},
      {"freed leaf, read again before its place is taken", {'a', 'b', 257, 256, 2, 257}, false, "abab"},
      {"a parent outlives the clear, its child does not", {'a', 'b', 257, 'c', 256, 2, 257}, true, "ababcab"},
      // 257 "ab", 258 "ba"; both freed while 257 was read last: the next code, 257, gets itself as parent.
      {"parent of itself", {'a', 'b', 257, 256, 2, 'c', 'd', 257}, false, "ababcd"},
      {"parent of itself is never freed", {'a', 'b', 257, 256, 2, 'c', 256, 2, 'd', 258}, true, "ababcdcd"},
      // 258 "bc" is freed while it was read last, so that 257 is 258 and "x" until 258 gets a new meaning.
      {"then defined anew", {'a', 'b', 'c', 258, 256, 2, 'x', 'y', 257, 258}, true, "abcbcxyxyxxy"},
      {"that is being defined", {'a', 'b', 'c', 258, 256, 2, 'x', 257, 258}, true, "abcbcxxxxxx"},
  };
  for (const auto& row : rows) {
    BitWriter packed;
    for (const uint32_t code : row.codes) packed.Put(code, 9);
    ShrinkDecoder decoder;
    const auto size = static_cast<uint32_t>(row.text.size());
    const Result result = Unpack(decoder, packed.bytes(), row.ok ? size : size + 1);
    EXPECT_EQ(result.ok, row.ok) << row.label;
    EXPECT_EQ(Text(result.data), row.text) << row.label;
  }
}

TEST(Shrink, CodesGrowToThirteenBitsAndNoFurther) {
  BitWriter packed;
  for (uint32_t bits = 9; bits < 13; ++bits) packed.Put(256, bits).Put(1, bits);
  ShrinkDecoder decoder;
  EXPECT_EQ(Text(Unpack(decoder, BitWriter(packed).Put('a', 13).bytes(), 1).data), "a");
  EXPECT_FALSE(Unpack(decoder, packed.Put(256, 13).Put(1, 13).Put('a', 13).bytes(), 1).ok);
}

TEST(Reduce, FollowerSetsAndRunsAtTheirEdges) {
  // No followers but for byte 0, which stands before the first byte: `follower` and those that come next.
  const auto sets = [](uint32_t size_of_0, uint32_t follower) {
    BitWriter w;
    for (int i = 0; i < 255; ++i) w.Put(0, 6);
    w.Put(size_of_0, 6);
    for (uint32_t i = 0; i < size_of_0; ++i) w.Put(follower + i, 8);
    return w;
  };
  const struct {
    const char* label;
    uint32_t factor;
    Data packed;
    bool ok;
    std::string text;
  } rows[] = {
      {"a set of one byte has an index of one bit", 1, sets(1, 'q').Put(0, 1).Put(0, 1).bytes(), true, "q"},
      {"index behind the set", 1, sets(1, 'q').Put(0, 1).Put(1, 1).Put(0, 8).bytes(), false, ""},
      {"set too large", 1, sets(33, 'q').Put(0, 1).Put(0, 6).bytes(), false, ""},
      {"zeros stand before the output", 4, sets(0, 0).Put(144, 8).Put(0xF0, 8).Put(255, 8).bytes(), true,
       std::string(3, '\0')},
      {"longest run of factor 1", 1,
       sets(0, 0).Put('z', 8).Put(144, 8).Put(127, 8).Put(255, 8).Put(0, 8).bytes(), true,
       std::string(1 + 127 + 255 + 3, 'z')},
      {"the marker as a literal", 3, sets(0, 0).Put(144, 8).Put(0, 8).bytes(), true, "\x90"},
      {"no such factor", 5, sets(0, 0).Put('z', 8).bytes(), false, ""},
      {"no such factor", 0, sets(0, 0).Put('z', 8).bytes(), false, ""},
  };
  for (const auto& row : rows) {
    ReduceDecoder decoder(row.factor);
    const Result result = Unpack(decoder, row.packed, std::max(1u, static_cast<uint32_t>(row.text.size())));
    EXPECT_EQ(result.ok, row.ok) << row.label;
    EXPECT_EQ(Text(result.data), row.text) << row.label;
  }
  for (uint32_t factor = 1; factor <= 4; ++factor) {  // a run of 255 from 1 back, one of 3 from 257 back
    const uint32_t mask = 0xFFu >> factor;
    BitWriter w = sets(0, 0).Put('a', 8).Put('z', 8).Put(144, 8).Put(mask, 8).Put(252 - mask, 8).Put(0, 8);
    ReduceDecoder decoder(factor);
    const Data packed = w.Put(144, 8).Put(mask + 1, 8).Put(0, 8).bytes();
    EXPECT_EQ(Text(Unpack(decoder, packed, 260).data), "a" + std::string(256, 'z') + "azz") << factor;
  }
  for (uint32_t size = 1, bits = 1; size <= 32; ++size) {  // the last index of a set of every size
    if ((size - 1) >> bits != 0) ++bits;
    ReduceDecoder decoder(1);
    const Data packed = sets(size, 'A').Put(0, 1).Put(size - 1, bits).Put(1, 1).bytes();
    EXPECT_EQ(Unpack(decoder, packed, 1).data, Data{static_cast<uint8_t>('A' + size - 1)}) << size;
  }
}

TEST(Explode, TheShortestMatchFollowsTheTreesAndZerosStandBeforeTheOutput) {
  for (const uint32_t window : {4096u, 8192u}) {
    for (const uint32_t trees : {2u, 3u}) {
      ExplodeDecoder decoder(window, trees);
      const Result result = Unpack(decoder, FarthestMatch(window, trees), trees + 1);
      EXPECT_TRUE(result.ok);
      EXPECT_EQ(Text(result.data), std::string(trees, '\0') + "y") << "window " << window;
    }
  }
}

// Each symbol's code, left-justified to 16 bits with the highest bit sent first. As the format describes it:
// sorted by length, counted up from the last one, which is the longest.
std::vector<uint32_t> ShannonFanoCodes(const Data& lengths) {
  std::vector<uint32_t> order(lengths.size());
  std::iota(order.begin(), order.end(), 0u);
  std::ranges::stable_sort(order, {}, [&](uint32_t symbol) { return lengths[symbol]; });
  std::vector<uint32_t> codes(lengths.size());
  uint32_t code = 0;
  for (; !order.empty(); order.pop_back()) {
    codes[order.back()] = code;
    code += 1u << (16 - lengths[order.back()]);
  }
  return codes;
}

TEST(Explode, EveryCodeOfEveryLengthIsFound) {
  for (const uint32_t longest : {8u, 9u, 10u, 16u}) {
    Data lengths = CompleteLengths(256, longest);
    std::rotate(lengths.begin(), lengths.begin() + 100, lengths.end());  // not in the order of the symbols
    zip::ShannonFanoTable table;
    ASSERT_TRUE(table.Build(lengths));
    const std::vector<uint32_t> codes = ShannonFanoCodes(lengths);
    for (uint32_t symbol = 0; symbol < 256; ++symbol) {
      for (const uint32_t behind : {0u, 0xFFFFu}) {
        uint32_t sent = behind << lengths[symbol];
        for (uint32_t i = 0; i < lengths[symbol]; ++i) sent |= (codes[symbol] >> (15 - i) & 1) << i;
        EXPECT_EQ(table.Find(sent).value, symbol);
        EXPECT_EQ(table.Find(sent).bits, lengths[symbol]);
      }
    }
  }
}

TEST(Explode, RefusesListsThatAreNoCode) {
  const Data right = CompleteLengths(64, 6);
  Data incomplete = right;
  incomplete[63] = 7;
  Data over = right;
  over[0] = 5;
  const struct {
    const char* label;
    uint32_t window, trees;
    std::vector<Data> lists;
    bool ok;
  } rows[] = {
      {"two trees", 4096, 2, {right, right}, true},
      {"three trees", 4096, 3, {CompleteLengths(256, 16), right, right}, true},
      {"64 literals", 4096, 3, {right, right, right}, false},
      {"incomplete", 4096, 2, {incomplete, right}, false},
      {"over-subscribed", 4096, 2, {right, over}, false},
      {"128 lengths", 4096, 2, {CompleteLengths(128, 7), right}, false},
      {"no such window", 2048, 2, {right, right}, false},
      {"no such number of trees", 4096, 4, {right, right}, false},
  };
  for (const auto& row : rows) {
    BitWriter w;
    for (const Data& list : row.lists) PutLengths(list, &w);
    ExplodeDecoder decoder(row.window, row.trees);
    EXPECT_EQ(Unpack(decoder, w.Put(UINT32_MAX, 32).bytes(), 1).ok, row.ok) << row.label;
  }
}

}  // namespace
}  // namespace brix
