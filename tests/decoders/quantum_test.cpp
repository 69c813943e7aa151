#include "decoders/quantum/quantum_decoder.h"

#include <gtest/gtest.h>

#include "support/quantum_builder.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

// Decodes a unit; nothing when that fails.
Data Decode(QuantumDecoder& decoder, Data packed, size_t size) {
  std::span<const uint8_t> out;
  const size_t packed_size = packed.size();
  packed.resize(packed_size + QuantumDecoder::kSlack, 0xEE);
  if (!decoder.DecodeBlock(std::span(packed).first(packed_size), static_cast<uint32_t>(size), &out))
    return {};
  return {out.begin(), out.end()};
}

TEST(Quantum, WindowAndModelsGoOnFromUnitToUnit) {
  std::mt19937 random(1);
  for (const uint32_t window_bits : {15u, 16u, 21u}) {
    QuantumBuilder builder(window_bits);
    QuantumDecoder decoder(window_bits);
    Data first;
    // Enough for every model to be sorted, and for the smaller windows to move to the front.
    for (int unit = 0; unit < 20; ++unit) {
      DeflateBuilder source;
      source.plain = builder.plain;
      const size_t before = builder.plain.size();
      std::vector<Token> tokens = source.RandomTokens(1300, random);
      for (Token& t : tokens)
        t.distance = std::min(t.distance, t.length == 3 ? 4096u : 32768u);  // as far as 3 reach
      const Data packed = builder.Unit(tokens);
      if (unit == 0) first = packed;
      const Data plain(builder.plain.begin() + static_cast<ptrdiff_t>(before), builder.plain.end());
      ASSERT_LE(plain.size(), QuantumDecoder::kMostOutput);
      ASSERT_EQ(Decode(decoder, packed, plain.size()), plain) << window_bits << " " << unit;
      if (unit == 0) {
        decoder.Reset();
        ASSERT_EQ(Decode(decoder, packed, plain.size()), plain) << "used again";
      }
    }
  }
}

TEST(Quantum, DistancesReachTheWholeWindowAndZerosBeforeTheStart) {
  QuantumBuilder builder(10);
  const Data packed =
      builder.Unit({{'a', 0}, {259, 1024}, {3, 5}, {258, 263}, {259, 259}, {244, 1}, {4, 1024}});
  QuantumDecoder decoder(10);
  EXPECT_EQ(builder.plain.at(1024), 'a');
  EXPECT_EQ(Decode(decoder, packed, builder.plain.size()), builder.plain);
}

TEST(Quantum, RefusesWhatPassesAnEnd) {
  const std::vector<Token> tokens = {{'x', 0}, {'y', 0}, {100, 2}, {'z', 0}, {5, 3}};
  QuantumBuilder builder(12);
  const Data whole = builder.Unit(tokens);
  // The bits that the coder looks ahead may be missing.
  const Data least = QuantumBuilder(12).Unit(tokens, 2);
  EXPECT_LT(least.size(), whole.size());
  for (size_t size = 0; size < least.size(); ++size) {
    QuantumDecoder decoder(12);
    EXPECT_EQ(Decode(decoder, Data(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)), 108), Data())
        << size;
    EXPECT_EQ(Decode(decoder, least, 108), Data()) << "nothing more behind damage";
    decoder.Reset();
    EXPECT_EQ(Decode(decoder, least, 108), builder.plain);
  }
  for (const size_t cut_match : {3u, 101u, 104u, 107u}) {
    QuantumDecoder decoder(12);
    EXPECT_EQ(Decode(decoder, whole, cut_match), Data()) << cut_match;
  }
  for (const uint32_t window_bits : {0u, 9u, 22u}) {
    QuantumDecoder decoder(window_bits);
    EXPECT_EQ(Decode(decoder, whole, 108), Data()) << window_bits;
  }
}

}  // namespace
}  // namespace brix
