// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mail_output.h - where the mail decoders put their bytes: a buffer that is flushed to the caller's stream and stops at
// the limit.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/memory_block.h"
#include "core/stream.h"
#include "decoders/mail/mail_text.h"

namespace brix::mail {

// A decoder may put more in the buffer than the limit allows; no more is written.
class MailOutput {
 public:
  static constexpr uint32_t kSize = 5 * 1024;
  static constexpr uint32_t kMaxRoom = 512;  // a decoder may overrun Room() by so many bytes

  // `limit`: the most bytes to write, 0 meaning none. `buffer` is kept from one output to the next.
  MailOutput(Stream& out, uint32_t limit, MemoryBlock* buffer)
      : out_(out), limit_(limit == 0 ? UINT32_MAX : limit), buffer_(buffer) {
    failed_ = !buffer->TryResize(kSize + kMaxRoom);
  }

  // Whether the decoder should go on; then `size` bytes, at most kSize, may be stored at at(). False: the limit is
  // reached, or a write failed.
  [[nodiscard]] bool Room(uint32_t size) {
    return used_ + size <= kSize && used_ < limit_ - written_ && !failed_ ? true : Flush();
  }
  [[nodiscard]] uint8_t* at() { return buffer_->data() + used_; }
  void Advance(size_t size) { used_ += static_cast<uint32_t>(size); }

  // The same for any amount.
  bool Write(Text bytes) {
    while (!bytes.empty()) {  // each turn writes some of them
      if (!Room(kMaxRoom)) return false;
      const size_t size = std::min<size_t>(bytes.size(), kSize - used_);
      std::memcpy(at(), bytes.data(), size);
      Advance(size);
      bytes = bytes.subspan(size);
    }
    return true;
  }

  // Writes what is left. False: some write failed.
  [[nodiscard]] bool Finish() {
    (void)Flush();
    return !failed_;
  }
  [[nodiscard]] uint32_t written() const { return written_; }

 private:
  bool Flush() {
    const uint32_t size = std::min(used_, limit_ - written_);
    used_ = 0;
    if (!failed_ && size != 0) {
      failed_ = !WriteExact(out_, written_, buffer_->data(), size);
      if (!failed_) written_ += size;
    }
    return !failed_ && written_ < limit_;
  }

  Stream& out_;
  uint32_t limit_;
  MemoryBlock* buffer_;
  uint32_t used_ = 0;
  uint32_t written_ = 0;
  bool failed_;
};

}  // namespace brix::mail
