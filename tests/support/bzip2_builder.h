// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_builder.h - writes bzip2 blocks symbol by symbol, with any codes, and tells naively what they decode to.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "support/deflate_builder.h"

namespace brix {

// What a block is made of. The bytes in use are those below symbols - 2.
struct Bzip2Block {
  std::vector<std::vector<uint8_t>> lengths = {
      2, {2, 2, 2, 2}};           // of each table's codes: two runs, bytes, the end
  std::vector<uint32_t> symbols;  // without the end
  uint32_t first_row = 0;
  uint32_t more_selectors = 0;
  uint32_t tables = 0;  // as written; 0: how many there are
};

class Bzip2Builder {
 public:
  explicit Bzip2Builder(bool nullsoft = false, char level = '9') : nullsoft_(nullsoft) { Begin(level); }

  std::vector<uint8_t> plain;

  Bzip2Builder& Add(const Bzip2Block& block) {
    const std::vector<uint8_t> text = Expand(Rotate(Column(block), block.first_row));
    plain.insert(plain.end(), text.begin(), text.end());
    uint32_t crc = UINT32_MAX;
    for (const uint8_t byte : text) {
      crc ^= uint32_t{byte} << 24;
      for (int bit = 0; bit < 8; ++bit) crc = crc << 1 ^ (crc >> 31 != 0 ? 0x04C11DB7 : 0);
    }
    crc_ = (crc_ << 1 | crc_ >> 31) ^ ~crc;
    Mark(0x31, 0x314159265359, ~crc);
    if (!nullsoft_) Put(0, 1);
    Put(block.first_row, 24);
    const auto in_use = static_cast<uint32_t>(block.lengths[0].size() - 2);
    Put(0xFFFF0000u >> (in_use + 15) / 16, 16);
    for (uint32_t i = 0; i < in_use; i += 16) Put(0xFFFF0000u >> std::min(in_use - i, 16u), 16);
    const auto groups = static_cast<uint32_t>(block.symbols.size() / 50 + 1);
    const auto tables = static_cast<uint32_t>(block.lengths.size());
    Put(block.tables == 0 ? tables : block.tables, 3).Put(groups + block.more_selectors, 15);
    // Each table in turn: the one that was used longest ago.
    for (uint32_t i = 0; i < groups + block.more_selectors; ++i) {
      const uint32_t place = i < tables ? i : tables - 1;
      Put((1u << place) - 1, place).Put(0, 1);
    }
    std::vector<std::vector<uint32_t>> codes;
    for (const auto& lengths : block.lengths) {
      codes.push_back(CanonicalCodes(lengths));
      uint32_t last = lengths[0];
      Put(last, 5);
      for (const uint8_t length : lengths) {
        for (; last < length; ++last) Put(2, 2);
        for (; last > length; --last) Put(3, 2);
        Put(0, 1);
      }
    }
    for (size_t i = 0; i <= block.symbols.size(); ++i) {
      const size_t symbol = i < block.symbols.size() ? block.symbols[i] : block.lengths[0].size() - 1;
      Put(codes[i / 50 % tables][symbol], block.lengths[i / 50 % tables][symbol]);
    }
    return *this;
  }

  Bzip2Builder& End() {
    Mark(0x17, 0x177245385090, crc_);
    return *this;
  }

  // Behind an end, another stream.
  Bzip2Builder& Begin(char level) {
    bits_.Align();
    crc_ = 0;
    if (!nullsoft_) Put('B', 8).Put('Z', 8).Put('h', 8).Put(static_cast<uint8_t>(level), 8);
    return *this;
  }

  Bzip2Builder& Put(uint64_t value, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0;) bits_.Put(value >> i & 1, 1);
    return *this;
  }

  // The bits as they stand, the first on top of each byte.
  [[nodiscard]] std::vector<uint8_t> bytes() const {
    std::vector<uint8_t> bytes = bits_.bytes();
    for (uint8_t& byte : bytes) {
      uint32_t turned = 0;
      for (int bit = 0; bit < 8; ++bit) turned |= (byte >> bit & 1u) << (7 - bit);
      byte = static_cast<uint8_t>(turned);
    }
    return bytes;
  }

 private:
  void Mark(uint32_t short_mark, uint64_t mark, uint32_t crc) {
    nullsoft_ ? Put(short_mark, 8) : Put(mark, 48).Put(crc, 32);
  }

  static std::vector<uint8_t> Column(const Bzip2Block& block) {
    std::vector<uint8_t> list(256);
    std::iota(list.begin(), list.end(), uint8_t{0});
    std::vector<uint8_t> column;
    for (size_t i = 0, digit = 1; i < block.symbols.size(); ++i) {
      const uint32_t symbol = block.symbols[i];
      if (symbol < 2) {
        column.insert(column.end(), (symbol + 1) * digit, list[0]);
        digit *= 2;
        continue;
      }
      digit = 1;
      std::rotate(list.begin(), list.begin() + (symbol - 1), list.begin() + symbol);
      column.push_back(list[0]);
    }
    return column;
  }

  static std::vector<uint8_t> Rotate(const std::vector<uint8_t>& column, uint32_t row) {
    std::vector<uint32_t> next(column.size());
    std::iota(next.begin(), next.end(), 0);
    std::stable_sort(next.begin(), next.end(), [&](uint32_t a, uint32_t b) { return column[a] < column[b]; });
    std::vector<uint8_t> text;
    for (size_t i = 0; i < column.size() && row < column.size(); ++i) {
      row = next[row];
      text.push_back(column[row]);
    }
    return text;
  }

  static std::vector<uint8_t> Expand(const std::vector<uint8_t>& text) {
    std::vector<uint8_t> plain;
    uint32_t alike = 0;
    for (size_t i = 0; i < text.size(); ++i) {
      if (alike == 4) {
        plain.insert(plain.end(), text[i], plain.back());
        alike = 0;
        continue;
      }
      alike = alike != 0 && text[i] == plain.back() ? alike + 1 : 1;
      plain.push_back(text[i]);
    }
    return plain;
  }

  bool nullsoft_;
  BitWriter bits_;
  uint32_t crc_ = 0;
};

}  // namespace brix
