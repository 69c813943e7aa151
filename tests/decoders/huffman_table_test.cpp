// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/huffman_table.h"

#include <gtest/gtest.h>

#include <array>

#include "support/deflate_builder.h"

namespace brix {
namespace {

// Looks a code up as decoders do: `code` of `bits` bits, followed by `rest`.
uint32_t LookUp(const HuffmanTable& table, BitOrder order, uint32_t code, uint32_t bits, uint32_t rest,
                uint32_t* used) {
  constexpr uint32_t kWidth = 30;
  uint32_t input = (code << (kWidth - bits)) | (rest & ((1u << (kWidth - bits)) - 1));  // first bit on top
  const auto take = [&](uint32_t n, uint32_t skip) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t bit = input >> (kWidth - 1 - skip - i) & 1;
      value |= order == BitOrder::kMsbFirst ? bit << (n - 1 - i) : bit << i;
    }
    return value;
  };
  uint32_t entry = table.entries[take(table.root_bits, 0)];
  *used = 0;
  if ((entry & kTableInvalid) == kTableSubtable) {
    *used = entry & 0xFF;
    entry = table.entries[(entry >> kTableValueShift) + take(entry >> 8 & 15, *used)];
  }
  *used += entry & 0xFF;
  return entry;
}

TEST(HuffmanTable, EverySymbolOfRandomCodesIsFoundInBothOrders) {
  std::mt19937 random(5);
  std::vector<uint32_t> symbols(700);
  for (uint32_t s = 0; s < symbols.size(); ++s) symbols[s] = s << kTableValueShift;
  std::vector<uint32_t> entries(1 << 15);
  for (int round = 0; round < 300; ++round) {
    const std::vector<uint8_t> lengths = RandomLengths(2 + random() % 698, random);
    const std::vector<uint32_t> codes = CanonicalCodes(lengths);
    for (const BitOrder order : {BitOrder::kLsbFirst, BitOrder::kMsbFirst}) {
      HuffmanTable table{entries, 1 + static_cast<uint32_t>(random() % 12)};
      ASSERT_TRUE(BuildHuffmanTable(lengths, symbols, order, &table));
      for (uint32_t s = 0; s < lengths.size(); ++s) {
        uint32_t used = 0;
        const uint32_t entry =
            LookUp(table, order, codes[s], lengths[s], static_cast<uint32_t>(random()), &used);
        ASSERT_EQ(entry >> kTableValueShift, s);
        ASSERT_EQ(used, lengths[s]);
      }
    }
  }
}

TEST(HuffmanTable, JudgesSetsOfLengths) {
  const std::vector<uint32_t> symbols(4);
  std::array<uint32_t, 8> entries;
  const struct {
    const char* label;
    std::vector<uint8_t> lengths;
    size_t room;
    bool ok;
  } rows[] = {
      {"complete", {2, 2, 2, 2}, 4, true},
      {"over-subscribed", {1, 1, 1, 0}, 8, false},
      {"incomplete", {1, 2, 0, 0}, 8, false},
      {"empty", {0, 0, 0, 0}, 8, true},
      {"one code", {0, 1, 0, 0}, 8, true},
      {"one long code", {0, 2, 0, 0}, 8, false},
      {"no room for the subtable", {1, 2, 3, 3}, 4, false},
      {"no room for the root", {2, 2, 2, 2}, 2, false},
  };
  for (const auto& row : rows) {
    HuffmanTable table{std::span(entries).first(row.room), 2};
    EXPECT_EQ(BuildHuffmanTable(row.lengths, symbols, BitOrder::kLsbFirst, &table), row.ok) << row.label;
  }
}

TEST(HuffmanTable, LeavesCodesUnusedWhereThatIsAllowed) {
  const std::vector<uint8_t> lengths = {1, 3, 0, 4};  // 0, 100, 1010; what begins 1011 or 11 is none
  const std::vector<uint32_t> symbols = {1 << kTableValueShift, 2 << kTableValueShift, 0,
                                         3 << kTableValueShift};
  for (uint32_t root_bits = 1; root_bits <= 5; ++root_bits) {
    std::array<uint32_t, 64> entries;
    HuffmanTable table{entries, root_bits, root_bits, true};
    ASSERT_TRUE(BuildHuffmanTable(lengths, symbols, BitOrder::kMsbFirst, &table));
    for (uint32_t code = 0; code < 16; ++code) {
      uint32_t used = 0;
      const uint32_t entry = LookUp(table, BitOrder::kMsbFirst, code, 4, 0, &used);
      const uint32_t expected = code < 8 ? 1 : code < 10 ? 2 : code == 10 ? 3 : 0;
      EXPECT_EQ((entry & kTableInvalid) == kTableInvalid ? 0 : entry >> kTableValueShift, expected) << code;
    }
  }
}

}  // namespace
}  // namespace brix
