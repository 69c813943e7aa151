// The decoders of ZIP's old methods. Real members prove that our packers and decoders do not share a mistake.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "core/crc32.h"
#include "core/memory_stream.h"
#include "decoders/zip/explode_decoder.h"
#include "decoders/zip/reduce_decoder.h"
#include "decoders/zip/shannon_fano_table.h"
#include "decoders/zip/shrink_decoder.h"
#include "support/bytes.h"
#include "support/zip_packers.h"

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

std::string Text(const Data& data) { return {data.begin(), data.end()}; }

// Words of a small vocabulary, now and then a byte that hardly repeats or a long run.
Data Prose(uint32_t size) {
  Data text;
  uint32_t seed = 1;
  const auto random = [&seed](uint32_t below) {
    return (seed = seed * 1664525 + 1013904223) >> 8 & 0xFFFF % below;
  };
  while (text.size() < size) {
    const uint32_t word = random(256);
    for (uint32_t i = 0; i < 2 + word % 7; ++i)
      text.push_back(static_cast<uint8_t>('a' + (word * (i + 3)) % 26));
    text.push_back(random(16) == 0 ? static_cast<uint8_t>(random(256)) : ' ');
    if (random(64) == 0) text.insert(text.end(), random(512), uint8_t{144});
  }
  text.resize(size);
  return text;
}

struct Method {
  std::string label;
  std::shared_ptr<Decoder> decoder;
  Data (*pack)(std::span<const uint8_t> plain);
};

std::vector<Method> Methods() {
  using Plain = std::span<const uint8_t>;
  return {
      {"shrink", std::make_shared<ShrinkDecoder>(), [](Plain p) { return PackShrink(p, 0); }},
      {"shrink, often cleared", std::make_shared<ShrinkDecoder>(), [](Plain p) { return PackShrink(p, 50); }},
      {"reduce 1", std::make_shared<ReduceDecoder>(1), [](Plain p) { return PackReduce(p, 1); }},
      {"reduce 2", std::make_shared<ReduceDecoder>(2), [](Plain p) { return PackReduce(p, 2); }},
      {"reduce 3", std::make_shared<ReduceDecoder>(3), [](Plain p) { return PackReduce(p, 3); }},
      {"reduce 4", std::make_shared<ReduceDecoder>(4), [](Plain p) { return PackReduce(p, 4); }},
      {"explode 4k, 2 trees, flat codes", std::make_shared<ExplodeDecoder>(4096, 2),
       [](Plain p) { return PackImplode(p, 4096, 2, 6); }},
      {"explode 4k, 3 trees, codes to 12 bits", std::make_shared<ExplodeDecoder>(4096, 3),
       [](Plain p) { return PackImplode(p, 4096, 3, 12); }},
      {"explode 8k, 2 trees, codes to 16 bits", std::make_shared<ExplodeDecoder>(8192, 2),
       [](Plain p) { return PackImplode(p, 8192, 2, 16); }},
      {"explode 8k, 3 trees, codes to 16 bits", std::make_shared<ExplodeDecoder>(8192, 3),
       [](Plain p) { return PackImplode(p, 8192, 3, 16); }},
  };
}

TEST(ZipDecoders, UnpackWhatTheOriginalProgramsPacked) {
  const struct {
    const char* file;
    std::shared_ptr<Decoder> decoder;
    uint32_t size;
    uint32_t crc;
  } rows[] = {
      {"zip/shrink-partial-clear.bin", std::make_shared<ShrinkDecoder>(), 45056, 0xCFB109C8},
      {"zip/reduce-4.bin", std::make_shared<ReduceDecoder>(4), 45056, 0xCFB109C8},
      {"zip/implode-4k-2-trees.bin", std::make_shared<ExplodeDecoder>(4096, 2), 45056, 0xCFB109C8},
      {"zip/implode-8k-3-trees.bin", std::make_shared<ExplodeDecoder>(8192, 3), 15498, 0x9BD160FA},
  };
  for (const auto& row : rows) {
    const Result result = Unpack(*row.decoder, Fixture(row.file), row.size);
    EXPECT_TRUE(result.ok) << row.file;
    EXPECT_EQ(Crc32(result.data), row.crc) << row.file;
    EXPECT_FALSE(Unpack(*row.decoder, Fixture(row.file), UINT32_MAX).ok)
        << row.file << ": there is no end mark";
  }
}

TEST(ZipDecoders, GiveTheSameForEveryPieceAndLimitAndWhenUsedAgain) {
  const Data plain = Prose(70000);
  for (const Method& method : Methods()) {
    SCOPED_TRACE(method.label);
    const Data packed = method.pack(plain);
    EXPECT_LT(packed.size(), plain.size());
    TrickleStream trickle(packed);
    EXPECT_EQ(Unpack(*method.decoder, trickle, 70000).data, plain);
    std::vector<uint32_t> limits{0, 8191, 8192, 8193, 16383, 16384, 16385, 32768, 69999, 70000};
    for (uint32_t limit = 1; limit < 1500; ++limit) limits.push_back(limit);
    for (const uint32_t limit : limits) {
      const Result result = Unpack(*method.decoder, packed, limit);
      ASSERT_TRUE(result.ok) << limit;
      ASSERT_TRUE(std::equal(result.data.begin(), result.data.end(), plain.begin(), plain.begin() + limit))
          << limit;
    }
  }
}

TEST(ZipDecoders, InputCutAnywhereFailsWithAPrefix) {
  const Data plain = Prose(3000);
  for (const Method& method : Methods()) {
    const Data packed = method.pack(plain);
    size_t longest = 0;
    for (size_t size = 0; size < packed.size(); ++size) {
      const Result result = Unpack(*method.decoder, std::span(packed).first(size), 3000);
      ASSERT_FALSE(result.ok) << method.label << " cut to " << size;
      ASSERT_TRUE(std::equal(result.data.begin(), result.data.end(), plain.begin())) << method.label << size;
      ASSERT_GE(result.data.size(), longest) << method.label << ": a longer input gives no less";
      longest = result.data.size();
    }
    EXPECT_GE(longest + 400, plain.size()) << method.label << ": only the last step is missing";
  }
}

TEST(ZipDecoders, DamageEndsInsideTheLimit) {
  const Data plain = Prose(3000);
  for (const Method& method : Methods()) {
    Data packed = method.pack(plain);
    for (uint8_t& byte : packed) {
      const uint8_t right = byte;
      for (const uint8_t wrong : {uint8_t{0}, uint8_t{0xFF}, static_cast<uint8_t>(right ^ 0x10)}) {
        byte = wrong;
        (void)Unpack(*method.decoder, packed, 20000);  // checks the count
      }
      byte = right;
    }
    EXPECT_EQ(Unpack(*method.decoder, packed, 3000).data, plain) << method.label << ": nothing stays behind";
  }
}

TEST(ZipDecoders, AFailedWriteIsAFailure) {
  const Data plain = Prose(40000);
  for (const Method& method : Methods()) {
    const Data packed = method.pack(plain);
    FixedMemoryStream in(packed);
    FixedMemoryStream read_only(plain);
    uint32_t limit = 40000;
    EXPECT_FALSE(method.decoder->Decode(in, read_only, &limit)) << method.label;
    EXPECT_EQ(limit, 0u) << method.label;
  }
}

// Codes of 9 bits; 256 and the command behind it are written out.
Result Unshrink(std::initializer_list<uint32_t> codes, uint32_t limit) {
  BitWriter packed;
  for (const uint32_t code : codes) packed.Put(code, 9);
  ShrinkDecoder decoder;
  return Unpack(decoder, packed.bytes(), limit);
}

TEST(Shrink, StringsThatMeetFreedAndUnfinishedCodes) {
  const struct {
    const char* label;
    std::initializer_list<uint32_t> codes;
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
      {"parent without meaning, then defined anew",
       {'a', 'b', 'c', 258, 256, 2, 'x', 'y', 257, 258},
       true,
       "abcbcxyxyxxy"},
      {"parent without meaning that is being defined",
       {'a', 'b', 'c', 258, 256, 2, 'x', 257, 258},
       true,
       "abcbcxxxxxx"},
  };
  for (const auto& row : rows) {
    const Result result = Unshrink(row.codes, static_cast<uint32_t>(row.text.size() + (row.ok ? 0 : 1)));
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
  const auto sets = [](uint32_t size_of_0, uint32_t follower) {
    BitWriter w;
    w.Put(0, 255 * 6 % 32);
    for (int i = 0; i < 255 * 6 / 32; ++i) w.Put(0, 32);
    w.Put(size_of_0, 6);
    for (uint32_t i = 0; i < size_of_0; ++i) w.Put(follower, 8);
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
      {"index in the largest set", 1, sets(32, 'q').Put(0, 1).Put(31, 5).bytes(), true, "q"},
      {"set too large", 1, sets(33, 'q').Put(0, 1).Put(0, 6).bytes(), false, ""},
      {"zeros stand before the output", 4, sets(0, 0).Put(144, 8).Put(0xF0, 8).Put(255, 8).bytes(), true,
       std::string(3, '\0')},
      {"run of one byte repeated", 2,
       sets(0, 0).Put('z', 8).Put(144, 8).Put(63, 8).Put(1, 8).Put(0, 8).bytes(), true,
       std::string(1 + 63 + 1 + 3, 'z')},
      {"longest run of factor 1", 1,
       sets(0, 0).Put('z', 8).Put(144, 8).Put(127, 8).Put(255, 8).Put(0, 8).bytes(), true,
       std::string(1 + 127 + 255 + 3, 'z')},
      {"high distance bits of factor 3", 3, sets(0, 0).Put('z', 8).Put(144, 8).Put(0x21, 8).Put(0, 8).bytes(),
       true, "z" + std::string(4, '\0')},
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
}

// Lists for lengths and distances of 6 bits each: a symbol's code is its complement, sent high bit first.
BitWriter FlatTrees(uint32_t trees) {
  BitWriter w;
  if (trees == 3) PutLengths(CompleteLengths(256, 8), &w);
  PutLengths(CompleteLengths(64, 6), &w);
  PutLengths(CompleteLengths(64, 6), &w);
  return w;
}

TEST(Explode, TheShortestMatchFollowsTheTreesAndZerosStandBeforeTheOutput) {
  for (const uint32_t window : {4096u, 8192u}) {
    for (const uint32_t trees : {2u, 3u}) {
      // The farthest distance and the shortest length: high part 63 and low bits set, length symbol 0.
      BitWriter w = FlatTrees(trees);
      w.Put(0, 1).Put(127, window == 8192 ? 7 : 6).Put(0, 6).Put(63, 6);
      ExplodeDecoder decoder(window, trees);
      const Result result = Unpack(decoder, w.bytes(), 100);
      EXPECT_FALSE(result.ok);
      EXPECT_EQ(result.data, Data(trees, 0)) << "window " << window;
    }
  }
}

TEST(Explode, EveryCodeOfEveryLengthIsFound) {
  for (const uint32_t longest : {8u, 9u, 10u, 16u}) {
    Data lengths = CompleteLengths(256, longest);
    std::rotate(lengths.begin(), lengths.begin() + 100,
                lengths.end());  // numbers and lengths in different order
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
  const auto run = [](const std::vector<std::vector<uint8_t>>& lists, uint32_t window, uint32_t trees) {
    BitWriter w;
    for (const auto& list : lists) PutLengths(list, &w);
    w.Put(UINT32_MAX, 32);
    ExplodeDecoder decoder(window, trees);
    return Unpack(decoder, w.bytes(), 1).ok;
  };
  const Data right = CompleteLengths(64, 6);
  Data incomplete = right;
  incomplete[63] = 7;
  Data over = right;
  over[0] = 5;
  EXPECT_TRUE(run({right, right}, 4096, 2));
  EXPECT_TRUE(run({CompleteLengths(256, 16), right, right}, 4096, 3));
  EXPECT_FALSE(run({right, right, right}, 4096, 3)) << "64 literals";
  EXPECT_FALSE(run({incomplete, right}, 4096, 2));
  EXPECT_FALSE(run({right, over}, 4096, 2));
  EXPECT_FALSE(run({CompleteLengths(128, 7), right}, 4096, 2)) << "128 lengths";
  EXPECT_FALSE(run({right, right}, 2048, 2));
  EXPECT_FALSE(run({right, right}, 4096, 4));
}

}  // namespace
}  // namespace brix
