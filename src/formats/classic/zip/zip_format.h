// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_format.h - signatures, offsets and flags of the ZIP format. All fields are little-endian.
#pragma once

#include <array>
#include <cstdint>

namespace brix::zip {

using Signature = std::array<uint8_t, 4>;

inline constexpr Signature kEndSignature = {'P', 'K', 5, 6};
inline constexpr Signature kDirectorySignature = {'P', 'K', 1, 2};
inline constexpr Signature kLocalSignature = {'P', 'K', 3, 4};

// End of central directory, behind the directory.
inline constexpr uint32_t kEndBytes = 22;  // without the archive comment
inline constexpr uint32_t kEndDirectorySize = 12;
inline constexpr uint32_t kEndDirectoryOffset = 16;
inline constexpr uint32_t kEndCommentLength = 20;
// How far in front of the end of the file the end record may begin.
inline constexpr uint32_t kEndSearchBytes = 66000;

// One record of the central directory.
inline constexpr uint32_t kRecordBytes = 46;  // without the name, the extra fields and the comment
inline constexpr uint32_t kRecordFlags = 8;
inline constexpr uint32_t kRecordMethod = 10;
inline constexpr uint32_t kRecordCompressedSize = 20;
inline constexpr uint32_t kRecordUncompressedSize = 24;
inline constexpr uint32_t kRecordNameLength = 28;
inline constexpr uint32_t kRecordExtraLength = 30;
inline constexpr uint32_t kRecordCommentLength = 32;
inline constexpr uint32_t kRecordLocalOffset = 42;

// The header in front of a member's data.
inline constexpr uint32_t kLocalBytes = 30;  // without the name and the extra fields
inline constexpr uint32_t kLocalFlags = 6;
inline constexpr uint32_t kLocalMethod = 8;
inline constexpr uint32_t kLocalCompressedSize = 18;
inline constexpr uint32_t kLocalUncompressedSize = 22;
inline constexpr uint32_t kLocalNameLength = 26;
inline constexpr uint32_t kLocalExtraLength = 28;

// Flag bits.
inline constexpr uint32_t kFlagEncrypted = 1;
inline constexpr uint32_t kFlagLargeWindow = 2;     // imploding: 8 KiB instead of 4
inline constexpr uint32_t kFlagThreeTrees = 4;      // imploding: 3 Shannon-Fano trees instead of 2
inline constexpr uint32_t kFlagDataDescriptor = 8;  // the local sizes are not to be trusted

// A size that stands in a ZIP64 field, which is not read.
inline constexpr uint32_t kSizeElsewhere = 0xFFFFFFFF;

// What a handler calls a member's method: 0 to 9 are the format's own numbers.
enum MethodKind : uint32_t {
  kStored = 0,
  kShrunk = 1,
  kReduced1 = 2,
  kReduced2 = 3,
  kReduced3 = 4,
  kReduced4 = 5,
  kImploded = 6,
  kTokenized = 7,
  kDeflated = 8,
  kDeflated64 = 9,
  kPpmd = 10,  // known, not supported
  kOtherMethod = 11,
};

inline constexpr uint32_t kKnownMethods = 10;  // methods below are kinds of the same number
inline constexpr uint32_t kPpmdMethod = 98;

constexpr uint32_t KindOf(uint32_t method) {
  if (method < kKnownMethods) return method;
  return method == kPpmdMethod ? kPpmd : kOtherMethod;
}

}  // namespace brix::zip
