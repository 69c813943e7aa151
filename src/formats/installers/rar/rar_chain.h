// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_chain.h - members whose dictionaries are one.
#pragma once

#include <cstdint>

#include "core/decoder_input.h"
#include "decoders/rar/rar_decoder.h"
#include "formats/installers/rar/rar_format.h"

namespace brix::rar {

// A file's block.
struct FileBlock {
  [[nodiscard]] bool split() const { return (flags & kFileSplit) != 0; }
  [[nodiscard]] bool directory() const { return (flags & kFileDirectory) == kFileDirectory; }
  [[nodiscard]] bool encrypted() const { return (flags & kFileEncrypted) != 0; }
  [[nodiscard]] bool solid() const { return (flags & kFileSolid) != 0; }
  [[nodiscard]] bool compressed() const { return !directory() && method != kMethodStored; }
  [[nodiscard]] bool supported() const {
    return (version == kVersion20 || version == kVersion29) && method >= kMethodStored &&
           method <= kMethodBest;
  }

  uint32_t flags = 0;
  uint32_t packed_size = 0;
  uint32_t unpacked_size = 0;
  uint32_t version = 0;
  uint32_t method = 0;
  uint32_t name_size = 0;
  uint32_t data_at = 0;
};

// A block, and where the next one stands.
struct Block {
  uint32_t at = 0;
  uint32_t type = 0;
  uint32_t flags = 0;
  uint32_t next = 0;
  FileBlock file;  // of a file's block
};

// Reads the block at `at`. False: it is cut, or none. A block that ends beyond 4 GiB - 1 has its next one at UINT32_MAX,
// where nothing can be read.
[[nodiscard]] bool ReadBlock(Stream& in, uint32_t at, Block* block);

// Decodes compressed members. A solid one goes on from the one before it, so that all of its chain must have been
// decoded: what the host passed over is decoded when a later member needs it, each member once at the most.
class Chain {
 public:
  // Begins a walk over the archive in `in`.
  void Start(DecoderInput* in) {
    in_ = in;
    started_ = begun_ = broken_ = false;
  }

  // Told of every file's block, in order.
  void Pass(const Block& block);

  // Extracts the member in `block`, the last that was passed.
  [[nodiscard]] bool Extract(const Block& block, Stream& out, uint32_t* limit);

 private:
  [[nodiscard]] bool Reach(const Block& block);
  [[nodiscard]] bool Begin(const Block& block);
  [[nodiscard]] bool FinishLast();

  DecoderInput* in_ = nullptr;
  RarDecoder decoder_;
  bool started_ = false;
  uint32_t start_ = 0;   // the block with which the current chain begins
  bool begun_ = false;   // the decoder stands in `last_`
  Block last_;           // decoded, perhaps not to its end
  bool broken_ = false;  // the current chain cannot be decoded any further
};

}  // namespace brix::rar
