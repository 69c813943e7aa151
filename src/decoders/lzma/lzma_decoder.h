// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzma_decoder.h - LZMA, as its first version has it: without the headers that file formats put in front.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "decoders/input_piece.h"
#include "decoders/lzma/lzma_loop.h"
#include "decoders/resumable_decoder.h"

namespace brix {

// Decodes one stream with given properties: to its end mark, or to a size known from elsewhere.
//
// Memory: 32 KiB of input and 40 KiB of models, taken by the first call; the models of literals, 1.5 KiB for each
// context that lc + lp bits choose from, of which only what is used is touched; and the window, which grows with the
// bytes decoded. It is as large as the properties claim but for kMostWindow, plus at most 32 MiB; a match from further
// back is damage, as one from before the first byte is.
class LzmaDecoder final : public ResumableDecoder {
 public:
  static constexpr uint32_t kPropertyBytes = 5;
  static constexpr uint64_t kToEndMark = UINT64_MAX;
  static constexpr uint32_t kMostWindow = 128u << 20;

  LzmaDecoder();
  ~LzmaDecoder() override;

  // Sets what the next stream needs, and resets. Nothing can be decoded before.
  //
  // properties  as formats store them: (pb * 5 + lp) * 9 + lc with lc up to 8, lp and pb up to 4; the size of the
  //             dictionary.
  // size        bytes that the stream decodes to, behind which it ends also without an end mark; kToEndMark if unknown.
  //
  // False, and all decoding fails, if there are no such properties, or no memory.
  [[nodiscard]] bool Begin(std::span<const uint8_t, kPropertyBytes> properties, uint64_t size = kToEndMark);

  [[nodiscard]] bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) override;

  // At least a window of the output, or all.
  [[nodiscard]] std::span<const uint8_t> buffered() const override;

  // Begins a new stream with the properties of the former one.
  void Reset() override;

 private:
  [[nodiscard]] bool TakeMemory();
  [[nodiscard]] bool MakeRoom(uint32_t wanted);
  [[nodiscard]] bool ReadFirstBytes();
  [[nodiscard]] bool DecodeSome(uint32_t wanted);
  [[nodiscard]] bool CheckEndMark();
  [[nodiscard]] lzma::LoopEnd RunLoop(const uint8_t* in_stop, lzma::Output& output);

  uint32_t literal_bits_ = 0;  // lc + lp
  lzma::Masks masks_{};
  uint32_t window_ = 0;
  uint64_t size_ = kToEndMark;

  InputPiece input_;
  std::unique_ptr<lzma::Models> models_;
  std::unique_ptr<lzma::LiteralsInUse> in_use_;
  MemoryBlock literals_;
  MemoryBlock buffer_;  // kFront bytes, history and pending output, slack
  size_t out_ = 0;      // in the buffer, of the next byte to decode
  lzma::Coder coder_{};
  lzma::Position where_;
  bool begun_ = false;    // the properties are good
  bool started_ = false;  // the coder has its first bytes
  bool ended_ = false;
  bool failed_ = true;
};

}  // namespace brix
