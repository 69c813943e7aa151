// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzma_decoder.cpp - LZMA's state between and around its loop (lzma_loop.h).
//
// Output is decoded into one linear buffer that doubles as it fills, up to the window and some room behind it. When that
// is full, the last window of it moves to the front: two bytes moved for each one decoded, a fiftieth of the time.
//
// What is reset for a stream are 28 KiB of models, with 3 literal bits 40. With more than kFewLiteralBits of them the
// models of literals are set one by one when they are used first, since 6 MiB set for a stream of a few bytes would cost
// a thousand times what it holds.
//
// Bounds: properties are checked when they are set. A turn of the loop ends at a symbol that took bytes from behind the
// end of the input; near the end it is run symbol by symbol, so that what such a symbol made is taken back.
//
// Kept: bytes behind the end of the stream are nobody's concern, and with a known size the coder's last state is not
// looked at.
#include "decoders/lzma/lzma_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/byte_order.h"
#include "core/refuse.h"

namespace brix {

namespace {

constexpr uint32_t kRun = 32768;  // most bytes decoded by a call, but for the rest of a match
constexpr uint32_t kFront = 16;   // bytes before the first, of which the last is 0: the byte before it
constexpr uint32_t kLeastBuffer = 64u << 10;
constexpr uint32_t kLeastWindow = 4096;     // whatever the properties say
constexpr uint32_t kLeastRoom = 64u << 10;  // behind the window
constexpr uint32_t kMostRoom = 32u << 20;
constexpr uint32_t kBehind = lzma::kLongestMatch + kMatchSlack;
constexpr uint32_t kFewLiteralBits = 4;
constexpr uint32_t kFirstBytes = 5;  // of the coder

static_assert(kLeastRoom >= kRun && kLeastBuffer >= kFront + kRun + kBehind);

}  // namespace

LzmaDecoder::LzmaDecoder() = default;
LzmaDecoder::~LzmaDecoder() = default;

bool LzmaDecoder::TakeMemory() {
  if (models_ != nullptr) return true;
  std::unique_ptr<lzma::Models> models(new (std::nothrow) lzma::Models);
  in_use_.reset(new (std::nothrow) lzma::LiteralsInUse);
  if (models == nullptr || in_use_ == nullptr || !input_.Allocate()) return false;
  models_ = std::move(models);
  return true;
}

bool LzmaDecoder::Begin(std::span<const uint8_t, kPropertyBytes> properties, uint64_t size) {
  begun_ = false;
  if (properties[0] >= 9 * 5 * 5) return Refuse("lzma: properties out of range");
  const uint32_t lc = properties[0] % 9;
  const uint32_t lp = properties[0] / 9 % 5;
  const uint32_t pb = properties[0] / 45;
  literal_bits_ = lc + lp;
  masks_.position = (1u << pb) - 1;
  masks_.literal = (0x100u << lp) - (0x100u >> lc);
  masks_.literal_step = lzma::kLiteralModel >> (8 - lc);
  window_ = std::clamp(LoadLe32(&properties[1]), kLeastWindow, kMostWindow);
  size_ = size;
  const size_t literal_bytes = (size_t{lzma::kLiteralModel} << literal_bits_) * sizeof(lzma::Probability);
  if (!TakeMemory() || !literals_.TryGrow(literal_bytes, literal_bytes)) return false;
  begun_ = true;
  Reset();
  return true;
}

void LzmaDecoder::Reset() {
  RestartDelivery(true);
  input_.Restart();
  out_ = kFront;
  where_ = {};
  started_ = ended_ = false;
  failed_ = !begun_;
}

std::span<const uint8_t> LzmaDecoder::buffered() const {
  return out_ <= kFront ? std::span<const uint8_t>() : std::span(buffer_.data() + kFront, out_ - kFront);
}

bool LzmaDecoder::MakeRoom(uint32_t wanted) {
  const size_t most = size_t{kFront} + window_ + std::clamp(window_ / 2, kLeastRoom, kMostRoom) + kBehind;
  if (out_ + wanted + kBehind > most) {
    std::memmove(buffer_.data() + kFront, buffer_.data() + out_ - window_, window_);
    out_ = size_t{kFront} + window_;
  }
  const size_t needed = out_ + wanted + kBehind;
  if (needed <= buffer_.size()) return true;
  if (!buffer_.TryResize(std::min(std::max({needed, 2 * buffer_.size(), size_t{kLeastBuffer}}), most)))
    return false;
  buffer_.data()[kFront - 1] = 0;
  return true;
}

bool LzmaDecoder::DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) {
  *added = 0;
  if (!failed_ && !ended_) {
    input_.Attach(&in);
    const uint64_t before = where_.produced;
    failed_ = (!started_ && !ReadFirstBytes()) || !DecodeSome(std::min(wanted, kRun));
    *added = static_cast<uint32_t>(where_.produced - before);
  }
  return *added != 0 || !failed_;
}

// Every bit is as likely as not where no model has learnt anything.
bool LzmaDecoder::ReadFirstBytes() {
  input_.Fill();
  if (input_.left() < kFirstBytes) return Refuse("lzma: input ends inside its first bytes");
  if (input_.next[0] != 0) return Refuse("lzma: first byte is not 0");
  coder_.range = UINT32_MAX;
  coder_.code = LoadBe32(input_.next + 1);
  input_.next += kFirstBytes;
  constexpr lzma::Probability kEven = lzma::kOne / 2;
  std::fill_n(reinterpret_cast<lzma::Probability*>(models_.get()), sizeof(lzma::Models) / sizeof kEven,
              kEven);
  if (literal_bits_ > kFewLiteralBits) {
    in_use_->Clear();
  } else {
    std::fill_n(reinterpret_cast<lzma::Probability*>(literals_.data()), lzma::kLiteralModel << literal_bits_,
                kEven);
  }
  started_ = true;
  return true;
}

lzma::LoopEnd LzmaDecoder::RunLoop(const uint8_t* in_stop, lzma::Output& output) {
  auto* const literals = reinterpret_cast<lzma::Probability*>(literals_.data());
  return literal_bits_ > kFewLiteralBits
             ? lzma::Loop<true>(*models_, literals, *in_use_, masks_, coder_, in_stop, where_, output)
             : lzma::Loop<false>(*models_, literals, *in_use_, masks_, coder_, in_stop, where_, output);
}

bool LzmaDecoder::DecodeSome(uint32_t wanted) {
  const uint64_t until = where_.produced + std::min<uint64_t>(wanted, size_ - where_.produced);
  // Ends by the output, or the input: each turn takes from it, or finds its end.
  while (where_.produced < until) {
    if (!MakeRoom(static_cast<uint32_t>(until - where_.produced))) return false;
    input_.Fill();
    const bool careful = input_.left() < InputPiece::kSlack;
    const lzma::Position before = where_;
    uint8_t* const out = buffer_.data() + out_;
    lzma::Output output{out, out + (careful ? 1 : until - before.produced),
                        static_cast<uint32_t>(std::min<size_t>(out_ - kFront, window_)), window_};
    coder_.next = input_.next;
    const lzma::LoopEnd end = RunLoop(careful ? input_.end : input_.end - InputPiece::kSlack, output);
    if (coder_.next > input_.end) {
      where_ = before;
      return Refuse("lzma: input ends inside a symbol");
    }
    input_.next = coder_.next;
    out_ += static_cast<size_t>(output.out - out);
    if (end == lzma::LoopEnd::kBad)
      return Refuse("lzma: distance before the first byte or behind the window");
    if (end == lzma::LoopEnd::kEndMark) return CheckEndMark();
  }
  if (where_.produced > size_) {
    out_ -= static_cast<size_t>(where_.produced - size_);
    where_.produced = size_;
    return Refuse("lzma: a match crosses the end");
  }
  ended_ = where_.produced == size_;
  return true;
}

bool LzmaDecoder::CheckEndMark() {
  ended_ = true;
  input_.Fill();
  coder_.next = input_.next;
  lzma::Normalise(coder_);
  if (coder_.next > input_.end) return Refuse("lzma: input ends inside the end mark");
  if (coder_.code != 0) return Refuse("lzma: bits behind the end mark");
  return size_ == kToEndMark || where_.produced == size_ || Refuse("lzma: end mark before the end");
}

}  // namespace brix
