// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cached_read_stream.h - a small read cache in front of a stream.
//
// Header parsing issues many 1- to 4-byte reads near each other; four blocks of 1,024 bytes turn them into a
// few reads of the file below. Larger reads go around the cache, so bulk decoding is not copied twice.
#pragma once

#include <array>
#include <cstdint>

#include "core/stream.h"

namespace brix {

class CachedReadStream final : public Stream {
 public:
  static constexpr uint32_t kBlocks = 4;
  static constexpr uint32_t kBlockSize = 1024;  // bytes

  CachedReadStream() = default;
  CachedReadStream(const CachedReadStream&) = delete;
  CachedReadStream& operator=(const CachedReadStream&) = delete;
  ~CachedReadStream() override;

  // Puts the cache in front of `inner`. A non-zero `own` first deletes the inner stream set before, and makes
  // this object delete the new one at its end. With `own` zero the former inner stream is simply forgotten.
  void SetInner(Stream* inner, uint32_t own);

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  struct Block {
    uint32_t start = 0;  // offset of its first byte, a multiple of kBlockSize
    uint32_t valid = 0;  // bytes held; 0: empty
    uint32_t place = 0;  // of its bytes, in memory_
  };

  // The block that holds the byte at `offset`, now at the front of the list; null when it cannot be filled.
  const Block* Fetch(uint32_t offset);
  // Copies up to `size` bytes from the one block around `offset`; the count, 0 when there are none.
  uint32_t CopyFromBlock(uint32_t offset, uint8_t* buf, uint32_t size);
  void ForgetBlocks();

  std::array<Block, kBlocks> blocks_;  // most recently used first, empty ones last
  std::array<uint8_t, kBlocks * kBlockSize>
      memory_;  // inside, since nearly every cache is read; filled before use
  Stream* inner_ = nullptr;
  uint32_t owns_inner_ = 0;
};

}  // namespace brix
