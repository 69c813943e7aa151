// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// memory_block.h - an uninitialised block of bytes that says when there is no memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

namespace brix {

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};

// Owned bytes from malloc. Allocation never throws and never clears: touching fresh memory costs as much as
// decoding into it, so nobody pays for pages that are not used.
class MemoryBlock {
 public:
  MemoryBlock() = default;
  MemoryBlock(MemoryBlock&& other) noexcept
      : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {}
  MemoryBlock& operator=(MemoryBlock&& other) noexcept {
    bytes_ = std::move(other.bytes_);
    size_ = std::exchange(other.size_, 0);
    return *this;
  }

  [[nodiscard]] uint8_t* data() { return bytes_.get(); }
  [[nodiscard]] const uint8_t* data() const { return bytes_.get(); }
  [[nodiscard]] size_t size() const { return size_; }

  // Makes the block `size` bytes long, keeping what fits of the old content; new bytes are not initialised.
  // False, with the block unchanged, when memory is exhausted. The caller has bounded `size`.
  [[nodiscard]] bool TryResize(size_t size) {
    if (size == size_) return true;
    void* moved = std::realloc(bytes_.get(), size == 0 ? 1 : size);
    if (moved == nullptr) return false;
    (void)bytes_.release();
    bytes_.reset(static_cast<uint8_t*>(moved));
    size_ = size;
    return true;
  }

  // The same for a block that is filled little by little: makes it at least `needed` bytes long by doubling, from
  // `first` bytes on, and never shorter.
  [[nodiscard]] bool TryGrow(size_t needed, size_t first) {
    if (needed <= size_) return true;
    size_t size = size_ < first ? first : size_;
    while (size < needed) size *= 2;
    return TryResize(size);
  }

  // Gives the bytes to the caller, who frees them with std::free. The block is empty afterwards.
  [[nodiscard]] uint8_t* Release() {
    size_ = 0;
    return bytes_.release();
  }

  void Free() {
    bytes_.reset();
    size_ = 0;
  }

 private:
  std::unique_ptr<uint8_t[], FreeDeleter> bytes_;
  size_t size_ = 0;
};

// For what a detector asks: its "no" without memory would hide a container. Throws std::bad_alloc, which the exported
// functions tell as what it is.
inline void NeedMemory(bool taken) {
  if (!taken) throw std::bad_alloc();
}

}  // namespace brix
