// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// compound_format.h - offsets, marks and limits of compound files. All fields are little-endian.
#pragma once

#include <array>
#include <cstdint>

namespace brix::compound {

inline constexpr std::array<uint8_t, 8> kSignature = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

// The header, at the start of sector 0. The sectors behind it are numbered from 0.
inline constexpr uint32_t kHeaderBytes = 512;
inline constexpr uint32_t kSectorShift = 30;  // 2 bytes; a sector has 2^shift bytes
inline constexpr uint32_t kMiniShift = 32;    // 2 bytes
inline constexpr uint32_t kFatSectors = 44;
inline constexpr uint32_t kFirstDirectory = 48;
inline constexpr uint32_t kMiniCutoff = 56;  // streams shorter than this many bytes lie in the mini stream
inline constexpr uint32_t kFirstMiniFat = 60;
inline constexpr uint32_t kMiniFatSectors = 64;
inline constexpr uint32_t kFirstDifat = 68;
inline constexpr uint32_t kDifatSectors = 72;
inline constexpr uint32_t kHeaderDifat = 76;  // the first numbers of FAT sectors
inline constexpr uint32_t kHeaderDifatEntries = 109;

// Limits on the fields above.
// Kept: sectors that are smaller than a directory entry are refused.
inline constexpr uint32_t kLeastSectorShift = 7;
inline constexpr uint32_t kMostShift = 16;
inline constexpr uint32_t kMostFatSectors = 32768;  // also of the mini FAT
inline constexpr uint32_t kMostDifatSectors = 256;

// Sector numbers from here on are marks: sector of the DIFAT, of the FAT, end of a chain, free.
inline constexpr uint32_t kFirstMark = 0xFFFFFFFC;
inline constexpr uint32_t kEndOfChain = 0xFFFFFFFE;

// A directory entry.
inline constexpr uint32_t kEntryBytes = 128;
inline constexpr uint32_t kEntryNameLength = 64;  // 2 bytes; counts bytes, with the terminating zero unit
inline constexpr uint32_t kEntryType = 66;
inline constexpr uint32_t kEntryLeft = 68;
inline constexpr uint32_t kEntryRight = 72;
inline constexpr uint32_t kEntryChild = 76;
inline constexpr uint32_t kEntryStart = 116;
inline constexpr uint32_t kEntrySize = 120;

inline constexpr uint32_t kNameUnits = 32;
inline constexpr uint32_t kMostNameBytes = 2 * kNameUnits;
inline constexpr uint32_t kNoEntry = 0xFFFFFFFF;
inline constexpr uint32_t kRootEntry = 0;

enum EntryType : uint8_t { kStorage = 1, kStream = 2, kRoot = 5 };

}  // namespace brix::compound
