// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_format.h - offsets, names and limits of compiled help files. All fields are little-endian, except for the
// numbers of directory entries. Of 64-bit fields the low half is read.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace brix::chm {

// File header.
inline constexpr std::array<uint8_t, 8> kFileMagic = {'I', 'T', 'S', 'F', 3, 0, 0, 0};
inline constexpr uint32_t kFileDirectory = 72;    // offset of the directory header
inline constexpr uint32_t kFileContentBase = 88;  // offset of section 0, from which its offsets count

// Directory header, in front of the chunks.
inline constexpr std::array<uint8_t, 4> kDirectoryMagic = {'I', 'T', 'S', 'P'};
inline constexpr uint32_t kDirectoryChunkSize = 16;
inline constexpr uint32_t kDirectoryFirstChunk = 32;
inline constexpr uint32_t kDirectoryBytes = 84;

// Listing chunk. The quick-reference table fills its free space from behind and is not needed to walk.
inline constexpr std::array<uint8_t, 4> kChunkMagic = {'P', 'M', 'G', 'L'};
inline constexpr uint32_t kChunkFreeSpace = 4;
inline constexpr uint32_t kChunkNext = 16;
inline constexpr uint32_t kChunkEntries = 20;
inline constexpr uint32_t kNoChunk = 0xFFFFFFFF;

// Where the parts of the compressed section are found; always in section 0.
inline constexpr std::string_view kNameListName = "::DataSpace/NameList";
inline constexpr std::string_view kControlDataName = "::DataSpace/Storage/MSCompressed/ControlData";
inline constexpr std::string_view kResetTableName =
    "::DataSpace/Storage/MSCompressed/Transform/{7FC28940-9D31-11D0-9B27-00A0C91E9C7C}/InstanceData/"
    "ResetTable";
inline constexpr std::string_view kCompressedName = "::DataSpace/Storage/MSCompressed/Content";
inline constexpr std::string_view kUncompressedName = "::DataSpace/Storage/Uncompressed/Content";

// List of section names: from the first name on, each has its length in characters, the characters in UTF-16 and
// a zero.
inline constexpr uint32_t kNameListCount = 2;
inline constexpr uint32_t kNameListFirst = 4;

// Control data of the LZX section.
inline constexpr uint32_t kControlVersion = 8;
inline constexpr uint32_t kControlResetInterval = 12;
inline constexpr uint32_t kControlWindowSize = 16;
inline constexpr uint32_t kControlCacheSize = 20;
inline constexpr uint32_t kControlInBytes = 1;  // the version that counts sizes in bytes, others count frames

// Reset table: where each frame begins.
inline constexpr uint32_t kResetVersion = 0;
inline constexpr uint32_t kResetKnownVersion = 2;
inline constexpr uint32_t kResetEntryCount = 4;
inline constexpr uint32_t kResetEntrySize = 8;
inline constexpr uint32_t kResetTableStart = 12;
inline constexpr uint32_t kResetCompressedLength = 24;
inline constexpr uint32_t kResetEntryBytes = 8;

inline constexpr uint32_t kFrameBytes = 32768;
inline constexpr uint32_t kLeastWindowBits = 15;
inline constexpr uint32_t kMostWindowUnits = 64;

inline constexpr uint32_t kMostOpenEntries = 1'000'000;  // looked through for the names above

// Entries of the format's own, beside all that begin with "::".
inline constexpr std::array<std::string_view, 14> kInternalNames = {
    "/",        "/#IDXHDR", "/#ITBITS", "/#IVB",    "/#STRINGS", "/#SUBSETS",   "/#SYSTEM",
    "/#TOPICS", "/#TOCIDX", "/#URLSTR", "/#URLTBL", "/#WINDOWS", "/$FIftiMain", "/$OBJINST",
};
inline constexpr std::array<std::string_view, 3> kInternalPrefixes = {"::", "/$WWAssociativeLinks",
                                                                      "/$WWKeywordLinks"};

}  // namespace brix::chm
