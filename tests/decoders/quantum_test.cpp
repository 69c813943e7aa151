// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Single Quantum units; the fuzz target quantum makes round trips through an encoder.
#include "decoders/quantum/quantum_decoder.h"

#include <gtest/gtest.h>

#include "support/handler_walk.h"

namespace brix {
namespace {

using Data = std::vector<uint8_t>;

// Decodes a unit: its digest, nothing when that fails.
std::string Decode(QuantumDecoder& decoder, Data packed, uint32_t size) {
  std::span<const uint8_t> out;
  const size_t packed_size = packed.size();
  packed.resize(packed_size + QuantumDecoder::kSlack, 0xEE);
  return decoder.DecodeBlock(std::span(packed).first(packed_size), size, &out) ? Digest(out) : "";
}

TEST(Quantum, DistancesReachTheWholeWindowAndZerosBeforeTheStart) {
  // a, then length/distance 259/1024, 3/5, 258/263, 259/259, 244/1, 4/1024.
  const Data packed = {0xC7, 0xFF, 0x42, 0x28, 0xA7, 0xFB, 0x39, 0x0F,
                       0xEA, 0x18, 0xA0, 0x56, 0x30, 0,    0x1F, 0xE0};
  QuantumDecoder decoder(10);
  EXPECT_EQ(Decode(decoder, packed, 1028), "1028 4a43458a");
}

TEST(Quantum, RefusesWhatPassesAnEnd) {
  // x, y, 100/2, z, 5/3; the bits that the coder only looks ahead at are not there.
  const Data packed = {0xBB, 0x12, 0xEB, 0x7C, 0xD6, 0x1F, 0x38};
  const char* const digest = "108 e01db459";
  for (size_t size = 0; size < packed.size(); ++size) {
    QuantumDecoder decoder(12);
    EXPECT_EQ(Decode(decoder, Data(packed.begin(), packed.begin() + static_cast<ptrdiff_t>(size)), 108), "")
        << size;
    EXPECT_EQ(Decode(decoder, packed, 108), "") << "nothing more behind damage";
    decoder.Reset();
    EXPECT_EQ(Decode(decoder, packed, 108), digest);
  }
  QuantumDecoder cut(12);
  EXPECT_EQ(Decode(cut, packed, 3), "3 0580db4b") << "inside a match";
  for (const uint32_t window_bits : {0u, 9u, 22u}) {
    QuantumDecoder decoder(window_bits);
    EXPECT_EQ(Decode(decoder, packed, 108), "") << window_bits;
  }
}

}  // namespace
}  // namespace brix
