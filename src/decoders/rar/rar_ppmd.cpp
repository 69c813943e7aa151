// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_ppmd.cpp - blocks of the 2.9 method that are coded by PPMd.
//
// A block begins with a byte of flags and goes on with a range coder's bytes. Its symbols are the output's, but for
// one, the escape, behind which a code stands: a new header, which may be of either kind; the end of the member; a
// filter; a match; or, with any other code, the escape's own byte. The model may outlive the block, and the member.
//
// Bounds: the model's memory is what the header asks for, 1 to 256 MiB, of which only what it reaches is touched.
#include <new>

#include "core/refuse.h"
#include "decoders/rar/rar_decoder.h"

namespace brix {

namespace {

enum Flag : uint32_t {
  kOrderMask = 0x1F,
  kNewModel = 0x20,  // memory follows
  kNewEscape = 0x40,
};

enum Code : int {
  kNewHeader = 0,
  kEndOfMember = 2,
  kFilter = 3,
  kMatch = 4,
  kRun = 5,
};

constexpr uint32_t kMegabyte = 1u << 20;
constexpr uint32_t kLeastMatch = 32;
constexpr uint32_t kLeastDistance = 2;
constexpr uint32_t kLeastRun = 4;
static_assert(255 + kLeastMatch <= rar::kMostMatch);

// Orders above 16 are given in steps of three.
constexpr uint32_t OrderOf(uint32_t flags) {
  const uint32_t order = (flags & kOrderMask) + 1;
  return order <= 16 ? order : 16 + (order - 16) * 3;
}
static_assert(OrderOf(kOrderMask) == PpmdDecoder::kMaxOrder);

}  // namespace

// Behind the header's first bit, which said that it is one.
bool RarDecoder::ReadPpmdHeader() {
  if (ppmd_ == nullptr) ppmd_.reset(new (std::nothrow) rar::Ppmd);
  if (ppmd_ == nullptr) return false;
  const uint32_t flags = bits_.Read(7);
  const uint32_t memory = (flags & kNewModel) != 0 ? (bits_.Read(8) + 1) * kMegabyte : 0;
  if ((flags & kNewEscape) != 0) escape_ = static_cast<uint8_t>(bits_.Read(8));
  if (!bits_.ok()) return Refuse("rar: PPMd header is cut");
  if (memory != 0) ppmd_->has_model = ppmd_->decoder.Start(OrderOf(flags), memory);
  if (!ppmd_->has_model) return Refuse("rar: no PPMd model");
  block_ = Block::kPpmd;
  bits_.GiveBack();
  return ppmd_->decoder.StartRange(input_);
}

bool RarDecoder::DecodePpmd(uint32_t stop) {
  PpmdDecoder& decoder = ppmd_->decoder;
  while (at_ < stop) {
    uint8_t* to = ring_.data() + at_;
    const PpmdDecoder::Run run = decoder.DecodeUntil(escape_, &to, ring_.data() + stop);
    at_ = static_cast<uint32_t>(to - ring_.data());
    if (run == PpmdDecoder::Run::kFull) break;
    if (run == PpmdDecoder::Run::kFailed) return Refuse("rar: PPMd data are damaged");
    const int code = decoder.DecodeSymbol();
    switch (code) {
      case kNewHeader:
      case kEndOfMember:
        bits_ = MsbBits(input_);
        block_ = Block::kHeader;
        ended_ = code == kEndOfMember;
        return true;
      case kFilter:
        if (!ReadFilter()) return false;
        break;
      case kMatch:
      case kRun:
        if (!CopyPpmdMatch(code == kMatch)) return false;
        break;
      default:
        if (code < 0) return Refuse("rar: PPMd data end in an escape");
        ring_.data()[at_++] = escape_;
    }
  }
  return true;
}

// A match has three bytes of distance in front of its length; a run repeats the last byte.
bool RarDecoder::CopyPpmdMatch(bool has_distance) {
  uint32_t distance = 0;
  for (int i = 0; i < (has_distance ? 3 : 0); ++i) {
    const int byte = ppmd_->decoder.DecodeSymbol();
    if (byte < 0) return Refuse("rar: PPMd data end in a match");
    distance = distance << 8 | static_cast<uint32_t>(byte);
  }
  const int byte = ppmd_->decoder.DecodeSymbol();
  if (byte < 0) return Refuse("rar: PPMd data end in a match");
  distance = has_distance ? distance + kLeastDistance : 1;
  const uint32_t length = static_cast<uint32_t>(byte) + (has_distance ? kLeastMatch : kLeastRun);
  const rar::Output output{ring_.data(), at_, lap_, 0, &memory_};
  if (!rar::CopyMatchTo(output, at_, distance, length)) return Refuse("rar: no such distance");
  at_ += length;
  return true;
}

}  // namespace brix
