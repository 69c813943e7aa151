// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// szdd_decoder.h - the LZSS method of the Microsoft compress utility.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/decoder.h"

namespace brix {

// Groups of a flag byte and eight items, least significant flag bit first: a set bit is a literal byte, a
// clear bit a match of 3 to 18 bytes in a 4,096-byte window that starts as spaces. The format has no end
// mark: the limit is the length that must come out, and input that ends before it is a failure.
class SzddDecoder final : public Decoder {
 public:
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

 private:
  MemoryBlock buffers_;  // input with spare bytes, then history and pending output
};

}  // namespace brix
