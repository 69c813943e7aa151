// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzx_builder.h - writes LZX units at random, with every kind of block and code, and knows what they decode to.
#pragma once

#include <array>
#include <span>

#include "support/deflate_builder.h"

namespace brix {

class LzxBuilder {
 public:
  using Data = std::vector<uint8_t>;
  static constexpr uint32_t kVerbatim = 1, kAligned = 2, kRaw = 3;

  explicit LzxBuilder(uint32_t window_bits, uint32_t seed = 1) : random(seed), window_bits_(window_bits) {
    constexpr std::array<uint32_t, 7> kSlots = {30, 32, 34, 36, 38, 42, 50};
    main_lengths_.resize(256 + 8 * kSlots[window_bits - 15]);
  }

  std::mt19937 random;
  Data plain;              // what all units so far decode to
  Data unit;               // the bytes of the unit being written
  bool half_word = false;  // the unit begins with half a word

  uint32_t Random(uint32_t below) { return static_cast<uint32_t>(random() % below); }

  LzxBuilder& Put(uint64_t value, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0;) {
      word_ = word_ << 1 | (value >> i & 1);
      ++used_;
      if (half_word && unit.empty() && used_ == 8) {
        unit.push_back(static_cast<uint8_t>(word_));
        used_ = 0;
      } else if (used_ == 16) {
        unit.push_back(static_cast<uint8_t>(word_));
        unit.push_back(static_cast<uint8_t>(word_ >> 8));
        used_ = 0;
      }
    }
    return *this;
  }
  // The bytes of the unit; the next one begins.
  Data TakeUnit() {
    Put(0, -used_ % 16);
    return std::exchange(unit, {});
  }

  LzxBuilder& Raw(std::span<const uint8_t> bytes) {
    unit.insert(unit.end(), bytes.begin(), bytes.end());
    plain.insert(plain.end(), bytes.begin(), bytes.end());
    return *this;
  }
  // The header of an uncompressed block. It is padded with 1 to 16 bits: a whole word where one begins.
  LzxBuilder& RawHeader(uint32_t size, std::array<uint32_t, 3> offsets = {1, 1, 1}) {
    Put(kRaw, 3).Put(size, 24).Put(0, 16 - used_);
    for (const uint32_t offset : offsets) {
      for (int i = 0; i < 4; ++i) unit.push_back(static_cast<uint8_t>(offset >> (8 * i)));
    }
    repeated_ = offsets;
    return *this;
  }
  // The header of a coded block with random trees; `lengths` false: without a length tree.
  LzxBuilder& CodedHeader(uint32_t type, uint32_t size, bool lengths = true) {
    Put(type, 3).Put(size, 24);
    aligned_ = type == kAligned;
    aligned_lengths_ = RandomLengths(8, random);
    if (aligned_) {
      for (const uint8_t length : aligned_lengths_) Put(length, 3);
    }
    const Data main = RandomLengths(main_lengths_.size(), random);
    PutLengths(main, main_lengths_, 0, 256);
    PutLengths(main, main_lengths_, 256, main.size());
    const Data length = lengths ? RandomLengths(249, random) : Data(249);
    PutLengths(length, length_lengths_, 0, 249);
    return *this;
  }

  LzxBuilder& Literal(uint8_t byte) {
    PutSymbol(byte, main_lengths_);
    plain.push_back(byte);
    return *this;
  }
  // A match by a repeated offset (slot 0 to 2), or by a distance.
  LzxBuilder& Repeat(uint32_t slot, uint32_t length) {
    PutMatch(slot, length);
    std::swap(repeated_[0], repeated_[slot]);
    return Copy(length);
  }
  LzxBuilder& Match(uint32_t distance, uint32_t length) {
    uint32_t slot = 3, base = 3, bits = 0;
    while (distance + 2 >= base + (1u << bits)) {
      base += 1u << bits;
      ++slot;
      bits = slot < 36 ? slot / 2 - 1 : 17;
    }
    PutMatch(slot, length);
    const uint32_t footer = distance + 2 - base;
    if (aligned_ && bits >= 3) {
      Put(footer >> 3, bits - 3).PutSymbol(footer & 7, aligned_lengths_);
    } else {
      Put(footer, bits);
    }
    repeated_ = {distance, repeated_[0], repeated_[1]};
    return Copy(length);
  }

  // Random blocks up to the end of a unit of `size` bytes; a block may go on in the next.
  void RandomUnit(uint32_t size) {
    if (pad_in_next_unit_) unit.push_back(0xEE);
    pad_in_next_unit_ = false;
    while (size != 0) {
      if (block_left_ == 0) RandomHeader();
      uint32_t run = std::min(size, block_left_);
      if (type_ == kRaw) {
        for (uint32_t i = 0; i < run; ++i) Raw(std::array{static_cast<uint8_t>(Random(256))});
      } else {
        run = RandomSymbol(run);
      }
      size -= run;
      block_left_ -= run;
      if (type_ != kRaw || block_left_ != 0 || block_size_ % 2 == 0) continue;
      pad_in_next_unit_ = size == 0 && Random(2) == 0;
      if (!pad_in_next_unit_) unit.push_back(0xEE);
    }
  }

 private:
  void RandomHeader() {
    type_ = 1 + Random(3);
    block_size_ = block_left_ = Random(4) == 0 ? Random(60000) : Random(300);
    with_lengths_ = Random(4) != 0;
    // Offsets up to the window size, which no slot can say.
    const auto offset = [&] { return Random(2) == 0 ? 1u << window_bits_ : 1 + Random(100); };
    if (type_ == kRaw) {
      RawHeader(block_size_, {offset(), offset(), offset()});
    } else {
      CodedHeader(type_, block_size_, with_lengths_);
    }
  }
  uint32_t RandomSymbol(uint32_t room) {
    const uint32_t longest = std::min(room, with_lengths_ ? 257u : 8u);
    if (longest < 2 || Random(3) == 0) {
      Literal(static_cast<uint8_t>(Random(256)));
      return 1;
    }
    const uint32_t length = 2 + Random(longest - 1);
    const uint32_t farthest = (1u << window_bits_) - 3;  // also where nothing was written yet
    if (Random(3) == 0) {
      Repeat(Random(3), length);
    } else {
      Match(1 + Random(Random(2) == 0 ? 40 : farthest), length);
    }
    return length;
  }
  void PutSymbol(uint32_t symbol, const Data& lengths) {
    Put(CanonicalCodes(lengths)[symbol], lengths[symbol]);
  }
  void PutMatch(uint32_t slot, uint32_t length) {
    PutSymbol(256 + slot * 8 + std::min(length - 2, 7u), main_lengths_);
    if (length >= 9) PutSymbol(length - 9, length_lengths_);
  }
  LzxBuilder& Copy(uint32_t length) {
    for (; length != 0; --length) {
      plain.push_back(repeated_[0] > plain.size() ? uint8_t{0} : plain[plain.size() - repeated_[0]]);
    }
    return *this;
  }
  // Code lengths as differences from `known`, which they replace, with runs where there are some.
  void PutLengths(const Data& lengths, Data& known, size_t at, size_t end) {
    const Data pretree = RandomLengths(20, random);
    for (const uint8_t length : pretree) Put(length, 4);
    while (at != end) {
      const auto same = [&](uint8_t byte) { return byte == lengths[at]; };
      auto run =
          static_cast<size_t>(std::find_if_not(&lengths[at], lengths.data() + end, same) - &lengths[at]);
      const uint32_t difference = (known[at] + 17u - lengths[at]) % 17;
      if (lengths[at] == 0 && run >= 20) {
        run = std::min<size_t>(run, 51);
        PutSymbol(18, pretree);
        Put(run - 20, 5);
      } else if (lengths[at] == 0 && run >= 4) {
        PutSymbol(17, pretree);
        Put(run - 4, 4);
      } else if (run >= 4) {
        run = std::min<size_t>(run, 5);
        PutSymbol(19, pretree);
        Put(run - 4, 1).PutSymbol(difference, pretree);
      } else {
        run = 1;
        PutSymbol(difference, pretree);
      }
      std::copy_n(&lengths[at], run, &known[at]);
      at += run;
    }
  }

  const uint32_t window_bits_;
  uint32_t word_ = 0;
  uint32_t used_ = 0;  // bits in it
  Data main_lengths_, aligned_lengths_, length_lengths_ = Data(249);
  bool aligned_ = false;
  std::array<uint32_t, 3> repeated_ = {1, 1, 1};
  // Of random units.
  uint32_t type_ = kVerbatim, block_size_ = 0, block_left_ = 0;
  bool with_lengths_ = true, pad_in_next_unit_ = false;
};

}  // namespace brix
