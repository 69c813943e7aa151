// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/chunk_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace brix {

namespace {
constexpr uint8_t kEmptyByte = 0;
}  // namespace

void ChunkBuffer::DropChain(Chunk& chunk) {
  std::unique_ptr<Chunk> next = std::move(chunk.next);
  while (next != nullptr) next = std::move(next->next);
}

const uint8_t* ChunkBuffer::ByteAt(uint32_t index) const {
  for (const Chunk* chunk = &first_; chunk != nullptr; chunk = chunk->next.get()) {
    if (index < chunk->length) return chunk->bytes.data() + index;
    index -= chunk->length;
  }
  return &kEmptyByte;
}

uint32_t ChunkBuffer::Length() const {
  if (length_is_stale_) {
    length_ = 0;
    for (const Chunk* chunk = &first_; chunk != nullptr; chunk = chunk->next.get()) length_ += chunk->length;
    length_is_stale_ = false;
  }
  return length_;
}

// `bytes` may lie in this buffer: they are copied before anything of it is freed.
bool ChunkBuffer::Assign(const void* bytes, uint32_t length) {
  if (first_.bytes.size() < length) {
    MemoryBlock larger;
    if (!larger.TryResize(length)) return false;
    std::memcpy(larger.data(), bytes, length);
    first_.bytes = std::move(larger);
  } else if (length != 0) {
    std::memmove(first_.bytes.data(), bytes, length);
  }
  DropChain(first_);
  last_ = &first_;
  first_.length = length;
  length_is_stale_ = true;
  return true;
}

bool ChunkBuffer::Append(const void* bytes, uint32_t length) {
  if (length == 0) {
    const size_t text_length = std::strlen(static_cast<const char*>(bytes));
    if (text_length > UINT32_MAX) return false;
    length = static_cast<uint32_t>(text_length);
    if (length == 0) return true;
  }
  const uint32_t before = Length();
  if (length > UINT32_MAX - before) return false;
  if (before == 0) return Assign(bytes, length);
  std::unique_ptr<Chunk> chunk(new (std::nothrow) Chunk);
  if (chunk == nullptr || !chunk->bytes.TryResize(length)) return false;
  std::memcpy(chunk->bytes.data(), bytes, length);
  chunk->length = length;
  last_->next = std::move(chunk);
  last_ = last_->next.get();
  length_ = before + length;  // known, so that a run of appends does not walk the chain each time
  return true;
}

bool ChunkBuffer::Append(const ChunkBuffer& other) {
  const uint32_t before = Length();
  uint32_t left = other.Length();  // taken now: `other` may be this buffer, which grows below
  for (const Chunk* chunk = &other.first_; left != 0; chunk = chunk->next.get()) {
    const uint32_t count = std::min(chunk->length, left);
    if (count != 0 && !Append(chunk->bytes.data(), count)) {
      Truncate(before);
      return false;
    }
    left -= count;
  }
  return true;
}

void ChunkBuffer::Truncate(uint32_t length) {
  if (length == 0) {
    DropChain(first_);
    first_.bytes.Free();
    first_.length = 0;
    last_ = &first_;
    length_is_stale_ = true;
    return;
  }
  for (Chunk* chunk = &first_; chunk != nullptr; chunk = chunk->next.get()) {
    if (length <= chunk->length) {
      chunk->length = length;
      DropChain(*chunk);
      last_ = chunk;
      break;
    }
    length -= chunk->length;
  }
  length_is_stale_ = true;
}

}  // namespace brix
