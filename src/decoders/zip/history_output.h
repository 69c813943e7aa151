// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// history_output.h - the output side that the old ZIP methods share.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/stream.h"

namespace brix::zip {

// One linear buffer: the last `history` bytes of output, zeros to begin with, then the output not yet
// written. The decoder keeps the place of the next byte in a local and flushes whenever it has passed full();
// what one step writes must fit behind that. The buffer is history + pending + the longest step + kMatchSlack
// bytes long.
class HistoryOutput {
 public:
  HistoryOutput(Stream& out, uint8_t* buffer, uint32_t history, uint32_t pending)
      : out_(out), buffer_(buffer), history_(history), pending_(pending) {
    std::memset(buffer, 0, history);
  }

  [[nodiscard]] uint8_t* begin() const { return buffer_ + history_; }
  [[nodiscard]] uint8_t* full() const { return begin() + pending_; }
  [[nodiscard]] uint32_t written() const { return written_; }

  // Writes what stands between begin() and `*to`, keeps the history in front and moves `*to` to begin().
  // After a failed write nothing more is written, so a loop may break and leave the result to its last flush.
  [[nodiscard]] bool Flush(uint8_t** to) {
    const auto size = static_cast<uint32_t>(*to - begin());
    if (size == 0 || failed_) return !failed_;
    failed_ = !WriteExact(out_, written_, begin(), size);
    if (failed_) return false;
    written_ += size;
    std::memmove(buffer_, buffer_ + size, history_);
    *to = begin();
    return true;
  }

 private:
  Stream& out_;
  uint8_t* buffer_;
  uint32_t history_;
  uint32_t pending_;
  uint32_t written_ = 0;
  bool failed_ = false;
};

}  // namespace brix::zip
