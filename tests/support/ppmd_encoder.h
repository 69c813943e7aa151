// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_encoder.h - packs bytes by PPMd as RAR 2.9 wants them: the decoder's own model, and the coder that answers for it.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/stream.h"
#include "decoders/input_piece.h"
#include "decoders/ppmd/ppmd_model.h"

namespace brix {

class PpmdEncoder {
 public:
  std::vector<uint8_t> packed;

  [[nodiscard]] bool Start(uint32_t order, uint32_t memory) { return model_.Start(order, memory); }

  // One more byte of the run.
  void Put(uint8_t byte) {
    coder_.wanted = byte;
    coder_.out = &packed;
    (void)model_.Next(coder_);
  }

  // Ends the run; what is put next begins another with the same model.
  void Finish() {
    for (int i = 0; i < 4; ++i, coder_.low <<= 8) packed.push_back(static_cast<uint8_t>(coder_.low >> 24));
    coder_ = {};
  }

 private:
  struct Coder {
    template <typename Open>
    void Look(const ppmd::State* state, const ppmd::State* end, Open open) {
      for (target = 0; state != end; ++state) {
        if (!open(*state)) continue;
        if (state->symbol == wanted) {
          found = true;
          return;
        }
        target += state->frequency;
      }
      found = false;
    }
    void Divide(uint32_t total) { range /= total; }
    [[nodiscard]] bool IsBelow(uint32_t count) const { return target < count; }
    void Narrow(uint32_t start, uint32_t size) {
      low += start * range;
      range *= size;
      for (; (low ^ (low + range)) < 1u << 24 || range < 1u << 15; low <<= 8, range <<= 8) {
        if ((low ^ (low + range)) >= 1u << 24) range = (0 - low) & ((1u << 15) - 1);
        out->push_back(static_cast<uint8_t>(low >> 24));
      }
    }
    [[nodiscard]] bool IsBelowOf(uint32_t) const { return found; }
    void NarrowTo(uint32_t part) {
      range >>= ppmd::kWholeBits;
      Narrow(0, part);
    }
    void NarrowPast(uint32_t part) {
      range >>= ppmd::kWholeBits;
      Narrow(part, (1u << ppmd::kWholeBits) - part);
    }

    uint32_t low = 0;
    uint32_t range = UINT32_MAX;
    uint32_t target = 0;  // of the total, where `wanted` stands or all states end
    bool found = false;
    uint8_t wanted = 0;
    std::vector<uint8_t>* out = nullptr;
  };

  ppmd::Model model_;
  Coder coder_;
};

// The input of a decoder over a stream.
struct InputOver : InputPiece {
  explicit InputOver(Stream& stream) {
    if (!Allocate()) std::abort();
    Restart();
    Attach(&stream);
  }
};

}  // namespace brix
