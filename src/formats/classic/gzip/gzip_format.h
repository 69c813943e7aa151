// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_format.h - offsets and flags of a gzip member's header.
#pragma once

#include <array>
#include <cstdint>

namespace brix::gzip {

inline constexpr std::array<uint8_t, 3> kMagic = {0x1F, 0x8B, 0x08};  // the last: Deflate
inline constexpr uint32_t kFlagsAt = 3;
inline constexpr uint32_t kExtraFlagsAt = 8;
inline constexpr uint32_t kFixedHeader = 10;  // bytes

// Each optional part stands behind the one before, in this order but the header CRC, which is last.
enum Flag : uint8_t { kHeaderCrc = 2, kExtra = 4, kName = 8, kComment = 16 };

inline constexpr uint32_t kExtraLengthBytes = 2;
inline constexpr uint32_t kHeaderCrcBytes = 2;

inline constexpr uint32_t kTrailerBytes = 8;  // CRC-32 and size of the data, after them

}  // namespace brix::gzip
