// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// write_streams.h - what stands between a handler and the target of an extraction: a buffer that joins small
// writes, and a limit that the target never sees passed.
#pragma once

#include <array>
#include <cstdint>

#include "core/stream.h"

namespace brix {

// A write buffer of 4,096 bytes in front of a stream, which it does not own. Writes that follow each other
// are joined; one as large as the buffer passes through whole, since cutting it would only cost calls.
//
// Buffered bytes reach the stream below at the latest by Flush. A failure to store them is reported there, or
// by the write that made room, and sticks: everything later fails too. What was never flushed is lost.
class BufferedWriteStream final : public Stream {
 public:
  static constexpr uint32_t kBufferSize = 4096;  // bytes

  explicit BufferedWriteStream(Stream* inner) : inner_(inner) {}

  [[nodiscard]] bool Flush();

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  Stream* inner_;
  uint32_t start_ = 0;  // offset of the first buffered byte in the stream below
  uint32_t used_ = 0;   // bytes buffered
  bool failed_ = false;
  std::array<uint8_t, kBufferSize> buffer_;  // filled before it is read
};

// Passes on what lies below `limit`, swallows what lies behind it, and remembers that it did.
class LimitedWriteStream final : public Stream {
 public:
  LimitedWriteStream(Stream* inner, uint32_t limit) : inner_(inner), limit_(limit) {}

  // Whether bytes were dropped.
  [[nodiscard]] bool was_cut() const { return was_cut_; }
  // The end of what was passed on.
  [[nodiscard]] uint32_t stored() const { return stored_; }

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  // Dropped bytes count as written.
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  Stream* inner_;
  const uint32_t limit_;
  uint32_t stored_ = 0;
  bool was_cut_ = false;
};

}  // namespace brix
