// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// x86_filter.cpp - the compressor's addition to call and jump targets, taken back.
//
// Behind the opcodes E8 and E9 stand four bytes, the distance to a target. The compressor makes them the target's
// address, so that calls of one function look alike, if the highest byte is 00 or FF; it becomes the sign of the 25 bits
// below. Which bytes are opcodes nobody knows: what looks like one within the four bytes of another is converted only
// when it is the only one there that was not, and the other's highest byte could not be meant. A conversion that made
// it look meant is mended, by both sides, by inverting the bits from there on and converting again.
//
// Bounds: one pass. Mending once is enough: with the bits modulo the place above that byte, what looks meant lies around
// 0, from -2^k to 2^k - 1, and inverting maps this range and what is outside on themselves. From y = x - d inside, with x
// outside, it leads to -1 - y - d = -1 - x, which is outside.
#include "decoders/filters/x86_filter.h"

#include <bit>
#include <cstring>

#include "core/byte_order.h"

namespace brix {

namespace {

constexpr uint32_t kInstruction = 5;  // bytes of an opcode and its distance
constexpr uint32_t kKept = 32768;     // bytes of output that stay in memory
constexpr uint32_t kBuffer = 4 * kKept;

bool LooksLikeSign(uint32_t byte) { return byte == 0 || byte == 0xFF; }

}  // namespace

uint32_t X86Filter::Convert(std::span<uint8_t> bytes) {
  uint32_t opcodes = opcodes_;
  uint32_t at = 0;
  const auto size = static_cast<uint32_t>(bytes.size());
  while (size - at >= kInstruction) {
    uint8_t* const p = &bytes[at];
    if ((p[0] & 0xFE) != 0xE8) {
      opcodes <<= 1;
      ++at;
      continue;
    }
    const uint32_t near = opcodes & 7;  // bit n - 1: one was n bytes before
    const auto back = static_cast<uint32_t>(std::bit_width(near));
    const bool alone = near == 0 || (std::has_single_bit(near) && !LooksLikeSign(p[4 - back]));
    if (!alone || !LooksLikeSign(p[4])) {
      opcodes = opcodes << 1 | 1;
      ++at;
      continue;
    }
    const uint32_t behind = position_ + at + kInstruction;  // wraps, as the distances do
    uint32_t distance = LoadLe32(p + 1) - behind;
    if (near != 0 && LooksLikeSign(distance >> (24 - 8 * back) & 0xFF)) {
      distance = (distance ^ ((1u << (32 - 8 * back)) - 1)) - behind;
    }
    p[1] = static_cast<uint8_t>(distance);
    p[2] = static_cast<uint8_t>(distance >> 8);
    p[3] = static_cast<uint8_t>(distance >> 16);
    p[4] = (distance >> 24 & 1) != 0 ? 0xFF : 0;
    opcodes = 0;
    at += kInstruction;
  }
  opcodes_ = opcodes;
  position_ += at;
  return at;
}

void X86FilteredDecoder::Reset() {
  RestartDelivery(true);
  packed_.Reset();
  filter_.Reset();
  final_ = left_ = 0;
  ended_ = failed_ = false;
}

bool X86FilteredDecoder::DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) {
  *added = 0;
  // Ends by the data: each turn decodes some of them.
  while (*added == 0 && !ended_ && !failed_) {
    if (final_ > kBuffer - 2 * kKept) {
      std::memmove(buffer_.data(), buffer_.data() + final_ - kKept, kKept + left_);
      final_ = kKept;
    }
    uint32_t more = 0;
    failed_ =
        !packed_.DecodeMore(in, wanted, &more) || !buffer_.TryGrow(size_t{final_} + left_ + more, kBuffer);
    if (failed_ || more == 0) {
      ended_ = true;
      *added = left_;
    } else {
      std::memcpy(buffer_.data() + final_ + left_, packed_.buffered().last(more).data(), more);
      *added = filter_.Convert({buffer_.data() + final_, size_t{left_} + more});
      left_ += more;
    }
    final_ += *added;
    left_ -= *added;
  }
  return *added != 0 || !failed_;
}

}  // namespace brix
