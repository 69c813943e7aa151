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
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

  // Valid until the next write.
  [[nodiscard]] std::span<const uint8_t> bytes() const { return {block_.data(), size_}; }

  // Asks for room in advance, so that writes up to `capacity` need not move the content. The caller has
  // bounded it.
  [[nodiscard]] bool Reserve(uint32_t capacity);

 private:
  [[nodiscard]] bool GrowTo(uint32_t needed);

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
