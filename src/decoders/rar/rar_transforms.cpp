// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_transforms.cpp - undoes the seven standard filters.
//
// In the format these are programs for a machine with 256 KiB of memory; we never run one. Three of them work in place,
// on addresses in machine code; the others write their output behind their input, so that a block of theirs has at most
// half of the memory.
//
// A filter of no channels, and one over less than a pixel of a picture, have nothing to do and leave the bytes as they
// are.
//
// Bounds: the size is checked against the memory, counts of channels against kMostChannelsOfAFilter. Each byte is
// visited once, those of a picture twice.
#include "decoders/rar/rar_transforms.h"

#include <array>
#include <cstdlib>
#include <cstring>

#include "core/byte_order.h"
#include "core/refuse.h"
#include "decoders/rar/rar_audio.h"

namespace brix::rar {

namespace {

constexpr uint32_t kMostChannelsOfAFilter = 1024;
constexpr uint32_t kPixel = 3;  // bytes

// Addresses were made absolute in a space of 16 MiB.
void UndoCalls(std::span<uint8_t> bytes, uint8_t other_opcode, uint32_t file_offset) {
  constexpr uint32_t kSpace = 1u << 24;
  constexpr uint32_t kOperand = 4;
  for (size_t i = 0; i + kOperand < bytes.size(); ++i) {
    if (bytes[i] != 0xE8 && bytes[i] != other_opcode) continue;
    uint8_t* const operand = &bytes[i + 1];
    const uint32_t here = file_offset + static_cast<uint32_t>(i) + 1;  // wraps
    uint32_t address = LoadLe32(operand);
    const bool negative = (address >> 31) != 0;
    if (negative && ((address + here) >> 31) == 0) {
      address += kSpace;
    } else if (!negative && address < kSpace) {
      address -= here;
    }
    std::memcpy(operand, &address, kOperand);
    i += kOperand;
  }
}

// Bundles of 16 bytes hold three instructions of 41 bits behind a template of five.
void UndoItanium(std::span<uint8_t> bytes, uint32_t file_offset) {
  constexpr uint32_t kBundle = 16;
  // By template, from 0x10 on: a bit for each instruction that may be a branch.
  constexpr std::array<uint8_t, 16> kBranches = {4, 4, 6, 6, 0, 0, 7, 7, 4, 4, 0, 0, 4, 4, 0, 0};
  constexpr uint32_t kOpcodeBit = 37;  // of an instruction, as is the next
  constexpr uint32_t kAddressBit = 13;
  constexpr uint32_t kAddressMask = 0xFFFFF;
  constexpr uint32_t kBranchOpcode = 5;
  uint32_t bundle = file_offset / kBundle;
  for (size_t i = 0; i + 21 < bytes.size(); i += kBundle, ++bundle) {
    const uint32_t kind = bytes[i] & 0x1Fu;
    if (kind < 0x10) continue;
    for (uint32_t slot = 0; slot < 3; ++slot) {
      if ((kBranches[kind - 0x10] >> slot & 1) == 0) continue;
      const uint32_t first_bit = slot * 41 + 5;
      const auto word_at = [&](uint32_t bit) { return &bytes[i + (first_bit + bit) / 8]; };
      const auto shift_of = [&](uint32_t bit) { return (first_bit + bit) % 8; };
      if ((LoadLe32(word_at(kOpcodeBit)) >> shift_of(kOpcodeBit) & 15) != kBranchOpcode) continue;
      uint8_t* const word = word_at(kAddressBit);
      const uint32_t shift = shift_of(kAddressBit);
      uint32_t value = LoadLe32(word);
      const uint32_t address = ((value >> shift) - bundle) & kAddressMask;
      value = (value & ~(kAddressMask << shift)) | address << shift;
      std::memcpy(word, &value, sizeof value);
    }
  }
}

// Each channel's differences stand together.
void UndoDelta(const uint8_t* from, std::span<uint8_t> to, uint32_t channels) {
  for (uint32_t channel = 0; channel < channels; ++channel) {
    uint8_t byte = 0;
    for (size_t i = channel; i < to.size(); i += channels)
      to[i] = byte = static_cast<uint8_t>(byte - *from++);
  }
}

void UndoAudio(const uint8_t* from, std::span<uint8_t> to, uint32_t channels) {
  for (uint32_t channel = 0; channel < channels; ++channel) {
    AudioChannel<3> predictor;
    int32_t unused = 0;
    uint32_t count = 0;
    for (size_t i = channel; i < to.size(); i += channels) {
      to[i] = predictor.Decode(*from++, &unused);
      if (count++ % 32 == 0) predictor.Adapt();
    }
  }
}

// Rows of three-byte pixels, each byte predicted from those to its left, above it and to the left of that, whichever
// comes closest to their plane; and green taken out of the other two.
void UndoRgb(const uint8_t* from, std::span<uint8_t> to, uint32_t row, uint32_t red) {
  std::memset(to.data(), 0, to.size());  // a row of any length may refer to what was not yet written
  for (uint32_t channel = 0; channel < kPixel; ++channel) {
    uint8_t left = 0;
    for (size_t i = channel; i < to.size(); i += kPixel) {
      int32_t predicted = left;
      if (i >= row + kPixel) {
        const int32_t above = to[i - row];
        const int32_t above_left = to[i - row - kPixel];
        const int32_t off_left = std::abs(above - above_left);
        const int32_t off_above = std::abs(left - above_left);
        const int32_t off_above_left = std::abs(left + above - 2 * above_left);
        if (off_left > off_above || off_left > off_above_left) {
          predicted = off_above <= off_above_left ? above : above_left;
        }
      }
      to[i] = left = static_cast<uint8_t>(predicted - *from++);
    }
  }
  for (size_t i = red; i + 2 < to.size(); i += kPixel) {
    const uint8_t green = to[i + 1];
    to[i] = static_cast<uint8_t>(to[i] + green);
    to[i + 2] = static_cast<uint8_t>(to[i + 2] + green);
  }
}

// An escape byte marks a letter whose case was changed, or itself. Its result has `to`'s size at the most.
uint32_t UndoUpperCase(std::span<const uint8_t> from, uint8_t* to) {
  constexpr uint8_t kEscape = 2;
  uint32_t size = 0;
  for (size_t i = 0; i < from.size(); ++i) {
    uint8_t byte = from[i];
    if (byte == kEscape && i + 1 < from.size()) {
      byte = from[++i];
      if (byte != kEscape) byte = static_cast<uint8_t>(byte - 32);
    }
    to[size++] = byte;
  }
  return size;
}

}  // namespace

bool Apply(Transform transform, uint8_t* memory, uint32_t size, const TransformArguments& arguments,
           std::span<uint8_t>* result) {
  if (size > kFilterMemory) return Refuse("rar: filter block too long");
  *result = {memory, size};
  switch (transform) {
    case Transform::kCalls:
      UndoCalls(*result, 0xE8, arguments.file_offset);
      return true;
    case Transform::kCallsAndJumps:
      UndoCalls(*result, 0xE9, arguments.file_offset);
      return true;
    case Transform::kItanium:
      UndoItanium(*result, arguments.file_offset);
      return true;
    default:
      break;
  }
  if (size > kFilterMemory / 2) return Refuse("rar: filter block too long");
  *result = {memory + size, size};
  const uint32_t channels = arguments.first;
  const bool of_channels = transform == Transform::kDelta || transform == Transform::kAudio;
  if ((of_channels && channels == 0) || (transform == Transform::kRgb && size < kPixel)) {
    *result = {memory, size};  // nothing to do
    return true;
  }
  if (of_channels && channels > kMostChannelsOfAFilter) return Refuse("rar: channels of a filter");
  switch (transform) {
    case Transform::kDelta:
      UndoDelta(memory, *result, channels);
      return true;
    case Transform::kAudio:
      UndoAudio(memory, *result, channels);
      return true;
    case Transform::kRgb: {
      const uint32_t row = arguments.first - 3;  // wraps, and is too long then
      if (row > size || arguments.second > 2) return Refuse("rar: layout of a picture filter");
      UndoRgb(memory, *result, row, arguments.second);
      return true;
    }
    default:
      *result = result->first(UndoUpperCase({memory, size}, memory + size));
      return true;
  }
}

}  // namespace brix::rar
