// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// explode_decoder.h - ZIP method 6.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/bit_reader.h"
#include "decoders/decoder.h"

namespace brix {

// Literals and matches in a window of 4 or 8 KiB, under two or three Shannon-Fano codes. The method has no
// end mark: the limit is the length that must come out, and input that ends before it is a failure. Bytes
// before the first one of the output are zeros that may be copied.
class ExplodeDecoder final : public Decoder {
 public:
  // `window_bytes`: 4096 or 8192. `trees`: 3 when literals have a code of their own, which also raises the
  // shortest match from 2 to 3; else 2. With anything else Decode is false.
  ExplodeDecoder(uint32_t window_bytes, uint32_t trees) : window_(window_bytes), trees_(trees) {}

  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

 private:
  struct Codes;

  [[nodiscard]] bool ReadCodes(Codes* codes);

  const uint32_t window_;
  const uint32_t trees_;
  LsbBitReader reader_;
  MemoryBlock codes_;   // one Codes
  MemoryBlock buffer_;  // history and pending output
};

}  // namespace brix
