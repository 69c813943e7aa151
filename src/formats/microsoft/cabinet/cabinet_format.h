// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_format.h - offsets, widths, flags and limits of Microsoft cabinet files; little-endian.
//
// A header, the folder entries, the file entries, and the data blocks of each folder. All stored offsets count from
// the header.
#pragma once

#include <cstdint>

namespace brix::cabinet {

// The header.
inline constexpr uint32_t kCabinetSizeAt = 8;
inline constexpr uint32_t kFirstFileAt = 16;
inline constexpr uint32_t kFolderCountAt = 26;
inline constexpr uint32_t kFileCountAt = 28;
inline constexpr uint32_t kFlagsAt = 30;
inline constexpr uint32_t kHeaderBytes = 36;

inline constexpr uint32_t kMaxCabinetSize = 0x40000000;
inline constexpr uint32_t kSpareFolders = 10;  // folders that may be more than files

inline constexpr uint32_t kFlagPrevious = 1;  // names of the previous cabinet and its disk follow
inline constexpr uint32_t kFlagNext = 2;      // then those of the next
// Before either: the sizes of the reserved areas, and the header's area.
inline constexpr uint32_t kFlagReserve = 4;

// The reserve sizes, right behind the header.
inline constexpr uint32_t kReserveInHeaderAt = 36;
inline constexpr uint32_t kReserveInFolderAt = 38;
inline constexpr uint32_t kReserveInBlockAt = 39;
inline constexpr uint32_t kReserveBytes = 4;

// A signed cabinet's area in the header tells where the signature is: after the cabinet.
inline constexpr uint32_t kSignatureReserve = 20;  // bytes of the area
inline constexpr uint32_t kSignatureAt = 44;
inline constexpr uint32_t kSignatureBytesAt = 48;

inline constexpr uint32_t kTextBytes = 255;  // of a cabinet's or disk's name, terminator included

// A folder entry.
inline constexpr uint32_t kFolderFirstBlockAt = 0;
inline constexpr uint32_t kFolderBlockCountAt = 4;
inline constexpr uint32_t kFolderTypeAt = 6;
inline constexpr uint32_t kFolderBytes = 8;  // and the reserve

inline constexpr uint32_t kMethodMask = 15;
inline constexpr uint32_t kWindowBitsShift = 8;
inline constexpr uint32_t kMaxWindowBits = 21;

enum Method : uint32_t { kStored = 0, kMsZip = 1, kQuantum = 2, kLzx = 3 };

// A file entry; the name stands behind it, zero-terminated.
inline constexpr uint32_t kFileSizeAt = 0;
inline constexpr uint32_t kFileOffsetAt = 4;
inline constexpr uint32_t kFileFolderAt = 8;
inline constexpr uint32_t kFileAttributesAt = 14;
inline constexpr uint32_t kFileBytes = 16;

inline constexpr uint32_t kFromPrevious = 0xFFFD;  // folder numbers of files that are continued
inline constexpr uint32_t kToNext = 0xFFFE;
inline constexpr uint32_t kThroughBoth = 0xFFFF;

inline constexpr uint32_t kNameIsUtf8 = 0x80;  // attribute
inline constexpr uint32_t kHintUtf8 = 1;       // what GetMemberHint makes of it
inline constexpr uint32_t kHintAnsi = 4;

// A data block. Its checksum is not read.
inline constexpr uint32_t kBlockPackedAt = 4;
inline constexpr uint32_t kBlockPlainAt = 6;
inline constexpr uint32_t kBlockBytes = 8;  // and the reserve

inline constexpr uint32_t kMaxPacked = 38912;
inline constexpr uint32_t kMaxPlain = 32768;
inline constexpr uint32_t kMsZipMarkBytes = 2;  // "CK"

}  // namespace brix::cabinet
