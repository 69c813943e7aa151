// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// decoder.h - the contract of every decompressor.
#pragma once

#include <cstdint>
#include <utility>

#include "core/stream.h"

namespace brix {

// Constructed with its method's parameters, run from an input stream into an output stream, destroyed.
//
// Shape shared by all of them: decode into one linear buffer of one's own (history in front, pending output
// behind), read input in large pieces into a buffer with spare bytes behind, write output in large runs.
// Never a byte at a time through a virtual call, never straight into the caller's stream. Memory is taken at
// construction time or by the first run and kept: an object is reused for the next member after its reset.
class Decoder {
 public:
  Decoder() = default;
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;
  virtual ~Decoder() = default;

  // Decodes from `in`, which holds the compressed bytes from offset 0, into `out` from offset 0.
  // `*limit`: in, the most bytes to produce; out, the bytes produced, also after a failure. Reaching the
  // limit or the end of the compressed data is success. False: damaged or short input, a failed write, or no
  // memory.
  [[nodiscard]] virtual bool Decode(Stream& in, Stream& out, uint32_t* limit) = 0;

  // Prepares for the next member, without giving back memory. Decoders that begin anew with every run do nothing.
  virtual void Reset() {}

  // The sets of Huffman tables built since this was last asked. A block of a few bytes may ask for one, so that the work
  // on it shows neither in what is read nor in what comes out.
  [[nodiscard]] uint32_t TakeTablesBuilt() { return std::exchange(tables_built_, 0); }

 protected:
  uint32_t tables_built_ = 0;
};

}  // namespace brix
