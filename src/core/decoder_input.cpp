// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/decoder_input.h"

#include <algorithm>

namespace brix {

// Asked only when more than the base is spent: nearly no container comes so far.
uint64_t DecoderInput::Allowance() {
  if (allowance_ == 0) {
    uint32_t size = 0;
    if (!inner_->GetSize(&size)) size = 0;
    allowance_ = kBaseAllowance + kAllowanceForByte * size;
  }
  return allowance_;
}

uint64_t DecoderInput::UnwantedLeft() {
  const uint64_t allowance = Allowance();
  return (allowance - std::min(spent_, allowance)) * kUnwantedPerByte;
}

}  // namespace brix
