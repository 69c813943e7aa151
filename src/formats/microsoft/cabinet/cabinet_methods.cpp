// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_methods.cpp - one interface over the four methods.
//
// A block of MSZIP is a Deflate stream behind the mark "CK", with the output of the blocks before it as history.
// Each begins at a block header of its own, whatever the one before left over; so a damaged block costs only its
// own bytes and what later ones copy from them, which comes out as zeros. LZX and Quantum adapt as they go and
// cannot go on behind damage.
//
// Memory: about 180 KiB for MSZIP; the window and about 100 KiB for LZX; one and a half windows for Quantum, or the
// window and 64 KiB when that is more.
#include "formats/microsoft/cabinet/cabinet_methods.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/refuse.h"
#include "formats/microsoft/cabinet/cabinet_format.h"

namespace brix::cabinet {

namespace {

// A fresh one in the place of the former.
template <class DecoderType>
bool Replace(std::unique_ptr<DecoderType>* decoder, uint32_t window_bits) {
  decoder->reset();  // first, so that two never live at once
  decoder->reset(new (std::nothrow) DecoderType(window_bits));
  return *decoder != nullptr;
}

}  // namespace

bool BlockDecoders::Start(uint32_t method, uint32_t window_bits) {
  if (method != kMsZip) inflater_.reset();
  if (method != kQuantum) quantum_.reset();
  if (method != kLzx) lzx_.reset();
  const bool same_window = window_bits == window_bits_;
  method_ = method;
  window_bits_ = window_bits;
  switch (method) {
    case kStored:
      return true;
    case kMsZip:
      if (inflater_ == nullptr) inflater_.reset(new (std::nothrow) DeflateDecoder);
      if (inflater_ == nullptr) return false;
      inflater_->Reset();
      return true;
    case kQuantum:
      if (quantum_ == nullptr || !same_window) return Replace(&quantum_, window_bits);
      quantum_->Reset();
      return true;
    case kLzx:
      return Replace(&lzx_, window_bits);
    default:
      return Refuse("cabinet: unknown method");
  }
}

bool BlockDecoders::Decode(std::span<uint8_t> packed, bool odd_words, uint32_t size,
                           std::span<const uint8_t>* plain) {
  *plain = {};
  switch (method_) {
    case kStored:
      *plain = packed.first(std::min<size_t>(size, packed.size()));
      return plain->size() == size || Refuse("cabinet: too few bytes in a stored block");
    case kMsZip:
      return InflateBlock(packed, size, plain);
    case kQuantum:
      return quantum_->DecodeBlock(packed, size, plain);
    case kLzx:
      return lzx_->DecodeBlock(packed, odd_words, size, plain);
    default:
      return false;
  }
}

bool BlockDecoders::InflateBlock(std::span<uint8_t> packed, uint32_t size, std::span<const uint8_t>* plain) {
  if (packed.size() < kMsZipMarkBytes || packed[0] != 'C' || packed[1] != 'K') {
    return Refuse("cabinet: no mark on an MSZIP block");
  }
  std::memset(packed.data() + packed.size(), 0, DeflateDecoder::kInputSlack);
  inflater_->ResetKeepingHistory(true);
  if (!inflater_->LendInput(packed.subspan(kMsZipMarkBytes))) return false;
  uint32_t produced = 0;
  bool ok = true;
  // Ends by `produced`, which every turn but the last raises.
  while (ok && produced < size) {
    uint32_t added = 0;
    ok = inflater_->DecodeMore(size - produced, &added) && added != 0;
    produced += added;
  }
  // What the stream has beyond the block's size is no history of the next.
  if (produced > size) inflater_->ForgetLast(produced - size);
  produced = std::min(produced, size);
  *plain = inflater_->buffered().last(produced);
  return produced == size || Refuse("cabinet: an MSZIP block is damaged or too short");
}

bool BlockDecoders::PassOver(uint32_t given, uint32_t size) {
  if (method_ == kStored) return true;
  return method_ == kMsZip && inflater_->AppendZeros(std::min(size, kMaxPlain) - given);
}

}  // namespace brix::cabinet
