// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/ppmd/ppmd_units.h"

namespace brix::ppmd {

namespace {

// So many times a piece is looked for in vain before neighbours are joined again.
constexpr uint32_t kRounds = 255;

}  // namespace

void Units::Clear() {
  free_.fill(0);
  until_joining_ = 0;
  text_ = 0;
  high_ = size_;
  units_begin_ = low_ = size_ - size_ / 8 / kUnit * 7 * kUnit;
  PieceAt(size_)->mark = 0;
}

uint32_t Units::Shrink(uint32_t array, uint32_t units, uint32_t fewer) {
  const uint32_t size = kSizeOfUnits[units];
  const uint32_t smaller = kSizeOfUnits[fewer];
  if (size == smaller) return array;
  if (free_[smaller] != 0) {
    const uint32_t moved = Pop(smaller);
    std::memcpy(At(moved), At(array), size_t{fewer} * kUnit);
    Push(array, size);
    return moved;
  }
  PushAnySize(array + kUnitsOfSize[smaller] * kUnit, uint32_t{kUnitsOfSize[size]} - kUnitsOfSize[smaller]);
  return array;
}

// Up to kLargest units, as one piece or as two.
void Units::PushAnySize(uint32_t piece, uint32_t units) {
  uint32_t size = kSizeOfUnits[units];
  if (kUnitsOfSize[size] != units) {
    const uint32_t front = kUnitsOfSize[--size];
    Push(piece + front * kUnit, kSizeOfUnits[units - front]);
  }
  Push(piece, size);
}

uint32_t Units::TakeFromElsewhere(uint32_t size) {
  if (until_joining_ == 0) {
    until_joining_ = kRounds;
    JoinNeighbours();
    if (free_[size] != 0) return Pop(size);
  }
  for (uint32_t larger = size + 1; larger < kSizes; ++larger) {
    if (free_[larger] == 0) continue;
    const uint32_t piece = Pop(larger);
    PushAnySize(piece + kUnitsOfSize[size] * kUnit, uint32_t{kUnitsOfSize[larger]} - kUnitsOfSize[size]);
    return piece;
  }
  --until_joining_;
  const uint32_t bytes = kUnitsOfSize[size] * kUnit;
  if (units_begin_ - text_ <= bytes) return 0;
  return units_begin_ -= bytes;
}

// Puts all free pieces on one list, the last that is found in front, and makes each as long as the free ones behind it
// allow; then cuts them again. Each loop ends with the lists, whose pieces lie apart.
void Units::JoinNeighbours() {
  if (low_ != high_) PieceAt(low_)->mark = 0;
  uint32_t all = 0;
  for (uint32_t size = 0; size < kSizes; ++size) {
    while (free_[size] != 0) {
      const uint32_t piece = Pop(size);
      *PieceAt(piece) = {kFree, kUnitsOfSize[size], all};
      all = piece;
    }
  }
  for (uint32_t at = all; at != 0; at = PieceAt(at)->next) {
    Piece& piece = *PieceAt(at);
    if (piece.units == 0) continue;  // has gone into another
    for (;;) {
      Piece& behind = *PieceAt(at + piece.units * kUnit);
      if (behind.mark != kFree || uint32_t{piece.units} + behind.units > 0xFFFF) break;
      piece.units = static_cast<uint16_t>(piece.units + behind.units);
      behind.mark = behind.units = 0;
    }
  }
  // Those that have gone into others leave the list before anything is written into the others.
  uint32_t* link = &all;
  while (*link != 0) {
    Piece& piece = *PieceAt(*link);
    if (piece.units == 0) {
      *link = piece.next;
    } else {
      link = &piece.next;
    }
  }
  while (all != 0) {
    uint32_t at = all;
    uint32_t units = PieceAt(at)->units;
    all = PieceAt(at)->next;
    for (; units > kLargest; units -= kLargest, at += kLargest * kUnit) Push(at, kSizes - 1);
    PushAnySize(at, units);
  }
}

}  // namespace brix::ppmd
