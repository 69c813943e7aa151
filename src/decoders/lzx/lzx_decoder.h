// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzx_decoder.h - LZX, as cabinets and compiled help files use it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "decoders/lzx/lzx_tables.h"

namespace brix {

namespace lzx {
class Bits;
}

// Decodes a stream that comes in units: a cabinet's data block, or a help file's frame. A call decodes one unit
// to a size known in advance; window, trees, repeated offsets and the block in progress go on to the next.
//
// Not a Decoder: both of its owners read a unit into memory whole and want its output in memory, so nothing goes
// through streams here.
//
// Memory, taken by the first call: tables of about 40 KiB, and a ring of the window and one unit; 32 KiB more once
// output is translated.
class LzxDecoder final {
 public:
  static constexpr uint32_t kMostOutput = 32768;  // bytes of one unit
  static constexpr uint32_t kSlack = 32;          // bytes that must stand behind a unit's input

  // window_bits  15 to 21; any other number makes every decoding fail.
  // resettable   0: Reset is refused, as the units of a cabinet have no reset points.
  explicit LzxDecoder(uint32_t window_bits, uint32_t resettable = 0);
  LzxDecoder(const LzxDecoder&) = delete;
  LzxDecoder& operator=(const LzxDecoder&) = delete;
  ~LzxDecoder();

  // Decodes one unit to exactly `expected` bytes, at most kMostOutput.
  //
  // packed     the unit's bytes, with kSlack bytes of the caller's behind them. Both are overwritten: the bytes of
  //            each word change places here, and the slack becomes zero.
  // odd_words  the 16-bit words begin at the odd positions of `packed`, its first byte being half a word. Where a
  //            unit goes on inside an uncompressed block the decoder knows better and does not ask.
  // out        the bytes, E8-translated; they belong to the decoder and hold until its next call.
  //
  // False: damaged or short input, or no memory. Then nothing more is decoded until Reset.
  [[nodiscard]] bool DecodeBlock(std::span<uint8_t> packed, bool odd_words, uint32_t expected,
                                 std::span<const uint8_t>* out);

  // Begins anew at a reset point: header, trees, repeated offsets. The window's content and the position that
  // the translation counts go on. False for a decoder that is not resettable.
  [[nodiscard]] bool Reset();

  // Forgets the stream header and the trees' code lengths alone.
  void ClearTrees();

 private:
  [[nodiscard]] bool TakeMemory();
  [[nodiscard]] bool Produce(std::span<uint8_t> packed, bool odd_words, uint32_t expected);
  [[nodiscard]] bool ReadBlockHeader(lzx::Bits& in);
  [[nodiscard]] bool ReadTrees(lzx::Bits& in);
  [[nodiscard]] bool ReadLengths(lzx::Bits& in, std::span<uint8_t> lengths);
  [[nodiscard]] bool DecodeSymbols(lzx::Bits& in, uint32_t count);
  [[nodiscard]] bool CopyRaw(lzx::Bits& in, uint32_t count);
  void MoveTo(uint32_t position, bool ring_full);
  void Translate(std::span<uint8_t> bytes, uint32_t position) const;

  const uint32_t window_bits_;
  const uint32_t resettable_;
  uint32_t main_symbols_ = 0;  // 256 literals and 8 for each position slot of the window size
  uint32_t ring_bytes_ = 0;    // window and one unit

  std::unique_ptr<lzx::Tables> tables_;
  MemoryBlock ring_;        // and slack; zero where nothing was decoded yet
  MemoryBlock translated_;  // the last unit, when it could not be lent from the ring
  uint32_t position_ = 0;   // in the ring, of the next byte
  bool ring_full_ = false;  // the ring was filled once; its bytes behind the position hold the window's begin
  bool failed_ = false;
  bool header_read_ = false;
  uint32_t e8_size_ = 0;      // 0: no translation
  uint32_t e8_position_ = 0;  // bytes decoded by the calls before

  lzx::BlockType block_type_ = lzx::BlockType::kNone;
  uint32_t block_size_ = 0;                       // uncompressed bytes of the current block
  uint32_t block_left_ = 0;                       // of them still to come
  bool pad_pending_ = false;                      // the block that ended last left half a word of input
  std::array<uint32_t, 3> repeated_ = {1, 1, 1};  // offsets, 1 to the window size
};

}  // namespace brix
