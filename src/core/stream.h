// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// stream.h - the one interface through which every byte is read and written.
//
// A stream has no current position, so a directory walker and a decoder, or two levels of nesting, use one
// stream at once without disturbing each other. Offsets and sizes are unsigned 32-bit: nothing beyond 4 GiB -
// 1 bytes can be addressed. No stream locks; a stream and all that is layered over it belong to one thread at
// a time.
#pragma once

#include <cstdint>

namespace brix {

class Stream {
 public:
  Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;

  // Copies up to `size` bytes that start at `offset`; `*got` receives the count. True with `*got < size`
  // means that the end was reached. After false, `buf` and `*got` hold nothing of use.
  [[nodiscard]] virtual bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) = 0;

  // Stores `size` bytes at `offset`, growing the stream when it can; `*written` receives the count.
  [[nodiscard]] virtual bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size,
                                     uint32_t* written) = 0;

  [[nodiscard]] virtual bool GetSize(uint32_t* size) = 0;

  // Truncates or extends; extended bytes are zero.
  [[nodiscard]] virtual bool SetSize(uint32_t size) = 0;
};

// True when all of [offset, offset + size) was read. Most format code reads through this: a short read is a
// failure.
[[nodiscard]] inline bool ReadExact(Stream& in, uint32_t offset, uint8_t* buf, uint32_t size) {
  uint32_t got = 0;
  return in.ReadAt(offset, buf, size, &got) && got == size;
}

// True when all `size` bytes were stored at `offset`.
[[nodiscard]] inline bool WriteExact(Stream& out, uint32_t offset, const uint8_t* buf, uint32_t size) {
  uint32_t written = 0;
  return out.WriteAt(offset, buf, size, &written) && written == size;
}

}  // namespace brix
