// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_decoder.h - PPMd variant H under the range coder of RAR 2.9 archives.
#pragma once

#include <cstdint>
#include <memory>

#include "decoders/input_piece.h"

namespace brix {

namespace ppmd {

class Model;

// Of the range decoder, between two calls.
struct RangeState {
  uint32_t low = 0;
  uint32_t ahead = 0;  // the code, less low
  uint32_t range = 0;
  uint32_t invented = 0;  // zeros so far in this run, read behind the end of the input
};

}  // namespace ppmd

// Decodes single bytes: what they mean is the caller's. The model lives from one Start to the next, through any number
// of coded runs, between which the caller reads the same input in other ways.
//
//   Start(order, memory) -> StartRange(in) -> Decode... -> in.next is the byte behind the run -> StartRange(in) -> ...
//
// Memory: tables of 24 KiB, taken by the first Start, and one block of as many bytes as the stream asks for, kept and
// used again until a later Start asks for more. The block is not cleared; text, contexts and their statistics begin at
// three places in it and only what they reach is ever touched, about 10 to 20 bytes for each byte decoded. A Start
// touches 20 KiB whatever it asks for.
class PpmdDecoder final {
 public:
  static constexpr uint32_t kMinOrder = 2;
  static constexpr uint32_t kMaxOrder = 64;
  static constexpr uint32_t kMinMemory = 2048;  // the format has 1 MiB; tests want less
  static constexpr uint32_t kMaxMemory = uint32_t{256} << 20;
  static constexpr uint32_t kMostInvented = 4;  // zeros read behind the end of the input

  PpmdDecoder();
  PpmdDecoder(const PpmdDecoder&) = delete;
  PpmdDecoder& operator=(const PpmdDecoder&) = delete;
  ~PpmdDecoder();

  // A fresh model. False, and nothing is decoded until the next Start: order or size out of range, or no memory.
  [[nodiscard]] bool Start(uint32_t order, uint32_t memory_bytes);

  // Whether there is a model that a run may go on with: a Start succeeded and nothing failed since.
  [[nodiscard]] bool started() const { return started_; }

  // Begins a run of coded bytes at in.next, of which it takes the first four. `in` is used until the last Decode call
  // of the run. False when there is no model or no input.
  [[nodiscard]] bool StartRange(InputPiece& in);

  // The next byte, or -1: damaged input, more than kMostInvented bytes behind its end, or no run. A failure stays
  // until the next Start.
  [[nodiscard]] int DecodeSymbol();

  enum class Run {
    kStopped,  // `stop` came; it was taken, not stored
    kFull,     // *to == end
    kFailed,   // as DecodeSymbol's -1; what came before was stored
  };

  // Decodes bytes to *to, which moves on, until one of them is `stop` or *to == end. Faster than one at a time.
  [[nodiscard]] Run DecodeUntil(uint8_t stop, uint8_t** to, const uint8_t* end);

  // Forgets the model and gives all memory back.
  void Free();

 private:
  bool Fail();
  bool HasFailed(int symbol, uint32_t invented);

  std::unique_ptr<ppmd::Model> model_;
  InputPiece* in_ = nullptr;  // of the run; null when there is none
  ppmd::RangeState range_;
  bool started_ = false;
};

}  // namespace brix
