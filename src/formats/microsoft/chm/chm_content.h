// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_content.h - the compressed section of a help file, as a readable range of bytes.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/decoder_input.h"
#include "core/memory_block.h"
#include "core/stream.h"
#include "decoders/lzx/lzx_decoder.h"

namespace brix::chm {

// Where the section's parts lie in the file.
struct ContentParts {
  uint32_t control_data;
  uint32_t reset_table;
  uint32_t content;
  uint32_t content_bytes;
};

// Frames of 32,768 bytes, of which some are reset points. The frame decoded last is kept, with the decoder, so
// that members whose content follows each other cost one pass; an earlier byte costs decoding from the reset point
// before it. Directories are sorted by name and content often is not: from the first step back on, the last 16 frames
// are kept, too.
class CompressedContent {
 public:
  // Reads the control data and the reset table's header.
  [[nodiscard]] bool Open(DecoderInput* in, const ContentParts& parts);

  // Writes [offset, offset + size) to `out` from 0 on; `*written` counts, also after a failure.
  [[nodiscard]] bool Extract(uint32_t offset, uint32_t size, Stream& out, uint32_t* written);

 private:
  [[nodiscard]] bool ReadControlData(uint32_t at);
  [[nodiscard]] bool ReadResetTable(uint32_t at);
  [[nodiscard]] bool LoadFrame(uint32_t frame);
  [[nodiscard]] bool FindCached(uint32_t frame);
  void Cache();
  [[nodiscard]] bool DecodeFrame(uint32_t frame);
  [[nodiscard]] bool ReadFrame(uint32_t frame, std::span<uint8_t>* packed);

  DecoderInput* in_ = nullptr;
  ContentParts parts_{};
  uint32_t window_bits_ = 0;
  uint32_t frames_per_reset_ = 1;
  uint32_t table_ = 0;  // file offset of the reset table's entries
  uint32_t frame_count_ = 0;
  uint32_t compressed_bytes_ = 0;  // where the last frame ends

  std::unique_ptr<LzxDecoder> decoder_;
  MemoryBlock packed_;              // a frame's compressed bytes
  uint32_t decoded_ = 0;            // the frame that the decoder decoded last, and
  bool decoded_any_ = false;        // whether it can go on behind it
  uint32_t loaded_ = 0;             // the frame of these bytes, which are the decoder's or the cache's
  std::span<const uint8_t> bytes_;  // empty: none

  struct CachedFrame {
    uint32_t frame = 0;
    uint32_t last_use = 0;  // 0: holds nothing
  };
  MemoryBlock cache_memory_;  // empty while frames are read in order
  std::array<CachedFrame, 16> cache_;
  uint32_t uses_ = 0;
};

}  // namespace brix::chm
