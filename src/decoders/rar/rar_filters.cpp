// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_filters.cpp - declarations of filters, their order, and the blocks they are applied to.
//
// No filter's program is run: only the standard ones are taken, told by the length and CRC-32 of their code, and done
// by rar_transforms.cpp. Their registers 0 and 1 are all that these look at; register 4 is the block's size, which a
// declaration may set again but not to anything else, and register 6 is set by us.
//
// Bounds: declarations have at most 65,535 bytes and are read with a bound on each bit. There are at most 1,024
// programs, 1,024 filters waiting and 16 over one block. Blocks stand in rising order and do not overlap, but for
// filters over the very same block, of which each takes what the one before gave; so a byte of output is filtered at
// most 16 times.
#include "decoders/rar/rar_filters.h"

#include <cstdio>
#include <cstring>

#include "core/crc32.h"
#include "core/refuse.h"

namespace brix::rar {

namespace {

enum Flag : uint32_t {
  kHasGlobals = 0x08,
  kHasRegisters = 0x10,
  kHasSize = 0x20,
  kStartsFar = 0x40,
  kHasProgram = 0x80,
};

constexpr uint32_t kFarStart = 258;
constexpr uint32_t kRegisters = 7;
constexpr uint32_t kSizeRegister = 4;

constexpr struct {
  uint32_t size;
  uint32_t crc;
  Transform transform;
} kStandard[] = {
    {53, 0xAD576887, Transform::kCalls},     {57, 0x3CD7E57E, Transform::kCallsAndJumps},
    {120, 0x3769893F, Transform::kItanium},  {29, 0x0E06077D, Transform::kDelta},
    {149, 0x1C2C5DC8, Transform::kRgb},      {216, 0xBC85E701, Transform::kAudio},
    {40, 0x46B9C560, Transform::kUpperCase},
};

}  // namespace

// The bits of a declaration; zeros, and ok() false, behind its end.
class CodeBits {
 public:
  explicit CodeBits(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool ok() const { return at_ <= bytes_.size() * 8; }

  [[nodiscard]] uint32_t Read(uint32_t n) {  // 1 to 32
    uint64_t word = 0;
    for (size_t i = at_ / 8; i < at_ / 8 + 5; ++i) word = word << 8 | (i < bytes_.size() ? bytes_[i] : 0u);
    const auto value = static_cast<uint32_t>((word << (24 + at_ % 8)) >> (64 - n));
    at_ += n;
    return value;
  }

  // A number: two bits tell its width; the smallest negative ones are given by their low byte.
  [[nodiscard]] uint32_t Number() {
    switch (Read(2)) {
      case 0:
        return Read(4);
      case 1: {
        const uint32_t high = Read(4);
        if (high == 0) return 0xFFFFFF00 | Read(8);
        return high << 4 | Read(4);
      }
      case 2:
        return Read(16);
      default:
        return Read(32);
    }
  }

 private:
  std::span<const uint8_t> bytes_;
  size_t at_ = 0;  // in bits; past the end by at most a program's length, after which its reader stops
};

void Filters::Reset() {
  program_count_ = last_program_ = 0;
  DropPending();
}

void Filters::DropPending() {
  count_ = 0;
  last_start_ = last_end_ = 0;
  filters_of_last_ = 0;
}

bool Filters::Declare(uint32_t flags, uint32_t size, uint64_t position) {
  CodeBits bits({code_.data(), size});
  if ((flags & kHasProgram) != 0) {
    const uint32_t number = bits.Number();  // from 1 on
    if (number == 0) Reset();
    last_program_ = number == 0 ? 0 : number - 1;
  }
  if (last_program_ > program_count_ || last_program_ >= kMostPrograms) return Refuse("rar: filter number");
  Program& program = programs_[last_program_];
  const bool is_new = last_program_ == program_count_;
  if (is_new) program = {};

  Pending filter{};
  const uint32_t start = bits.Number();
  filter.start = position + start + ((flags & kStartsFar) != 0 ? kFarStart : 0);
  filter.size = (flags & kHasSize) != 0 ? bits.Number() : program.last_size;
  program.last_size = filter.size;
  std::array<uint32_t, kRegisters> registers{};
  registers[kSizeRegister] = filter.size;
  if ((flags & kHasRegisters) != 0) {
    const uint32_t mask = bits.Read(kRegisters);
    for (uint32_t i = 0; i < kRegisters; ++i) {
      if ((mask >> i & 1) != 0) registers[i] = bits.Number();
    }
  }
  if (is_new) {
    ++program_count_;
    if (!ReadProgram(bits, size, &program.transform)) return false;
  }
  if (!bits.ok()) return Refuse("rar: filter declaration is cut");
  if ((flags & kHasGlobals) != 0) {
    std::fputs("error: don't support initialising extended global memory yet\n", stdout);
    return Refuse("rar: filter with global memory");
  }
  if (program.transform == Transform::kUnknown) return Refuse("rar: custom filter");
  if (registers[kSizeRegister] != filter.size) return Refuse("rar: filter of another size than its block");
  filter.transform = program.transform;
  filter.arguments = {registers[0], registers[1]};
  return Queue(filter);
}

bool Filters::ReadProgram(CodeBits& bits, uint32_t declaration_size, Transform* transform) {
  const uint32_t size = bits.Number();
  if (!bits.ok() || size == 0 || size > declaration_size) return Refuse("rar: filter code is cut");
  // It stands between bytes. The block's memory is not in use now.
  for (uint32_t i = 0; i < size; ++i) memory_[i] = static_cast<uint8_t>(bits.Read(8));
  if (!bits.ok()) return Refuse("rar: filter code is cut");
  const uint32_t crc = Crc32({memory_.data(), size});
  for (const auto& standard : kStandard) {
    if (standard.size == size && standard.crc == crc) *transform = standard.transform;
  }
  if (*transform == Transform::kUnknown) {
    std::printf("error: custom filter (%d %x) not yet supported\n", static_cast<int>(size), crc);
  }
  return true;
}

bool Filters::Queue(const Pending& filter) {
  if (filter.size > kFilterMemory) return Refuse("rar: filter block too long");
  if (filter.size == 0) return true;  // nothing to do
  if (filter.start != last_start_ || count_ == 0) {
    if (filter.start < last_end_) return Refuse("rar: filter blocks overlap or go back");
    last_start_ = filter.start;
    last_end_ = filter.start + filter.size;
    filters_of_last_ = 0;
  }
  if (++filters_of_last_ > kMostOfABlock || count_ == kMostPending) return Refuse("rar: too many filters");
  pending_[(first_ + count_++) % kMostPending] = filter;
  return true;
}

void Filters::Pop() {
  first_ = (first_ + 1) % kMostPending;
  --count_;
}

bool Filters::Run(uint32_t file_offset, std::span<const uint8_t>* result) {
  const uint64_t start = pending_[first_].start;
  std::span<uint8_t> block(memory_.data(), pending_[first_].size);
  // Ends by the count of filters, at most kMostOfABlock of one start.
  for (; count_ != 0 && pending_[first_].start == start; Pop()) {
    const Pending& filter = pending_[first_];
    if (filter.size != block.size()) return Refuse("rar: filter blocks overlap");
    if (block.data() != memory_.data()) std::memmove(memory_.data(), block.data(), block.size());
    if (!Apply(filter.transform, memory_.data(), filter.size,
               {filter.arguments[0], filter.arguments[1], file_offset}, &block)) {
      return false;
    }
  }
  *result = block;
  return true;
}

}  // namespace brix::rar
