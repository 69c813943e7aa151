// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_symbols.cpp - reads a block's tables and symbols.
//
// A symbol is a place in a list of bytes, from which its byte moves to the front; places of the front itself come as
// runs, whose lengths are numbers of the digits 1 and 2, lowest first. Each 50 symbols choose one of up to six tables.
// The front eight bytes of the list are in a register, where most places are found.
//
// Kept: more selectors than the largest block can use are read over, and sets of code lengths that are incomplete are
// allowed, as other readers do.
//
// Bounds: a column grows to the size of a block and no further; a run's length is compared before it is written. Every
// loop takes bits from the input, whose end is asked for at each change of table.
#include "decoders/bzip2/bzip2_symbols.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "core/refuse.h"
#include "decoders/huffman_table.h"

namespace brix::bzip2 {

namespace {

constexpr uint32_t kRootBits = 10;
constexpr uint32_t kGroup = 50;  // symbols by one table
constexpr uint32_t kLongestCode = 20;
constexpr uint32_t kMostRunDigits = 20;  // enough for the largest block
constexpr uint32_t kFirstColumn = 1u << 16;

static_assert(kLongestCode <= kMaxCodeBits);

// The list of bytes, latest first.
class MoveToFront {
 public:
  explicit MoveToFront(const std::array<uint8_t, 256>& bytes)
      : front_(LoadLe64(bytes.data())), bytes_(bytes) {}

  [[nodiscard]] uint8_t first() const { return static_cast<uint8_t>(front_); }

  // The byte at `place`, which comes to the front.
  uint8_t Take(uint32_t place) {
    if (place < 8) [[likely]] {
      const uint32_t shift = place * 8;
      const uint8_t byte = static_cast<uint8_t>(front_ >> shift);
      const uint64_t moved = (uint64_t{2} << (shift + 7)) - 1;  // the bytes up to the place
      front_ = (front_ & ~moved) | ((front_ << 8 | byte) & moved);
      return byte;
    }
    const uint8_t byte = bytes_[place];
    std::memmove(&bytes_[9], &bytes_[8], place - 8);
    bytes_[8] = static_cast<uint8_t>(front_ >> 56);
    front_ = front_ << 8 | byte;
    return byte;
  }

 private:
  uint64_t front_;                  // the first eight, the first of all lowest
  std::array<uint8_t, 256> bytes_;  // the others, at their places
};

}  // namespace

bool SymbolReader::Allocate() {
  if (memory_ == nullptr) memory_.reset(new (std::nothrow) Memory);
  return memory_ != nullptr;
}

bool SymbolReader::Read(MsbBits& in, uint32_t most_bytes, Column* column) {
  return ReadBytesInUse(in) && ReadSelectors(in) && ReadTables(in) && ReadColumn(in, most_bytes, column);
}

// A bit for each 16 bytes, then for each of these with a 1 a bit for each byte.
bool SymbolReader::ReadBytesInUse(MsbBits& in) {
  const uint32_t groups = in.Read(16);
  uint32_t count = 0;
  for (uint32_t group = 0; group < 16; ++group) {
    if ((groups >> (15 - group) & 1) == 0) continue;
    const uint32_t bytes = in.Read(16);
    for (uint32_t i = 0; i < 16; ++i) {
      if ((bytes >> (15 - i) & 1) != 0) in_use_[count++] = static_cast<uint8_t>(group * 16 + i);
    }
  }
  std::fill(in_use_.begin() + count, in_use_.end(), uint8_t{0});
  symbols_ = count + 2;
  return count != 0 || Refuse("bzip2: no bytes in use");
}

// Each selector is a place in a list of the tables, in unary.
bool SymbolReader::ReadSelectors(MsbBits& in) {
  tables_ = in.Read(3);
  if (tables_ < 2 || tables_ > kTables) return Refuse("bzip2: number of tables out of range");
  const uint32_t count = in.Read(15);
  selectors_ = std::min(count, kMostSelectors);
  if (count == 0) return Refuse("bzip2: no selectors");
  std::array<uint8_t, kTables> list = {0, 1, 2, 3, 4, 5};
  for (uint32_t i = 0; i < count; ++i) {
    in.Fill();
    const auto place = static_cast<uint32_t>(std::countl_one(in.bits));
    if (place >= tables_) return Refuse("bzip2: selector out of range");
    in.Drop(place + 1);
    const uint8_t table = list[place];
    std::copy_backward(list.begin(), list.begin() + place, list.begin() + place + 1);
    list[0] = table;
    if (i < kMostSelectors) memory_->selectors[i] = table;
  }
  return in.ok() || Refuse("bzip2: input ends inside the selectors");
}

// Code lengths, each by steps up (10) or down (11) from the one before, ended by 0. A byte's entry is a literal with its
// place, a run's the worth of its digit.
bool SymbolReader::ReadTables(MsbBits& in) {
  std::array<uint32_t, kMostSymbols> symbols;
  symbols[0] = 1u << kTableValueShift;
  symbols[1] = 2u << kTableValueShift;
  for (uint32_t s = 2; s + 1 < symbols_; ++s) symbols[s] = kTableLiteral | (s - 1) << kTableValueShift;
  symbols[symbols_ - 1] = kTableStop;
  for (uint32_t t = 0; t < tables_; ++t) {
    std::array<uint8_t, kMostSymbols> lengths;
    uint32_t length = in.Read(5);
    for (uint32_t s = 0; s < symbols_; ++s) {
      // Ends by the input, behind which all bits are 0.
      for (;;) {
        if (length < 1 || length > kLongestCode) return Refuse("bzip2: code length out of range");
        in.Fill();
        const uint32_t step = in.Peek(2);
        in.Drop(step < 2 ? 1 : 2);
        if (step < 2) break;
        length += step == 2 ? 1 : UINT32_MAX;
      }
      lengths[s] = static_cast<uint8_t>(length);
    }
    if (!in.ok()) return Refuse("bzip2: input ends inside the code lengths");
    HuffmanTable table{memory_->tables[t], kRootBits, kRootBits, true};
    if (!BuildHuffmanTable({lengths.data(), symbols_}, symbols, BitOrder::kMsbFirst, &table)) {
      return Refuse("bzip2: over-subscribed code");
    }
  }
  return true;
}

bool SymbolReader::ReadColumn(MsbBits& in, uint32_t most_bytes, Column* column) {
  MsbBits bits = in;
  MoveToFront list(in_use_);
  column->counts.fill(0);
  uint32_t size = 0;
  uint32_t run = 0;
  uint32_t run_digits = 0;
  for (uint32_t group = 0; group < selectors_; ++group) {
    if (!column->bytes.TryGrow(size + kGroup + Column::kSlack, kFirstColumn)) return false;
    uint8_t* out = column->bytes.data();
    const uint32_t* const table = memory_->tables[memory_->selectors[group]].data();
    for (uint32_t i = 0; i < kGroup; ++i) {
      bits.Fill();
      uint32_t entry = table[bits.Peek(kRootBits)];
      if ((entry & kTableSubtable) != 0) [[unlikely]] {
        if ((entry & kTableStop) != 0) return Refuse("bzip2: no such code");
        bits.Drop(kRootBits);
        entry = table[(entry >> kTableValueShift) + bits.Peek(entry >> 8 & 15)];
        if ((entry & kTableSubtable) != 0) return Refuse("bzip2: no such code");
      }
      bits.Drop(entry & 0xFF);
      if ((entry & (kTableLiteral | kTableStop)) == 0) {
        if (run_digits == kMostRunDigits) return Refuse("bzip2: run longer than a block");
        run += entry >> kTableValueShift << run_digits++;
        continue;
      }
      if (run_digits != 0) {
        if (run > most_bytes - size) return Refuse("bzip2: more bytes than the block may have");
        if (!column->bytes.TryGrow(size_t{size} + run + kGroup + Column::kSlack, kFirstColumn)) return false;
        out = column->bytes.data();
        std::memset(out + size, list.first(), run);
        column->counts[list.first()] += run;
        size += run;
        run = run_digits = 0;
      }
      if ((entry & kTableStop) != 0) {
        in = bits;
        column->size = size;
        return in.ok() || Refuse("bzip2: input ends inside a block");
      }
      if (size == most_bytes) return Refuse("bzip2: more bytes than the block may have");
      const uint8_t byte = list.Take(entry >> kTableValueShift & 0xFF);
      out[size++] = byte;
      ++column->counts[byte];
    }
    if (!bits.ok()) return Refuse("bzip2: input ends inside a block");
  }
  return Refuse("bzip2: no end of the block");
}

}  // namespace brix::bzip2
