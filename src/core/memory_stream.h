// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// memory_stream.h - streams over memory: one that grows, and one over a block of the caller's.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "core/stream.h"

namespace brix {

// A growing stream in memory, the target of extractions. Reading behind the end gives 0 bytes; writing behind
// the end fills the gap with zeros.
class MemoryStream final : public Stream {
 public:
  // Told of the memory whenever that has grown to kLargeBlock or more, before it is filled, so that it is served with
  // large pages.
  using GrowthAdvice = void (*)(uint8_t* memory, size_t size);
  static constexpr size_t kLargeBlock = 4 << 20;  // bytes

  explicit MemoryStream(GrowthAdvice advice = nullptr) : advice_(advice) {}

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

  // Valid until the next write.
  [[nodiscard]] std::span<const uint8_t> bytes() const { return {block_.data(), size_}; }

  // Bytes of memory held, whatever the content's size.
  [[nodiscard]] size_t capacity() const { return block_.size(); }

  // Asks for room in advance, so that writes up to `capacity` need not move the content. The caller has
  // bounded it.
  [[nodiscard]] bool Reserve(uint32_t capacity);

  // Gives the content to the caller, who frees it with std::free, and is empty afterwards. Null only when not even a
  // byte for an empty stream is to be had.
  [[nodiscard]] uint8_t* Release();

 private:
  [[nodiscard]] bool GrowTo(uint32_t needed);
  [[nodiscard]] bool Resize(size_t capacity);

  GrowthAdvice advice_;
  MemoryBlock block_;  // its size is the capacity
  uint32_t size_ = 0;
};

// A read-only stream over bytes that someone else keeps alive.
class FixedMemoryStream final : public Stream {
 public:
  explicit FixedMemoryStream(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  std::span<const uint8_t> bytes_;  // at most 4 GiB - 1
};

}  // namespace brix
