// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// line_reader.h - lines of a stream as spans into one large buffer.
#pragma once

#include <cstdint>

#include "core/memory_block.h"
#include "core/stream.h"
#include "decoders/mail/mail_text.h"

namespace brix::mail {

// The longest line that is kept whole, in bytes. Of a longer one the walk sees this much; decoders get it in pieces.
inline constexpr uint32_t kMaxLine = 256 * 1024;

inline constexpr uint32_t kAhead = 64;  // bytes

// A line without its end, or a piece of one that is longer than kMaxLine. Valid until the reader moves on.
struct Line {
  Text text;
  Text ahead;             // what lies after the line or piece, at least kAhead bytes unless the input ends
  uint32_t at = 0;        // offset of its first byte
  uint32_t end_size = 0;  // bytes of its line end, at most kMaxLineEnd; 0 at the end of the input
  bool starts = true;     // the piece begins a line
  bool ends = true;       // the line ends after the piece
};

// Reads ahead in large pieces. All its places are offsets in the stream, so what was looked at can be read again:
// going back inside the buffer costs nothing.
class LineReader {
 public:
  // Bytes that may be read after end(); they are zero.
  static constexpr uint32_t kSlack = 16;

  // Starts at offset 0 of `in`, which must outlive the reader.
  void Open(Stream* in);

  // The next line or piece. False at the end of the input, and when a read failed or memory is exhausted.
  [[nodiscard]] bool Take(Line* line);

  // The next line; what is after its first kMaxLine bytes is passed over.
  [[nodiscard]] bool TakeLine(Line* line);

  // Makes the last `size` bytes of the piece taken last, which does not end its line, the start of the next one.
  void Unread(uint32_t size) { at_ -= size; }

  void Seek(uint32_t offset);
  [[nodiscard]] uint32_t offset() const { return base_ + at_; }
  [[nodiscard]] bool failed() const { return failed_; }
  // Whether it failed for want of memory.
  [[nodiscard]] bool no_memory() const { return no_memory_; }

  // For decoders that need no lines: the bytes read ahead.
  [[nodiscard]] const uint8_t* begin() const { return block_.data() + at_; }
  [[nodiscard]] const uint8_t* end() const { return block_.data() + end_; }
  void Advance(uint32_t size) { at_ += size; }

  // Reads until at least `wanted` bytes, not much more than kMaxLine, lie ahead. False when the input ends or fails
  // before; what there is still lies ahead.
  bool Fill(uint32_t wanted);

 private:
  // A line whose end does not lie ahead, or not surely.
  [[nodiscard]] bool TakeSlowly(Line* line);

  Stream* in_ = nullptr;
  MemoryBlock block_;   // a usable size and kSlack
  uint32_t base_ = 0;   // offset of block_'s first byte
  uint32_t at_ = 0;     // next byte, in block_
  uint32_t end_ = 0;    // after the last byte read
  bool ended_ = false;  // the input ends at end_
  bool failed_ = false;
  bool no_memory_ = false;
  bool inside_line_ = false;  // the next byte is not the first of its line
};

}  // namespace brix::mail
