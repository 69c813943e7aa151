// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// input_piece.h - bytes of a stream in large pieces, for loops that do not look for the end at each byte.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "core/stream.h"

namespace brix {

// Reads from `*offset` of a stream behind the `filled` bytes of a piece, until `least` are there or the stream has no more,
// which sets `*ended`. Returns how many there are. A stream may hand out less than it was asked for before its end; only a
// failed or empty read is the end.
[[nodiscard]] uint32_t ReadBehind(Stream& in, uint32_t* offset, bool* ended, std::span<uint8_t> piece,
                                  uint32_t filled, uint32_t least);

// [next, end) are bytes of the input that nobody has taken. A loop takes them into locals and gives `next` back.
class InputPiece {
 public:
  static constexpr uint32_t kPiece = 32768;  // bytes read at a time
  static constexpr uint32_t kSlack = 32;     // zeros behind the end of the input
  static constexpr uint32_t kFront = 8;      // bytes before `next` that stay there, for who gives some back

  // Takes the memory, once; false when there is none.
  [[nodiscard]] bool Allocate() { return piece_.TryResize(kFront + kPiece + kSlack); }

  // Begins at offset 0 of the input. Forgets everything but the memory.
  void Restart() {
    next = end = piece_.size() == 0 ? nullptr : piece_.data() + kFront;
    offset_ = 0;
    ended_ = false;
  }

  // The stream to read from until told otherwise; its content is that of the one before.
  void Attach(Stream* in) { in_ = in; }

  // Makes at least kSlack bytes stand at `next`, whatever had to be moved for that. Fewer before `end` are the last of
  // the input; zeros follow then.
  void Fill() {
    if (static_cast<uint32_t>(end - next) < kSlack && !ended_) ReadMore();
  }

  // Bytes at `next` that are the input's.
  [[nodiscard]] uint32_t left() const { return static_cast<uint32_t>(end - next); }

  // Whether all that the input has was read.
  [[nodiscard]] bool ended() const { return ended_; }

  const uint8_t* next = nullptr;
  const uint8_t* end = nullptr;

 private:
  void ReadMore();

  MemoryBlock piece_;
  Stream* in_ = nullptr;
  uint32_t offset_ = 0;  // in the stream, of the byte at `end`
  bool ended_ = false;   // the stream has no more
};

}  // namespace brix
