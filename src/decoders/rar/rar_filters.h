// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_filters.h - filters that a 2.9 member declares over blocks of its output.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "decoders/rar/rar_transforms.h"

namespace brix::rar {

// Reads declarations and applies them when the decoder has a block. A declaration names a program, by its code when it
// is new and by its number afterwards, where its block begins and how long it is, and the program's registers. Programs
// last from member to member of a solid archive; blocks do not.
//
// Large: 352 KiB, of which only what is used is ever touched.
class Filters {
 public:
  static constexpr uint32_t kMostCode = 0xFFFF;  // bytes of a declaration

  // A filter waiting for its block.
  struct Pending {
    uint64_t start;  // counted as the decoder counts its output
    uint32_t size;
    Transform transform;
    std::array<uint32_t, 2> arguments;
  };

  // Forgets the programs, too.
  void Reset();
  void DropPending();

  // Where the decoder puts the bytes of the next declaration.
  [[nodiscard]] uint8_t* code() { return code_.data(); }

  // Takes up the declaration of `size` bytes that stands in code(). `flags`: its first byte. `position`: the output so
  // far. False, after a message on standard output where the reason is a program or a global memory that we do not
  // have: damage, too many filters, or blocks that overlap or go back. The declarations behind it can still be read.
  [[nodiscard]] bool Declare(uint32_t flags, uint32_t size, uint64_t position);

  // The first filter of the next block; null: none.
  [[nodiscard]] const Pending* next() const { return count_ == 0 ? nullptr : &pending_[first_]; }

  // Where the decoder puts the block, kFilterMemory bytes.
  [[nodiscard]] uint8_t* memory() { return memory_.data(); }

  // Applies the next filter to the block in memory(), and those over the same block behind it. `*result` holds until
  // the next call. False: damage.
  [[nodiscard]] bool Run(uint32_t file_offset, std::span<const uint8_t>* result);

 private:
  static constexpr uint32_t kMostPrograms = 1024;
  static constexpr uint32_t kMostPending = 1024;
  static constexpr uint32_t kMostOfABlock = 16;  // filters one after the other

  struct Program {
    Transform transform;
    uint32_t last_size;  // of the block declared last
  };

  [[nodiscard]] bool ReadProgram(class CodeBits& bits, uint32_t declaration_size, Transform* transform);
  [[nodiscard]] bool Queue(const Pending& filter);

  void Pop();

  std::array<Program, kMostPrograms> programs_;
  uint32_t program_count_ = 0;
  uint32_t last_program_ = 0;
  std::array<Pending, kMostPending> pending_;  // a ring, by rising start
  uint32_t first_ = 0;
  uint32_t count_ = 0;
  uint64_t last_start_ = 0;  // of the block declared last
  uint64_t last_end_ = 0;
  uint32_t filters_of_last_ = 0;
  std::array<uint8_t, kMostCode> code_;
  std::array<uint8_t, kFilterMemory> memory_;
};

}  // namespace brix::rar
