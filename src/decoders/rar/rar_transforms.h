// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_transforms.h - the seven standard filters of RAR 2.9, as functions.
#pragma once

#include <cstdint>
#include <span>

namespace brix::rar {

enum class Transform : uint8_t {
  kUnknown = 0,  // a program that is not one of them
  kCalls = 1,    // E8
  kCallsAndJumps = 2,
  kItanium = 3,
  kRgb = 4,
  kAudio = 5,
  kDelta = 6,
  kUpperCase = 7,
};

inline constexpr uint32_t kFilterMemory = 0x40000;

struct TransformArguments {
  uint32_t first;        // channels, or bytes of a row and three
  uint32_t second;       // where red stands in a pixel
  uint32_t file_offset;  // of the block, in the member
};

// Undoes one filter over the first `size` bytes of `memory`, which has kFilterMemory. `*result`: the bytes, in there;
// as many, but of upper case fewer. False: more bytes than the filter has room for, or arguments that no packer gives.
[[nodiscard]] bool Apply(Transform transform, uint8_t* memory, uint32_t size,
                         const TransformArguments& arguments, std::span<uint8_t>* result);

}  // namespace brix::rar
