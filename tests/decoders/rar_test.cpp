// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The 2.0 and 2.9 decompressors by round trips through support/rar_builder.h; real archives are in
// formats/rar_test.cpp.
#include <gtest/gtest.h>

#include <functional>
#include <optional>

#include "core/memory_stream.h"
#include "decoders/rar/rar_decoder.h"
#include "support/handler_walk.h"
#include "support/ppmd_encoder.h"
#include "support/rar_builder.h"
#include "support/rows.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;
using rar::Method;

// Hands out at most `most` bytes a read.
class Slow final : public Stream {
 public:
  Slow(const Data& bytes, uint32_t most) : in_(bytes), most_(most) {}
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    return in_.ReadAt(offset, buf, std::min(size, most_), got);
  }
  bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  bool GetSize(uint32_t* size) override { return in_.GetSize(size); }
  bool SetSize(uint32_t) override { return false; }

 private:
  FixedMemoryStream in_;
  uint32_t most_;
};

// A member's content; nothing when it fails.
std::optional<Data> Decode(RarDecoder& decoder, const Data& packed, Method method, uint32_t limit,
                           bool solid = false, uint32_t size = 0, uint32_t piece = UINT32_MAX) {
  Slow in(packed, piece);
  MemoryStream out;
  uint32_t produced = limit;
  const bool ok =
      decoder.Begin(method, solid, size == 0 ? limit : size, in) && decoder.Decode(in, out, &produced);
  EXPECT_EQ(produced, out.bytes().size());
  if (!ok) return {};
  return Data(out.bytes().begin(), out.bytes().end());
}

std::optional<Data> Decode29(const RarPacked& packed, uint32_t limit = UINT32_MAX) {
  RarDecoder decoder;
  return Decode(decoder, packed.bits.bytes(), Method::kRar29, limit);
}

// Every kind of symbol, with distances of every slot and more output than the ring holds.
RarPacked AllSymbols(bool is20, uint32_t size) {
  RarPacked packed(is20);
  packed.Header();
  std::vector<uint32_t> distances(4, 1);  // the last one first
  uint32_t seed = 1;
  const auto random = [&](uint32_t below) { return (seed = seed * 1103515245 + 12345) / 65536 % below; };
  const auto remember = [&](uint32_t d) {
    distances.insert(distances.begin(), d);
    distances.pop_back();
  };
  packed.Text("seed").Short(1).Short(1).Short(1).Short(1);
  while (packed.plain.size() < size) {
    const auto here = static_cast<uint32_t>(packed.plain.size());
    const uint32_t most = is20 ? 1u << 20 : 4u << 20;
    const uint32_t distance =
        random(9) == 0 ? std::min(here, most)
                       : 1 + (random(0x8000) << 8 | random(256)) % std::min(here, most >> random(20));
    switch (random(7)) {
      case 0:
        packed.Literal(static_cast<uint8_t>(random(256))).Literal(static_cast<uint8_t>(random(256)));
        break;
      case 1:
        remember(distance);
        packed.Match(distance, 5 + random(220));
        break;
      case 2:
        packed.Text("abc").Last();
        if (is20) remember(distances[0]);
        break;
      case 3: {
        const uint32_t i = random(4);
        const uint32_t d = distances[i];
        if (!is20) distances.erase(distances.begin() + i);
        if (is20) distances.pop_back();
        distances.insert(distances.begin(), d);
        packed.Repeat(i, d, 6 + random(200));
        break;
      }
      case 4:
        remember(1 + random(4));
        packed.Short(distances[0]);
        break;
      case 5:
        if (is20 || random(50) != 0) break;
        packed.End(1).Header();
        break;
      default:
        packed.Literal('-');
    }
  }
  return is20 ? packed : packed.End();
}

TEST(RarDecoder, EverySymbolAroundTheRingInAnyPieces) {
  for (const bool is20 : {false, true}) {
    SCOPED_TRACE(is20);
    const RarPacked packed = AllSymbols(is20, 10 << 20);
    const auto size = static_cast<uint32_t>(packed.plain.size());
    const Method method = is20 ? Method::kRar20 : Method::kRar29;
    RarDecoder decoder;  // one for all: what it kept must not show
    for (const uint32_t piece : {1u, 61u, 4096u, UINT32_MAX}) {
      EXPECT_TRUE(Decode(decoder, packed.bits.bytes(), method, size, false, size, piece) == packed.plain)
          << piece;
    }
    for (const uint32_t limit : {1u, 4u, 32767u, 32768u, 4200000u, size - 1}) {
      const Data start(packed.plain.begin(), packed.plain.begin() + limit);
      EXPECT_TRUE(Decode(decoder, packed.bits.bytes(), method, limit, false, size) == start) << limit;
    }
  }
}

TEST(RarDecoder, LowBitsOfDistancesRepeat) {
  RarPacked packed;
  packed.Header().Text("0123456789abcdefghijklmnopqrstuvwxyz0123456789!");
  packed.Match(40, 3);
  // Symbol 16 repeats the low bits; for the next 15 distances no symbol is there at all.
  packed.Main(271).Code(10, 60).bits.Put(0, 0);
  packed.Code(16, 17);
  packed.plain.insert(packed.plain.end(), 3, 0);  // distance 33 + 7, as before
  for (size_t at = packed.plain.size() - 3; at < packed.plain.size(); ++at)
    packed.plain[at] = packed.plain[at - 40];
  packed.low_run = 15;
  for (int i = 0; i < 15; ++i) packed.Match(40, 4);
  packed.Match(33, 5).End();
  EXPECT_EQ(Decode29(packed), packed.plain);
}

TEST(RarDecoder, SolidMembersGoOnWithEverything) {
  const std::string text = "the first member of a chain, ";
  const uint32_t limit = static_cast<uint32_t>(text.size()) + 9;
  for (const bool is20 : {false, true}) {
    for (const uint32_t read : {limit, 3u, 1u}) {  // of the first; the rest is decoded when the second comes
      SCOPED_TRACE(read);
      const Method method = is20 ? Method::kRar20 : Method::kRar29;
      RarPacked first(is20), second(is20);
      first.Header().Text(text).Match(9, 9);
      second.window = first.plain;
      if (is20) {
        first.Main(269).Header().bits.Put(0, 16);  // tables for the next stand behind the last symbol
      } else {
        first.End(3);
      }
      second.Text("and ").Match(34, 12).Repeat(0, 34, 20);
      RarDecoder decoder;
      const Data start(first.plain.begin(), first.plain.begin() + read);
      EXPECT_EQ(Decode(decoder, first.bits.bytes(), method, read, false, limit), start);
      uint64_t allowance = limit;
      FixedMemoryStream in(first.bits.bytes());
      EXPECT_TRUE(decoder.Finish(in, &allowance));
      const auto size = static_cast<uint32_t>(second.plain.size());
      if (!is20) second.End();
      EXPECT_EQ(Decode(decoder, second.bits.bytes(), method, size, true), second.plain);
    }
  }
}

TEST(RarDecoder, KeepsAnEarlyEndASuccess) {
  RarPacked packed;
  EXPECT_EQ(Decode29(packed.Header().Text("short").End(), 100), packed.plain);
}

TEST(RarDecoder, KeepsOutputPastTheSizeForTheNextMember) {
  RarPacked first, second;
  first.Header().Text("size, and more").End(3);
  second.window = first.plain;
  second.Match(8, 8).End();
  RarDecoder decoder;
  EXPECT_EQ(Text(Decode(decoder, first.bits.bytes(), Method::kRar29, 4).value_or(Data())), "size");
  uint64_t allowance = 100;
  FixedMemoryStream in(first.bits.bytes());
  EXPECT_TRUE(decoder.Finish(in, &allowance));
  EXPECT_EQ(Text(Decode(decoder, second.bits.bytes(), Method::kRar29, 8, true).value_or(Data())), "and more");
}

TEST(RarDecoder, DamageIsRefused) {
  const auto text = [] {
    RarPacked packed;
    packed.Header().Text("text");
    return packed;
  };
  RarPacked over, repeat;
  over.bits.Put(0, 2).Put(0x111, 12).Put(0, 68).Put(0, 64);
  repeat.bits.Put(0, 2).Put(0, 64).Put(0xF0, 8).Put(1, 4).Put(1, 4);
  const Rows<RarPacked, std::string> rows = {
      {"nothing", RarPacked(), ""},
      {"no end", text(), ""},
      {"an over-subscribed pretree", over, ""},
      {"a pretree of runs only", repeat, ""},
      {"a distance before the first byte", text().Main(271).Code(4, 60), ""},
      {"a repeated distance that was never set", text().Main(259).Code(0, 28), ""},
      {"PPMd without a model",
       [] {
         RarPacked p;
         p.bits.Put(0x87, 8).Put(0, 32);
         return p;
       }(),
       ""},
      {"PPMd without memory",
       [] {
         RarPacked p;
         p.bits.Put(0xA7, 8);
         return p;
       }(),
       ""},
      {"PPMd of order 1",
       [] {
         RarPacked p;
         p.bits.Put(0xA0, 8).Put(0, 32);
         return p;
       }(),
       ""},
      {"no last match is no match", text().Main(258).End(), "text"},
  };
  ExpectRows(rows, [](const RarPacked& packed) {
    const auto plain = Decode29(packed);
    return plain ? Text(*plain) : "";
  });
  const RarPacked whole = AllSymbols(false, 3000);
  RarDecoder decoder;
  for (size_t size = 0; size + 1 < whole.bits.bytes().size(); ++size) {
    const Data cut(whole.bits.bytes().begin(), whole.bits.bytes().begin() + static_cast<ptrdiff_t>(size));
    FixedMemoryStream in(cut);
    MemoryStream out;
    uint32_t produced = UINT32_MAX;
    EXPECT_FALSE(decoder.Begin(Method::kRar29, false, 3000, in) && decoder.Decode(in, out, &produced))
        << size;
    ASSERT_LE(produced, whole.plain.size());
    EXPECT_TRUE(std::equal(out.bytes().begin(), out.bytes().end(), whole.plain.begin())) << size;
  }
}

// From matches to PPMd, with each of its codes, back, and to PPMd with the model as it was left; then on to a solid
// member that begins with it.
TEST(RarDecoder, BlocksOfBothKindsTakeTurns) {
  PpmdEncoder encoder;
  ASSERT_TRUE(encoder.Start(4, 1 << 20));
  const auto put = [&](RarPacked& packed, const std::string& bytes) {
    for (const char c : bytes) encoder.Put(static_cast<uint8_t>(c));
    encoder.Finish();
    for (const uint8_t byte : encoder.packed) packed.bits.Put(byte, 8);
    encoder.packed.clear();
  };
  const std::vector<uint8_t> code = RarFilter{0, 4, RarPrograms()[5], 0, {{0, 1}}}.Code();
  RarPacked first, second;
  first.Header().Text("matches, ").Match(9, 9).End(1).bits.Align();
  first.bits.Put(0xE3, 8).Put(0, 8).Put(0x0E, 8);  // a model of order 4 and 1 MiB, and an escape of its own
  put(first, "PPMd \x0E\1 \x0E\4" + std::string("\0\0\7\0", 4) + "\x0E\5\3" + "\x0E\3" + '\xB7' + '\0' +
                 static_cast<char>(code.size()) + Text(code) + "\xFF\xFF\xFF\xFF\x0E" + '\0');
  first.Header().Text("matches").End(1).bits.Align();
  first.bits.Put(0x83, 8);
  put(first, "; again\x0E\2");
  second.bits.Put(0x83, 8);
  put(second, "PPMd again\x0E\2");
  RarDecoder decoder;
  const std::string start = "matches, matches, PPMd \x0E ";
  std::string text = start;
  for (int i = 0; i < 32; ++i) text += text[text.size() - 9];
  text += std::string(7, text.back()) + "\1\2\3\4matches; again";
  const auto plain = Decode(decoder, first.bits.bytes(), Method::kRar29, static_cast<uint32_t>(text.size()));
  EXPECT_EQ(Text(plain.value_or(Data())), text);
  uint64_t allowance = 1000;
  FixedMemoryStream in(first.bits.bytes());
  EXPECT_TRUE(decoder.Finish(in, &allowance));
  EXPECT_EQ(Text(Decode(decoder, second.bits.bytes(), Method::kRar29, 10, true).value_or(Data())),
            "PPMd again");
}

// A member that is said to be empty may have a header that is damaged half way; nothing is decoded with its tables.
TEST(RarDecoder, HalfBuiltTablesAreNone) {
  for (const bool is20 : {false, true}) {
    RarPacked half(is20);
    half.Header();
    const Data cut(half.bits.bytes().begin(), half.bits.bytes().end() - 40);
    RarDecoder decoder;
    FixedMemoryStream in(cut);
    MemoryStream out;
    uint32_t produced = 10;
    uint64_t allowance = 10;
    const Method method = is20 ? Method::kRar20 : Method::kRar29;
    EXPECT_FALSE(decoder.Begin(method, false, is20 ? 10 : 0, in) && decoder.Decode(in, out, &produced));
    EXPECT_EQ(decoder.Finish(in, &allowance), !is20);
    EXPECT_EQ(Decode(decoder, Data(64, 0x55), method, 10, true), std::nullopt);
  }
}

TEST(RarDecoder, SoundBlocks) {
  // unar 1.10.1 unpacks the same.
  const Rows<uint32_t, const char*> rows = {
      {"mono", 1, "2000 02c4137a"}, {"stereo", 2, "2000 06016661"}, {"four", 4, "2000 ba7862f9"}};
  ExpectRows(rows, [](uint32_t channels) {
    RarPacked packed(true);
    packed.AudioHeader(channels);
    for (uint32_t i = 0; i < 2000; ++i) packed.Sample((i * i / 7 + i % 11) & 255 & (i % 64 < 32 ? 255 : 7));
    packed.bits.Put(0, 64);
    RarDecoder decoder;
    return Digest(Decode(decoder, packed.bits.bytes(), Method::kRar20, 2000).value_or(Data()));
  });
}

// Of all but Itanium and upper case bsdtar 3.6.2 unpacks the same.
TEST(RarDecoder, EachFilterUndoes) {
  struct Case {
    uint32_t number;  // of the program
    uint32_t size;
    std::vector<std::pair<uint32_t, uint32_t>> registers;
  };
  const Rows<Case, std::string> rows = {
      {"calls", {1, 3000, {}}, "4014 d34c67be"},
      {"calls and jumps", {2, 3000, {}}, "4014 b19303d3"},
      {"Itanium", {3, 3000, {}}, "4014 e0a58a5b"},
      {"a picture", {4, 3000, {{0, 303}, {1, 1}}}, "4014 366ef0a6"},
      {"sound of two channels", {5, 3000, {{0, 2}}}, "4014 46ce8bb9"},
      {"delta of five channels", {6, 3000, {{0, 5}}}, "4014 e6c5cd93"},
      {"upper case", {7, 3000, {}}, "3767 ab89c596"},
      {"delta of no channels", {6, 3000, {{0, 0}}}, "unchanged"},
      {"sound of no channels", {5, 3000, {{0, 0}}}, "unchanged"},
      {"a picture of one byte", {4, 1, {{0, 303}}}, "unchanged"},
      {"a picture of two bytes", {4, 2, {{0, 3}}}, "unchanged"},
      {"sound of too many channels", {5, 3000, {{0, 1025}}}, "fails"},
      {"a row shorter than a pixel", {4, 3000, {{0, 2}, {1, 0}}}, "fails"},
      {"another size than the block's", {1, 3000, {{4, 2999}}}, "fails"},
      {"a block behind the end", {1, 5000, {}}, "fails"},
      {"a block longer than the memory", {1, 0x40001, {}}, "fails"},
      {"a long block for a filter with two", {6, 0x20001, {{0, 1}}}, "fails"},
  };
  ExpectRows(rows, [](const Case& row) -> std::string {
    RarPacked packed;
    packed.Header().Text("in front of it");
    packed.Filter({3, row.size, RarPrograms()[row.number - 1], 0, row.registers});
    uint32_t seed = 7;
    for (uint32_t i = 0; i < 4000; ++i) {
      seed = seed * 1103515245 + 12345;
      constexpr uint8_t kTelling[] = {0xE8, 0xE9, 2, 0x10, 0x16, 0x50, 0, 0xFF};
      packed.Literal(seed >> 30 == 0 ? static_cast<uint8_t>(seed >> 16) : kTelling[seed >> 20 & 7]);
    }
    if (row.size > 0x20000) {
      packed.Match(1, 3);
      for (uint32_t i = 0; i < 1100; ++i) packed.Last().Match(4000, 250);
    }
    const auto plain = Decode29(packed.End());
    if (!plain) return "fails";
    return *plain == packed.plain ? "unchanged" : Digest(*plain);
  });
}

TEST(RarDecoder, ItaniumAndUpperCaseByHand) {
  // The third instruction of a bundle of template 0x10 is a branch, opcode 5: its address loses the bundle's number.
  Data bundles(64);
  for (size_t at = 0; at < bundles.size(); at += 16) {
    bundles[at] = at == 16 ? 0x0F : 0x10;
    bundles[at + 15] = 0x50;
  }
  Data expected = bundles;
  expected[44] = 0xE0;  // of the third bundle: 0 - 2; the last is too near to the end
  expected[45] = expected[46] = 0xFF;
  const Data marked = {'a', 2, 'b', 2, 2, 'c', 2, 'd'};
  const Rows<std::pair<uint32_t, Data>, Data> rows = {
      {"Itanium", {2, bundles}, expected},
      {"upper case", {6, marked}, {'a', 'B', 2, 'c', 'D'}},
      {"upper case, cut", {6, {'a', 2}}, {'a', 2}},
  };
  ExpectRows(rows, [](const std::pair<uint32_t, Data>& row) {
    RarPacked packed;
    packed.Header().Filter({0, static_cast<uint32_t>(row.second.size()), RarPrograms()[row.first]});
    for (const uint8_t byte : row.second) packed.Literal(byte);
    return Decode29(packed.End()).value_or(Data());
  });
}

TEST(RarDecoder, FiltersComeInChainsAndOrder) {
  const Data& delta = RarPrograms()[5];
  const Data& calls = RarPrograms()[0];
  const RarFilter one_channel{0, 8, delta, 0, {{0, 1}}};
  const auto packed = [&](std::vector<RarFilter> filters) {
    RarPacked p;
    p.Header().Text("::");
    for (const RarFilter& filter : filters) p.Filter(filter);
    for (int i = 0; i < 20; ++i) p.Literal(0xFF);
    return p.End();
  };
  const auto again = [&](uint32_t start, uint32_t size, uint32_t number = 1) {
    return RarFilter{start, size, {}, number, {{0, 1}}};
  };
  const std::string same(20, '\xFF');
  std::vector<RarFilter> many(17, again(0, 8));
  many[0] = one_channel;
  const Rows<std::vector<RarFilter>, std::string> rows = {
      {"one", {one_channel}, "::\1\2\3\4\5\6\7\10" + same.substr(8)},
      {"the same block twice",
       {one_channel, again(0, 8)},
       "::\xFF\xFD\xFA\xF6\xF1\xEB\xE4\xDC" + same.substr(8)},
      {"two blocks", {one_channel, again(10, 3)}, "::\1\2\3\4\5\6\7\10\xFF\xFF\1\2\3" + same.substr(13)},
      {"behind the end", {one_channel, again(20, 3)}, "::\1\2\3\4\5\6\7\10" + same.substr(8)},
      {"of no bytes", {one_channel, again(3, 0)}, "::\1\2\3\4\5\6\7\10" + same.substr(8)},
      {"a second program", {one_channel, {8, 8, calls, 2}}, "::\1\2\3\4\5\6\7\10" + same.substr(8)},
      {"overlapping", {one_channel, again(4, 8)}, "fails"},
      {"going back", {{8, 8, delta, 0, {{0, 1}}}, again(0, 4)}, "fails"},
      {"the same start, another size", {one_channel, again(0, 7)}, "fails"},
      {"a program that is not there", {one_channel, again(8, 8, 3)}, "fails"},
      {"seventeen over one block", many, "fails"},
  };
  ExpectRows(rows, [&](const std::vector<RarFilter>& filters) {
    const auto plain = Decode29(packed(filters));
    return plain ? Text(*plain) : std::string("fails");
  });
}

TEST(RarDecoder, SaysWhichFiltersItDoesNotHave) {
  Data custom = RarPrograms()[0];
  custom[0] ^= 1;
  char message[80];
  std::snprintf(message, sizeof message, "error: custom filter (%d %x) not yet supported\n", 53,
                Crc32(custom));
  const Rows<RarFilter, std::string> rows = {
      {"a program of its own", {0, 8, custom}, message},
      {"global memory",
       {0, 8, RarPrograms()[0], 0, {}, 8},
       "error: don't support initialising extended global memory yet\n"},
      {"a standard one", {0, 8, RarPrograms()[0]}, ""},
  };
  ExpectRows(rows, [](const RarFilter& filter) {
    RarPacked first, second;
    first.Header().Filter(filter).Text("a first member").End(3);
    second.window = first.plain;
    second.Text("goes on: ").Match(14, 7).End();
    RarDecoder decoder;
    testing::internal::CaptureStdout();
    const bool good = Decode(decoder, first.bits.bytes(), Method::kRar29, 14).has_value();
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_EQ(good, text.empty());
    // What comes behind it can be had all the same.
    uint64_t allowance = 100;
    FixedMemoryStream in(first.bits.bytes());
    EXPECT_TRUE(decoder.Finish(in, &allowance));
    EXPECT_EQ(Decode(decoder, second.bits.bytes(), Method::kRar29, 16, true), second.plain);
    return text;
  });
}

}  // namespace
}  // namespace brix
