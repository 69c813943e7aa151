// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// shrink_decoder.h - ZIP method 1.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/bit_reader.h"
#include "decoders/decoder.h"

namespace brix {

// LZW with codes of 9 to 13 bits and a table of 8,192 strings that is thinned out, not emptied, when it is
// full. The method has no end mark: the limit is the length that must come out, and input that ends before it
// is a failure, also between two codes.
class ShrinkDecoder final : public Decoder {
 public:
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

 private:
  struct Strings;

  LsbBitReader reader_;
  MemoryBlock strings_;  // one Strings
  MemoryBlock buffer_;   // pending output, with the place where a string is put together behind it
};

}  // namespace brix
