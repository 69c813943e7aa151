// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_decoder.cpp - the model of ppmd_model.h under the coder of ppmd_range.h.
//
// Bounds: a symbol costs at most one turn for each order and state, and each yields a byte or ends the run. What is read
// behind the end of the input is counted, and asked once a symbol.
#include "decoders/ppmd/ppmd_decoder.h"

#include <new>

#include "core/refuse.h"
#include "decoders/ppmd/ppmd_model.h"
#include "decoders/ppmd/ppmd_range.h"

namespace brix {

PpmdDecoder::PpmdDecoder() = default;
PpmdDecoder::~PpmdDecoder() = default;

// Nothing more until the next Start.
bool PpmdDecoder::Fail() {
  in_ = nullptr;
  started_ = false;
  return false;
}

bool PpmdDecoder::Start(uint32_t order, uint32_t memory_bytes) {
  (void)Fail();
  if (order < kMinOrder || order > kMaxOrder) return Refuse("ppmd: order");
  if (memory_bytes < kMinMemory || memory_bytes > kMaxMemory || memory_bytes % 4 != 0)
    return Refuse("ppmd: memory");
  if (model_ == nullptr) model_.reset(new (std::nothrow) ppmd::Model);
  started_ = model_ != nullptr && model_->Start(order, memory_bytes);
  return started_;
}

bool PpmdDecoder::StartRange(InputPiece& in) {
  if (!started_) return Refuse("ppmd: no model");
  ppmd::RangeDecoder coder(in, range_);
  coder.Start();
  coder.Store(&range_);
  in_ = &in;
  return coder.invented() < kMostInvented || Fail() || Refuse("ppmd: no input");
}

bool PpmdDecoder::HasFailed(int symbol, uint32_t invented) {
  if (symbol >= 0 && invented <= kMostInvented) [[likely]]
    return false;
  return !Fail() && !Refuse("ppmd: damaged or short input");
}

int PpmdDecoder::DecodeSymbol() {
  if (in_ == nullptr) return -1;
  ppmd::RangeDecoder coder(*in_, range_);
  const int symbol = model_->Next(coder);
  coder.Store(&range_);
  return HasFailed(symbol, coder.invented()) ? -1 : symbol;
}

PpmdDecoder::Run PpmdDecoder::DecodeUntil(uint8_t stop, uint8_t** to, const uint8_t* end) {
  if (in_ == nullptr) return Run::kFailed;
  ppmd::RangeDecoder coder(*in_, range_);
  Run run = Run::kFull;
  uint8_t* at = *to;
  while (at != end) {
    const int symbol = model_->Next(coder);
    if (HasFailed(symbol, coder.invented())) {
      run = Run::kFailed;
      break;
    }
    if (symbol == stop) {
      run = Run::kStopped;
      break;
    }
    *at++ = static_cast<uint8_t>(symbol);
  }
  *to = at;
  coder.Store(&range_);
  return run;
}

void PpmdDecoder::Free() {
  (void)Fail();
  model_.reset();
}

}  // namespace brix
