// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// quantum_decoder.h - Quantum, the arithmetic-coded method of cabinets.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"

namespace brix {

// Decodes a stream that comes in units, the data blocks of a cabinet. A call decodes one unit to a size known in
// advance; window and models go on to the next, while the arithmetic coder begins anew with each.
//
// Not a Decoder: its owner reads a unit into memory whole and wants its output in memory, so nothing goes through
// streams here.
//
// Memory, taken by the first call: the models (2 KiB), and one buffer of the window and half as much again, at
// least 64 KiB more, of which only what is used is ever touched.
class QuantumDecoder final {
 public:
  static constexpr uint32_t kMostOutput = 32768;  // bytes of one unit
  static constexpr uint32_t kSlack = 8;           // bytes that must stand behind a unit's input
  static constexpr uint32_t kMinWindowBits = 10;
  static constexpr uint32_t kMaxWindowBits = 21;

  // window_bits  10 to 21; any other number makes every decoding fail.
  explicit QuantumDecoder(uint32_t window_bits);
  QuantumDecoder(const QuantumDecoder&) = delete;
  QuantumDecoder& operator=(const QuantumDecoder&) = delete;
  ~QuantumDecoder();

  // Decodes one unit to exactly `expected` bytes, at most kMostOutput.
  //
  // packed  the unit's bytes, with kSlack bytes of the caller's behind them, which become zero.
  // out     the bytes; they belong to the decoder and hold until its next call.
  //
  // False: damaged or short input, or no memory. Then nothing more is decoded until Reset.
  [[nodiscard]] bool DecodeBlock(std::span<uint8_t> packed, uint32_t expected, std::span<const uint8_t>* out);

  // Begins a new stream: fresh models, a window of zeros. Gives back no memory.
  void Reset();

 private:
  struct Models;

  [[nodiscard]] bool TakeMemory();
  [[nodiscard]] bool DecodeSymbols(std::span<const uint8_t> packed, uint8_t* out, uint8_t* out_end);

  const uint32_t window_bits_;
  std::unique_ptr<Models> models_;
  MemoryBlock buffer_;     // history, the unit's output, slack
  uint32_t position_ = 0;  // in the buffer, of the next byte
  bool failed_ = false;
};

}  // namespace brix
