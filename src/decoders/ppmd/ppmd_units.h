// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_units.h - the one block of memory in which a PPMd model lives, and how it is shared out.
//
// The block begins with the text, the bytes seen lately, which grows upwards. Behind it are units of 12 bytes: new
// arrays of states come from the front of what is unused, new contexts from its back. What was used before lies in
// lists by size; when nothing fits, neighbours are joined, then larger pieces are cut, then units are taken from the
// end of the text's room. When all of that fails the model begins anew, so each of these steps decides what a stream
// means and is the format's.
//
// Everything is named by its offset in the block, 32 bits wide. 0 is none: the text begins there, and no one asks for
// its first byte by offset. Offsets come from the functions below alone and never from input, which only chooses
// symbols.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "core/byte_order.h"
#include "core/memory_block.h"
#include "decoders/match_copy.h"

namespace brix::ppmd {

inline constexpr uint32_t kUnit = 12;  // bytes
inline constexpr uint32_t kSizes = 38;
inline constexpr uint32_t kLargest = 128;  // units of one piece: a context's 256 states

// How many units the pieces of each size have: steps of 1, 2, 3, then 4.
inline constexpr auto kUnitsOfSize = [] {
  std::array<uint8_t, kSizes> units{};
  uint32_t count = 0;
  for (uint32_t i = 0; i < kSizes; ++i) {
    count += i < 4 ? 1 : i < 8 ? 2 : i < 12 ? 3 : 4;
    units[i] = static_cast<uint8_t>(count);
  }
  return units;
}();
static_assert(kUnitsOfSize[kSizes - 1] == kLargest);

// The smallest size that holds so many units, 1 to kLargest.
inline constexpr auto kSizeOfUnits = [] {
  std::array<uint8_t, kLargest + 1> sizes{};
  uint8_t size = 0;
  for (uint32_t units = 1; units <= kLargest; ++units) {
    if (units > kUnitsOfSize[size]) ++size;
    sizes[units] = size;
  }
  return sizes;
}();

class Units {
 public:
  // Takes a block for `bytes`, or keeps a larger one. The caller has bounded `bytes`.
  [[nodiscard]] bool Allocate(uint32_t bytes) {
    size_ = bytes;
    if (block_.size() >= bytes + kUnit) return true;
    block_.Free();  // nothing in it is wanted any more
    if (!block_.TryResize(bytes + kUnit)) return false;
    return true;
  }

  // Everything is free again.
  void Clear();

  [[nodiscard]] uint8_t* At(uint32_t offset) { return block_.data() + offset; }

  // --- The text ---

  [[nodiscard]] uint32_t text() const { return text_; }
  // False when the text's room is used up.
  [[nodiscard]] bool Append(uint8_t byte) {
    *At(text_++) = byte;
    return text_ < units_begin_;
  }
  void DropLast() { --text_; }

  // --- Units; 0 when there are none ---

  // For an array of that many units.
  [[nodiscard]] uint32_t Take(uint32_t units) {
    const uint32_t size = kSizeOfUnits[units];
    if (free_[size] != 0) return Pop(size);
    const uint32_t bytes = kUnitsOfSize[size] * kUnit;
    if (bytes <= high_ - low_) {
      low_ += bytes;
      return low_ - bytes;
    }
    return TakeFromElsewhere(size);
  }

  // One unit, for a context.
  [[nodiscard]] uint32_t TakeOne() {
    if (high_ != low_) return high_ -= kUnit;
    if (free_[0] != 0) return Pop(0);
    return TakeFromElsewhere(0);
  }

  // Moves an array to where it has one unit more, unless its piece is large enough.
  [[nodiscard]] uint32_t Grow(uint32_t array, uint32_t units) {
    const uint32_t size = kSizeOfUnits[units];
    if (size == kSizeOfUnits[units + 1]) return array;
    const uint32_t larger = Take(units + 1);
    if (larger == 0) return 0;
    std::memcpy(At(larger), At(array), size_t{units} * kUnit);
    Push(array, size);
    return larger;
  }

  // Gives back what an array of `units` no longer needs; the rest may move.
  [[nodiscard]] uint32_t Shrink(uint32_t array, uint32_t units, uint32_t fewer);

  void GiveBack(uint32_t array, uint32_t units) { Push(array, kSizeOfUnits[units]); }

 private:
  // A free piece. The first two fields are looked at while neighbours are joined and mean nothing else; in that place
  // a context has its count and an array a symbol and its frequency, neither of which is ever kFree.
  struct [[gnu::may_alias]] Piece {
    uint16_t mark;
    uint16_t units;
    uint32_t next;
  };
  static constexpr uint16_t kFree = 0xFFFF;

  [[nodiscard]] Piece* PieceAt(uint32_t offset) {
    return static_cast<Piece*>(static_cast<void*>(At(offset)));
  }

  void Push(uint32_t piece, uint32_t size) {
    PieceAt(piece)->next = free_[size];
    free_[size] = piece;
  }
  [[nodiscard]] uint32_t Pop(uint32_t size) {
    const uint32_t piece = free_[size];
    free_[size] = PieceAt(piece)->next;
    return piece;
  }
  void PushAnySize(uint32_t piece, uint32_t units);
  [[nodiscard]] uint32_t TakeFromElsewhere(uint32_t size);
  void JoinNeighbours();

  MemoryBlock block_;  // and a unit behind, which is never free
  uint32_t size_ = 0;
  uint32_t text_ = 0;         // end of the text
  uint32_t units_begin_ = 0;  // and of its room
  uint32_t low_ = 0;          // from here to high_ nothing was used yet
  uint32_t high_ = 0;
  uint32_t until_joining_ = 0;
  std::array<uint32_t, kSizes> free_{};  // first piece of each list
};

}  // namespace brix::ppmd
