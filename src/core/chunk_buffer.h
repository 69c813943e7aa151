// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chunk_buffer.h - a growable byte string kept as a chain of chunks, so that appending moves nothing.
#pragma once

#include <cstdint>
#include <memory>

#include "core/memory_block.h"

namespace brix {

// Owns copies of all that is put in. Every operation that allocates returns false, with the content
// unchanged, when memory is exhausted or the total would pass 4 GiB - 1 bytes.
class ChunkBuffer {
 public:
  ChunkBuffer() = default;
  ChunkBuffer(const ChunkBuffer&) = delete;
  ChunkBuffer& operator=(const ChunkBuffer&) = delete;
  ~ChunkBuffer() { DropChain(first_); }

  // The byte at `index`; behind the end, a shared byte that is zero. Walks the chain.
  [[nodiscard]] const uint8_t* ByteAt(uint32_t index) const;

  [[nodiscard]] uint32_t Length() const;

  // Replaces the content, reusing the first chunk's memory when it is large enough.
  [[nodiscard]] bool Assign(const void* bytes, uint32_t length);

  // Adds bytes at the end. A length of 0 means up to the terminating zero of `bytes`.
  [[nodiscard]] bool Append(const void* bytes, uint32_t length);

  // Adds a copy of another chain, which may be this one.
  [[nodiscard]] bool Append(const ChunkBuffer& other);

  // Keeps the first `length` bytes; 0 frees everything. A length behind the end changes nothing.
  void Truncate(uint32_t length);

 private:
  struct Chunk {
    MemoryBlock bytes;    // its size is the chunk's capacity
    uint32_t length = 0;  // bytes in use
    std::unique_ptr<Chunk> next;
  };

  // Frees the chunks behind `chunk` one by one: a long chain must not unwind on the call stack.
  static void DropChain(Chunk& chunk);

  Chunk first_;
  Chunk* last_ = &first_;
  mutable uint32_t length_ = 0;
  mutable bool length_is_stale_ = false;
};

}  // namespace brix
