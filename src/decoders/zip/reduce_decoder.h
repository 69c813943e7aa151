// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// reduce_decoder.h - ZIP methods 2 to 5.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/bit_reader.h"
#include "decoders/decoder.h"

namespace brix {

// Bytes predicted from the byte before, over runs copied from at most 4,096 bytes back. The method has no end
// mark: the limit is the length that must come out, and input that ends before it is a failure. Bytes before
// the first one of the output are zeros that may be copied.
class ReduceDecoder final : public Decoder {
 public:
  // `factor`: 1 to 4, for the methods 2 to 5. With any other Decode is false.
  explicit ReduceDecoder(uint32_t factor) : factor_(factor) {}

  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

 private:
  struct Followers;

  [[nodiscard]] bool ReadFollowers(Followers* followers);

  const uint32_t factor_;
  LsbBitReader reader_;
  MemoryBlock followers_;  // one Followers
  MemoryBlock buffer_;     // history and pending output
};

}  // namespace brix
