// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// deflate_decoder.h - the inflater, for Deflate (RFC 1951) and Deflate64 (ZIP method 9).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "decoders/bit_reader.h"
#include "decoders/deflate/deflate_tables.h"
#include "decoders/resumable_decoder.h"

namespace brix {

enum class DeflateMode { kDeflate, kDeflate64 };

// Memory, taken by the first call: 32 KiB of input, and history plus pending output: 32 + 96 KiB (Deflate) or
// 64 + 192 KiB (Deflate64), of which only what is used is ever touched.
class DeflateDecoder final : public ResumableDecoder {
 public:
  // raw_stored_length  non-zero: the header of a stored block is LEN alone; zero: NLEN follows and must
  //                    be its complement.
  //                    kFindStoredForm: the first stored block tells which, of two bytes that are the complement
  //                    or are not, for all that this decoder decodes.
  static constexpr uint32_t kFindStoredForm = 2;
  explicit DeflateDecoder(DeflateMode mode = DeflateMode::kDeflate, uint32_t raw_stored_length = 0);
  ~DeflateDecoder() override;

  // Whether there is memory for decoding; DecodeMore takes it too, but its failure may also be the data's.
  [[nodiscard]] bool TakeMemory();

  [[nodiscard]] bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) override;

  // The same for a run of blocks whose input stands whole in memory, with kInputSlack zeros behind it: LendInput after
  // a reset, which fails without memory, then calls without a stream.
  static constexpr uint32_t kInputSlack = LsbBitReader::kSlack;
  [[nodiscard]] bool LendInput(std::span<const uint8_t> input);
  [[nodiscard]] bool DecodeMore(uint32_t wanted, uint32_t* added);

  // At least a window of the output, or all.
  [[nodiscard]] std::span<const uint8_t> buffered() const override { return {buffer_.data(), out_}; }

  // For chained runs of blocks, between two of them: takes back the last `count` bytes of buffered(), or adds as
  // many zeros, at most a window, in the place of a run that was lost. The latter is false without memory.
  void ForgetLast(uint32_t count);
  [[nodiscard]] bool AppendZeros(uint32_t count);

  void Reset() override;

  // Begins a new run of blocks with the history of the former one, as cabinets chain their blocks: input from
  // offset 0, at a block header; output goes on behind what was produced so far, or from offset 0 with
  // `restart_output`.
  void ResetKeepingHistory(bool restart_output);

  // True once the final block was decoded and everything was delivered.
  [[nodiscard]] bool finished() const { return ended_ && pending() == 0; }
  // Then: where in the input the stream ended.
  [[nodiscard]] uint32_t InputEnd() const { return input_.Position(); }

 private:
  enum class BlockState : uint8_t { kStored = 0, kFixed = 1, kDynamic = 2, kHeader = 3 };

  struct Tables {
    deflate::BlockTables dynamic;
    deflate::BlockTables fixed;
    bool fixed_built = false;
  };

  [[nodiscard]] bool deflate64() const { return mode_ == DeflateMode::kDeflate64; }

  // Moves the history to the front of the buffer when there is no room left behind it; all was delivered.
  void Slide();
  // Decodes until at least `wanted` bytes are pending, the buffer is full, or the stream ends. False: damage.
  [[nodiscard]] bool DecodeSome(uint32_t wanted);
  [[nodiscard]] bool ReadBlockHeader();
  [[nodiscard]] bool ReadStoredHeader();
  [[nodiscard]] bool ReadDynamicTables();
  [[nodiscard]] bool ReadCodeLengths(uint32_t symbols, uint8_t* lengths);
  [[nodiscard]] bool BuildFixedTables();
  [[nodiscard]] bool BuildTables(const uint8_t* litlen_lengths, uint32_t litlen_symbols,
                                 const uint8_t* distance_lengths, uint32_t distance_symbols,
                                 deflate::BlockTables* tables) const;
  [[nodiscard]] bool CopyStored(const uint8_t* out_stop);
  [[nodiscard]] bool DecodeCoded(uint8_t* out_stop);

  const DeflateMode mode_;
  uint32_t raw_stored_length_;
  const bool has_bmi2_;

  LsbBitReader input_;
  BlockState block_state_ = BlockState::kHeader;
  bool final_block_ = false;
  bool ended_ = false;
  bool failed_ = false;
  uint32_t stored_left_ = 0;  // bytes of the stored block still to copy

  std::unique_ptr<Tables> tables_;
  MemoryBlock buffer_;      // history, pending output, slack
  uint8_t* out_ = nullptr;  // next byte to decode into
};

}  // namespace brix
