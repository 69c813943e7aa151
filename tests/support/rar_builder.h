// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_builder.h - writes RAR archives, blocks of the 2.0 and 2.9 methods, and declarations of filters.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "core/crc32.h"
#include "support/bytes.h"

namespace brix {

// Most significant bit first.
class RarBits {
 public:
  // Of more than 32 bits the first are zeros.
  RarBits& Put(uint32_t value, uint32_t n) {
    for (; n != 0; --n, ++count_) {
      if (count_ % 8 == 0) bytes_.push_back(0);
      const uint32_t bit = n > 32 ? 0 : value >> (n - 1) & 1;
      bytes_.back() = static_cast<uint8_t>(bytes_.back() | bit << (7 - count_ % 8));
    }
    return *this;
  }
  // A number as filters have it.
  RarBits& Number(uint32_t v) {
    if (v < 16) return Put(0, 2).Put(v, 4);
    if (v < 256) return Put(1, 2).Put(v, 8);
    return v < 0x10000 ? Put(2, 2).Put(v, 16) : Put(3, 2).Put(v, 32);
  }
  void Align() { count_ = bytes_.size() * 8; }
  [[nodiscard]] const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
  size_t count_ = 0;
};

// `size` bytes with the CRC-32 that makes them a standard filter's program.
inline std::vector<uint8_t> RarProgram(uint32_t size, uint32_t crc) {
  std::vector<uint8_t> code(size);
  uint32_t word = ~crc;
  for (int i = 0; i < 32; ++i) word = (word >> 31) != 0 ? ((word ^ 0xEDB88320u) << 1) | 1 : word << 1;
  word ^= ~Crc32(std::span(code).first(size - 4));
  for (uint32_t i = 0; i < 4; ++i) code[size - 4 + i] = static_cast<uint8_t>(word >> (8 * i));
  return code;
}

// In the order of their numbers, from 1 on: calls, calls and jumps, Itanium, picture, sound, delta, upper case.
inline const std::array<std::vector<uint8_t>, 7>& RarPrograms() {
  static const std::array<std::vector<uint8_t>, 7> programs = {
      RarProgram(53, 0xAD576887),  RarProgram(57, 0x3CD7E57E),  RarProgram(120, 0x3769893F),
      RarProgram(149, 0x1C2C5DC8), RarProgram(216, 0xBC85E701), RarProgram(29, 0x0E06077D),
      RarProgram(40, 0x46B9C560)};
  return programs;
}

// A filter's declaration behind its first byte, which has the flags.
struct RarFilter {
  uint32_t start = 0;  // from the next byte of output on
  uint32_t size = 0;
  std::vector<uint8_t> program;                            // empty: `number` says which
  uint32_t number = 0;                                     // of a program, from 1 on; 0: a new first one
  std::vector<std::pair<uint32_t, uint32_t>> registers{};  // by rising number
  uint32_t more_flags = 0;

  [[nodiscard]] uint32_t flags() const { return 0xA0 | (registers.empty() ? 0u : 0x10u) | more_flags; }
  [[nodiscard]] std::vector<uint8_t> Code() const {
    RarBits bits;
    bits.Number(number).Number(start).Number(size);
    uint32_t mask = 0;
    for (const auto& r : registers) mask |= 1u << r.first;
    if (mask != 0) bits.Put(mask, 7);
    for (const auto& r : registers) bits.Number(r.second);
    if (!program.empty()) bits.Number(static_cast<uint32_t>(program.size()));
    for (const uint8_t byte : program) bits.Put(byte, 8);
    return bits.bytes();
  }
};

// Packed data of a member, and what they unpack to. All codes are as short as they can be with two lengths, the first
// symbols having the shorter one.
class RarPacked {
 public:
  explicit RarPacked(bool is20 = false) : is20_(is20) {}

  RarPacked& Header() {
    if (!is20_) bits.Align();
    bits.Put(0, 2);
    if (is20_) return Lengths(19, {298, 48, 28});
    return Lengths(20, {299, 60, 17, 28});
  }
  RarPacked& AudioHeader(uint32_t channels) {
    bits.Put(2, 2).Put(channels - 1, 2);
    return Lengths(19, std::vector<uint32_t>(channels, 257));
  }
  RarPacked& Sample(uint32_t error) { return Code(error, 257); }
  RarPacked& Main(uint32_t symbol) { return Code(symbol, is20_ ? 298 : 299); }

  RarPacked& Literal(uint8_t byte) {
    plain.push_back(byte);
    return Main(byte);
  }
  RarPacked& Text(const std::string& text) {
    for (const char c : text) Literal(static_cast<uint8_t>(c));
    return *this;
  }
  RarPacked& Match(uint32_t distance, uint32_t length) {
    Length(is20_ ? 270 : 271, is20_ ? 298 : 299,
           length - 3 - (distance >= 0x2000 ? 1u : 0) - (distance >= 0x40000 ? 1u : 0));
    const uint32_t d = distance - 1;
    uint32_t slot = d;
    uint32_t extra = 0;
    if (d >= 0x100000) {
      extra = 18;
      slot = 48 + ((d - 0x100000) >> 18);
    } else if (d >= 0x20000) {
      extra = 16;
      slot = 34 + ((d - 0x20000) >> 16);
    } else if (d >= 4) {
      extra = static_cast<uint32_t>(std::bit_width(d)) - 2;
      slot = 2 * extra + (d >> extra);
    }
    Code(slot, is20_ ? 48 : 60);
    if (is20_ || slot < 10) {
      bits.Put(d & ((1u << extra) - 1), extra);
    } else {
      bits.Put((d & ((1u << extra) - 1)) >> 4, extra - 4);
      if (low_run != 0) {
        --low_run;
      } else {
        Code(d & 15, 17);
      }
    }
    return Again(distance, length);
  }
  RarPacked& Last() { return Main(is20_ ? 256 : 258).Again(last_distance_, last_length_); }
  // `distance` is the one that is remembered as number `index`.
  RarPacked& Repeat(uint32_t index, uint32_t distance, uint32_t length) {
    Main((is20_ ? 257 : 259) + index);
    uint32_t more = 0;
    if (is20_)
      more = (distance > 0x100 ? 1u : 0) + (distance >= 0x2000 ? 1u : 0) + (distance >= 0x40000 ? 1u : 0);
    Length(0, 28, length - 2 - more);
    return Again(distance, length);
  }
  RarPacked& Short(uint32_t distance) {  // up to 4 here
    Main(is20_ ? 261 : 263);
    bits.Put(distance - 1, 2);
    return Again(distance, 2);
  }
  RarPacked& Filter(const RarFilter& filter) {
    const std::vector<uint8_t> code = filter.Code();
    Main(257);
    bits.Put(filter.flags() | 7, 8).Put(static_cast<uint32_t>(code.size()), 16);
    for (const uint8_t byte : code) bits.Put(byte, 8);
    return *this;
  }
  // 2.9: 1 new tables, 2 the end with and 3 the end without new tables in the next member.
  RarPacked& End(uint32_t how = 2) {
    Main(256);
    bits.Put(how == 1 ? 1 : how == 2 ? 1 : 0, how == 1 ? 1 : 2);
    return *this;
  }
  RarPacked& Code(uint32_t symbol, uint32_t count) {
    const uint32_t n = static_cast<uint32_t>(std::bit_width(count)) - 1;
    const uint32_t shorter = (2u << n) - count;
    if (symbol < shorter) {
      bits.Put(symbol, n);
    } else {
      bits.Put(symbol + shorter, n + 1);
    }
    return *this;
  }

  RarBits bits;
  std::vector<uint8_t> plain;   // unfiltered
  std::vector<uint8_t> window;  // of the members before
  uint32_t low_run = 0;         // distances to come whose low bits are those of the one before

 private:
  RarPacked& Lengths(uint32_t pretree, const std::vector<uint32_t>& counts) {
    const auto length = [](uint32_t symbol, uint32_t count) {
      const uint32_t n = static_cast<uint32_t>(std::bit_width(count)) - 1;
      return symbol < (2u << n) - count ? n : n + 1;
    };
    for (uint32_t i = 0; i < pretree; ++i) bits.Put(length(i, pretree), 4);
    for (const uint32_t count : counts) {
      for (uint32_t i = 0; i < count; ++i) Code(length(i, count), pretree);
    }
    return *this;
  }
  void Length(uint32_t first, uint32_t count, uint32_t length) {
    uint32_t slot = length;
    uint32_t extra = 0;
    if (length >= 8) {
      extra = static_cast<uint32_t>(std::bit_width(length)) - 3;
      slot = 4 * (extra + 1) + (length >> extra) - 4;
    }
    Code(first + slot, count);
    bits.Put(length & ((1u << extra) - 1), extra);
  }
  RarPacked& Again(uint32_t distance, uint32_t length) {
    last_distance_ = distance;
    last_length_ = length;
    for (; length != 0; --length) {
      plain.push_back(distance <= plain.size() ? plain[plain.size() - distance]
                                               : window[window.size() + plain.size() - distance]);
    }
    return *this;
  }

  bool is20_;
  uint32_t last_distance_ = 0;
  uint32_t last_length_ = 0;
};

struct RarMember {
  std::string name;
  std::vector<uint8_t> packed;
  uint32_t unpacked_size = 0;
  uint32_t version = 29;
  char method = '3';
  uint32_t flags = 0x8000;
};

inline Bytes RarStart(uint32_t flags = 0) {
  return Bytes().Text("Rar!\x1A\x07").U8(0).U16(0).U8(0x73).U16(flags).U16(13).Fill(6, 0);
}
inline Bytes RarFile(const RarMember& m) {
  const bool large = (m.flags & 0x100) != 0;
  const auto name_size = static_cast<uint32_t>(m.name.size());
  Bytes block;
  block.U16(0).U8(0x74).U16(m.flags).U16((large ? 40 : 32) + name_size);
  block.U32(static_cast<uint32_t>(m.packed.size())).U32(m.unpacked_size).U8(2).U32(0).U32(0);
  block.U8(m.version).U8(static_cast<uint8_t>(m.method)).U16(name_size).U32(0);
  return block.Fill(large ? 8 : 0, 0).Text(m.name).Raw(m.packed);
}
inline Bytes RarStored(const std::string& name, const std::string& text) {
  return RarFile({name, {text.begin(), text.end()}, static_cast<uint32_t>(text.size()), 20, '0'});
}
inline Bytes RarEnd() { return Bytes().U16(0).U8(0x7B).U16(0x4000).U16(7); }

}  // namespace brix
