// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_methods.h - the decoders of a cabinet's data blocks.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "decoders/deflate/deflate_decoder.h"
#include "decoders/lzx/lzx_decoder.h"
#include "decoders/quantum/quantum_decoder.h"

namespace brix::cabinet {

// Decodes the blocks of one folder after the other. What a block gives is lent from where the decoder has it. One
// decoder lives at a time; it serves the next folder too when that has the same method and window.
class BlockDecoders {
 public:
  // Bytes that stand behind a block's packed ones, for the decoders to overwrite.
  static constexpr uint32_t kSlack = 32;
  static_assert(DeflateDecoder::kInputSlack <= kSlack && LzxDecoder::kSlack <= kSlack &&
                QuantumDecoder::kSlack <= kSlack);

  // Begins a folder. False: an unknown method, or no memory.
  [[nodiscard]] bool Start(uint32_t method, uint32_t window_bits);

  // Decodes the folder's next block to exactly `size` bytes, 1 to 32,768. `packed` is overwritten. `*plain` belongs
  // to the decoder, or to `packed`, and holds until the next call. False: damage; then `*plain` is what there was
  // before it, which may be nothing.
  //
  // odd_words  LZX: the first byte is half a 16-bit word.
  [[nodiscard]] bool Decode(std::span<uint8_t> packed, bool odd_words, uint32_t size,
                            std::span<const uint8_t>* plain);

  // After a block of `size` bytes failed that gave only its first `given`: whether the next one can be decoded all
  // the same.
  [[nodiscard]] bool PassOver(uint32_t given, uint32_t size);

  // As a Decoder's: what the blocks decoded since this was last asked cost beside their bytes.
  [[nodiscard]] uint32_t TakeTablesBuilt() { return inflater_ != nullptr ? inflater_->TakeTablesBuilt() : 0; }

 private:
  [[nodiscard]] bool InflateBlock(std::span<uint8_t> packed, uint32_t size, std::span<const uint8_t>* plain);

  uint32_t method_ = 0;
  uint32_t window_bits_ = 0;
  std::unique_ptr<DeflateDecoder> inflater_;
  std::unique_ptr<QuantumDecoder> quantum_;
  std::unique_ptr<LzxDecoder> lzx_;
};

}  // namespace brix::cabinet
