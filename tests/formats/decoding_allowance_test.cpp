// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// decoding_allowance_test.cpp - small files made to keep a decoder busy: the work is counted, and ends.
#include <gtest/gtest.h>

#include <algorithm>

#include "core/decoder_input.h"
#include "core/memory_stream.h"
#include "support/cabinet_builder.h"
#include "support/deflate_builder.h"
#include "support/handler_walk.h"
#include "support/zip_builder.h"

namespace brix {
namespace {

constexpr uint32_t kZip = 16;
constexpr uint32_t kCabinet = 3;
constexpr uint64_t kMiB = 1 << 20;

size_t Extracted(const Walk& walk) {
  return static_cast<size_t>(std::ranges::count(walk.members, true, &WalkedMember::extracted));
}

TEST(DecodingAllowance, CountsWhatDecodersTakeAndWhatShowsInNoRead) {
  const std::vector<uint8_t> bytes(1 << 20);
  FixedMemoryStream container(bytes);
  std::vector<uint8_t> buffer(bytes.size());
  const uint64_t allowed = 64 * kMiB + 64 * bytes.size();
  const auto reads_left = [&](DecoderInput& in) {
    uint64_t reads = 0;
    uint32_t got = 0;
    while (in.ReadAt(0, buffer.data(), 1 << 20, &got)) ++reads;
    EXPECT_FALSE(in.ReadAt(0, buffer.data(), 1, &got)) << "the end is the end";
    return reads;
  };
  DecoderInput plain(&container);
  EXPECT_EQ(reads_left(plain), allowed / kMiB);
  DecoderInput with_tables(&container);
  with_tables.ChargeTables(10 * 4096);
  EXPECT_EQ(reads_left(with_tables), allowed / kMiB - 10);
  DecoderInput with_unwanted(&container);
  EXPECT_EQ(with_unwanted.UnwantedLeft(), 16 * allowed);
  EXPECT_TRUE(with_unwanted.ChargeUnwanted(16 * 20 * kMiB));
  EXPECT_EQ(reads_left(with_unwanted), allowed / kMiB - 20);
  EXPECT_FALSE(with_unwanted.ChargeUnwanted(16));
}

// Members that share one stream of blocks without output: no limit on output ever applies.
TEST(DecodingAllowance, EndsMembersThatShareAStreamWithoutOutput) {
  DeflateBuilder stream;
  std::vector<uint8_t> litlen(257);
  litlen[0] = litlen[256] = 1;
  constexpr size_t kBlocks = 4000;
  for (size_t i = 0; i <= kBlocks; ++i) stream.Dynamic({}, litlen, {1}, i == kBlocks);
  ZipMember shared;
  shared.name = "shared";
  shared.method = 8;
  shared.data = Bytes().Raw(Bytes{stream.bits.bytes()});
  shared.size = 1;
  const uint64_t cost = shared.data.size() + (kBlocks + 1) * DecoderInput::kTablesCost;

  constexpr size_t kMembers = 200;
  std::vector<ZipMember> members(kMembers);  // of no bytes, until each record is pointed at the first one's
  std::fill(members.begin(), members.end(), StoredMember("shared", ""));
  members[0] = shared;
  ZipFile zip = BuildZip(members);
  for (size_t i = 1; i < kMembers; ++i) {
    const Bytes record =
        Bytes{{zip.bytes.data.begin() + zip.record_at[0], zip.bytes.data.begin() + zip.record_at[1]}};
    std::ranges::copy(record.data, zip.bytes.data.begin() + zip.record_at[i]);
  }
  const uint64_t allowed = 64 * kMiB + 64 * zip.bytes.size();
  const Walk walk = WalkWith(kZip, zip.bytes.data);
  ASSERT_EQ(walk.members.size(), kMembers);
  EXPECT_TRUE(walk.finished) << "the list goes on";
  EXPECT_GE(Extracted(walk), allowed / cost);
  EXPECT_LE(Extracted(walk), allowed / cost + 1);
  EXPECT_LT(Extracted(walk), kMembers);
}

// Members at the beginning and the end of a folder in turn: each costs a pass over all of it. A block of 32 KiB takes
// some fifty bytes, so that the output is what takes time.
TEST(DecodingAllowance, EndsACabinetThatGoesBackAndForth) {
  DeflateBuilder zeros;
  std::vector<Token> tokens = {{0, 0}};
  for (uint32_t i = 0; i < 127; ++i) tokens.push_back({258, 1});
  tokens.push_back({1, 0});
  const auto plain_size = static_cast<uint32_t>(zeros.Fixed(tokens, true).plain.size());
  constexpr uint32_t kBlocks = 1000;
  Cabinet cabinet;
  cabinet.folders.push_back({.type = 1, .blocks = {}, .block_count = {}});
  for (uint32_t i = 0; i < kBlocks; ++i) {
    cabinet.folders[0].blocks.push_back({Bytes().Text("CK").Raw(Bytes{zeros.bits.bytes()}), plain_size});
  }
  constexpr uint32_t kMembers = 200;
  for (uint32_t i = 0; i < kMembers; ++i) {
    cabinet.files.push_back({"m", 1, i % 2 == 0 ? 0 : (kBlocks - 1) * plain_size, 0, 0});
  }
  const Bytes file = cabinet.Build();
  const Walk walk = WalkWith(kCabinet, file.data);
  ASSERT_EQ(walk.members.size(), kMembers);
  // Each step back costs a sixteenth of the output at least; those that cannot go back any more stay at the end.
  const uint64_t allowed = 64 * kMiB + 64 * file.size();
  uint64_t passes = 0;
  for (size_t i = 0; i < kMembers; i += 2) passes += walk.members[i].extracted ? 1u : 0u;
  EXPECT_LE(passes, 16 * allowed / (kBlocks * plain_size) + 1);
  EXPECT_GT(passes, 20u);
}

}  // namespace
}  // namespace brix
