// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// copy_decoder.h - the method of members that are not compressed.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "decoders/decoder.h"

namespace brix {

// Copies from the start of the input until the limit. Stored data have no end mark: the limit is the length
// that must come out, and input that ends before it is a failure; what there was has been copied.
class CopyDecoder final : public Decoder {
 public:
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) override;

 private:
  MemoryBlock piece_;
};

}  // namespace brix
