// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_decoder.h - bzip2, as files have it and as Nullsoft installers do.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "decoders/bzip2/bzip2_symbols.h"
#include "decoders/input_piece.h"
#include "decoders/msb_bits.h"
#include "decoders/resumable_decoder.h"

namespace brix {

enum class Bzip2Variant {
  kStandard,  // "BZh1" to "BZh9", blocks and streams with checksums; several streams one behind the other
  kNullsoft,  // one stream of blocks of 900,000 bytes without header and checksums
};

// Memory: 32 KiB of input, 128 KiB of output and 660 KiB for tables, most of them never touched; and for the largest
// block of a stream five bytes for each that arrived in it (not in its output, where runs are longer), at most 4.6 MB.
class Bzip2Decoder final : public ResumableDecoder {
 public:
  explicit Bzip2Decoder(Bzip2Variant variant = Bzip2Variant::kStandard) : variant_(variant) {}

  // A block is delivered before its checksum can be compared.
  [[nodiscard]] bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) override;

  // At least 32 KiB of the output, or all.
  [[nodiscard]] std::span<const uint8_t> buffered() const override { return {buffer_.data(), out_}; }

  void Reset() override;

 private:
  enum class State : uint8_t { kStreamHeader, kBlockHeader, kText, kEnd };

  [[nodiscard]] bool standard() const { return variant_ == Bzip2Variant::kStandard; }
  [[nodiscard]] bool TakeMemory();
  [[nodiscard]] bool DecodeSome(uint32_t wanted);
  [[nodiscard]] bool ReadStreamHeader();
  [[nodiscard]] bool ReadBlockHeader();
  [[nodiscard]] bool ReadBlock();
  [[nodiscard]] bool EndStream();
  [[nodiscard]] bool EndBlock();
  void Expand(size_t out_stop);

  const Bzip2Variant variant_;
  InputPiece input_;
  MsbBits bits_{input_};
  bzip2::SymbolReader symbols_;
  bzip2::Column column_;
  MemoryBlock rows_;

  State state_ = State::kStreamHeader;
  bool first_stream_ = true;
  bool failed_ = false;
  uint32_t block_bytes_ = 0;  // the most of a block
  uint32_t block_crc_ = 0;    // as stored
  uint32_t crc_ = 0;          // as counted
  uint32_t stream_crc_ = 0;

  std::span<const uint8_t> text_;  // what is left of the block
  uint32_t alike_ = 0;             // bytes before it that are alike, at most 4
  uint8_t last_ = 0;               // the last of these

  MemoryBlock buffer_;  // history and pending output
  size_t out_ = 0;      // in the buffer, of the next byte
};

}  // namespace brix
