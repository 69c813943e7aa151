// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// x86_filter.h - undoes the conversion of x86 branch targets that compressors put in front of LZMA ("BCJ x86").
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "decoders/resumable_decoder.h"

namespace brix {

// What is kept of a run of bytes from one call to the next.
class X86Filter {
 public:
  static constexpr uint32_t kMostLeft = 4;  // bytes at the end of a call that cannot be decided yet

  // Makes the absolute targets of calls and jumps in `bytes` relative again, in place. Gives back how many bytes at the
  // front are final; the others, at most kMostLeft, stand at the front of the next call's bytes, and at the end of the
  // data they are final as they stand.
  [[nodiscard]] uint32_t Convert(std::span<uint8_t> bytes);

  // Begins new data.
  void Reset() { *this = X86Filter(); }

 private:
  uint32_t position_ = 0;  // in the data, of the next call's first byte; wraps
  uint32_t opcodes_ =
      0;  // which of the bytes before it look like the high byte of a target or like an opcode
};

// The output of another decoder, filtered.
//
// Memory: 128 KiB, taken by the first call.
class X86FilteredDecoder final : public ResumableDecoder {
 public:
  // The decoder is neither owned nor outlived. Nobody else uses it meanwhile but to set what its next stream needs,
  // before Reset.
  explicit X86FilteredDecoder(ResumableDecoder& packed) : packed_(packed) {}

  [[nodiscard]] bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) override;

  // At least 32 KiB of the output, or all.
  [[nodiscard]] std::span<const uint8_t> buffered() const override { return {buffer_.data(), final_}; }

  // Resets the other decoder too.
  void Reset() override;

 private:
  ResumableDecoder& packed_;
  X86Filter filter_;
  MemoryBlock buffer_;  // final bytes, then up to kMostLeft others
  uint32_t final_ = 0;
  uint32_t left_ = 0;
  bool ended_ = false;
  bool failed_ = false;
};

}  // namespace brix
