// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// decoding_stream.h - a compressed stream's output as a read-only Stream.
#pragma once

#include <cstdint>
#include <span>

#include "core/decoder_input.h"
#include "core/stream_views.h"
#include "decoders/resumable_decoder.h"

namespace brix {

// The bytes that the compressed data at [start, start + length) of `parent` decode to. Neither the parent nor the
// decoder is owned or outlived, and nobody else uses the decoder meanwhile, which is reset here; what stands behind the
// end of the data is not looked at.
class DecodingStream final : public Stream {
 public:
  DecodingStream(ResumableDecoder& decoder, DecoderInput* parent, uint32_t start, uint32_t length)
      : input_(parent), packed_(parent, start, length), decoder_(decoder) {
    decoder_.Reset();
  }

  // Short at the end of the data and where damage begins; fails at the damage. Behind the end: 0 bytes.
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;

  // Writes up to `*limit` bytes that start at `offset` to `out` from its offset 0, out of the decoder's own buffer;
  // `*limit` receives the count, also after a failure. False: fewer are there, or a failed write.
  [[nodiscard]] bool CopyTo(Stream& out, uint32_t offset, uint32_t* limit);

  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  // Always false: the size is not known before everything was decoded.
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  // What lies decoded from `offset` on, decoding up to there first; empty behind the end. False: damage.
  [[nodiscard]] bool Lend(uint64_t offset, std::span<const uint8_t>* bytes);

  DecoderInput* input_;
  RangeStream packed_;  // of the input
  ResumableDecoder& decoder_;
  uint64_t end_ = 0;  // offset, in the output, of the end of what the decoder holds; goes little beyond 4 GiB
};

}  // namespace brix
