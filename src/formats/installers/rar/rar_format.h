// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_format.h - blocks, offsets and flags of RAR archives of versions 1.5 to 4. All fields are little-endian.
#pragma once

#include <cstdint>

namespace brix::rar {

// Every block. Behind its header may stand data, whose size is the first field of its own.
inline constexpr uint32_t kBlockType = 2;  // behind a checksum of the header
inline constexpr uint32_t kBlockFlags = 3;
inline constexpr uint32_t kBlockHeaderBytes = 5;
inline constexpr uint32_t kBlockAddedBytes = 7;
inline constexpr uint32_t kFlagAdded = 0x8000;

enum BlockType : uint32_t {
  kFirstType = 0x72,  // the signature, which is a block
  kArchive = 0x73,
  kFile = 0x74,
  kEnd = 0x7B,
};

// Flags of the archive's block.
inline constexpr uint32_t kArchiveSolid = 0x08;
inline constexpr uint32_t kArchiveEncrypted = 0x80;

// A file's block.
inline constexpr uint32_t kFilePackedSize = kBlockAddedBytes;  // whether or not kFlagAdded is set
inline constexpr uint32_t kFileUnpackedSize = 11;
inline constexpr uint32_t kFileVersion = 24;
inline constexpr uint32_t kFileMethod = 25;
inline constexpr uint32_t kFileNameBytes = 26;
inline constexpr uint32_t kFileBytes = 32;       // the name follows,
inline constexpr uint32_t kFileLargeBytes = 40;  // or the high halves of the sizes and then the name

// Its flags.
inline constexpr uint32_t kFileSplit = 0x03;  // goes on from the volume before, or in the next
inline constexpr uint32_t kFileEncrypted = 0x04;
inline constexpr uint32_t kFileSolid = 0x10;
// All three: a directory. Otherwise a dictionary's size: 64 KiB shifted by these bits.
inline constexpr uint32_t kFileDirectory = 0xE0;
inline constexpr uint32_t kFileLarge = 0x100;
inline constexpr uint32_t kFileUnicode = 0x200;

inline constexpr uint32_t kVersion20 = 20;
inline constexpr uint32_t kVersion29 = 29;

inline constexpr uint32_t kMethodStored = '0';
inline constexpr uint32_t kMethodBest = '5';

inline constexpr uint32_t kHintSolid = 3;  // what GetMemberHint makes of a solid archive

}  // namespace brix::rar
