// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_format.h - offsets, widths, opcodes and limits of NSIS installers. All fields are little-endian.
#pragma once

#include <cstdint>

namespace brix::nsis {

// First header, at the end of the executable image; nsis_detect.cpp looks at its signature.
inline constexpr uint32_t kHeaderLength = 20;  // bytes of the script header, as it decodes
inline constexpr uint32_t kArchiveLength =
    24;  // bytes from the first header on, a checksum at their end included
inline constexpr uint32_t kFirstHeaderBytes = 28;

// A block of data: its length and its bytes.
inline constexpr uint32_t kBlockCompressed = 0x80000000;
inline constexpr uint32_t kBlockLengthMask = 0x7FFFFFFF;
inline constexpr uint32_t kBlockLengthBytes = 4;

// Script header: flags, then the tables' offsets in it and counts. An offset has 4 bytes, or 8 in installers of 64
// bits.
inline constexpr uint32_t kTables = 4;
inline constexpr uint32_t kTableCount = 8;
inline constexpr uint32_t kEntryTable = 2;
inline constexpr uint32_t kStringTable = 3;
inline constexpr uint32_t kLanguageTable = 4;  // follows the strings
inline constexpr uint32_t kLongestHeader = 32u << 20;

// An entry: an opcode and six parameters, each of 4 bytes.
inline constexpr uint32_t kEntryBytes = 28;
inline constexpr uint32_t kOpCreateDirectory = 11;  // path, whether it becomes the output directory
inline constexpr uint32_t kOpExtractFile = 20;      // flags, name, offset of the block, time (2), a message
inline constexpr uint32_t kOpAssign = 25;           // variable, text, longest length, start
inline constexpr uint32_t kOpUninstaller = 62;  // name, offset of the block, length of patches, whole path
// In builds with other instructions it has a number in this range.
inline constexpr uint32_t kOpUninstallerLeast = 58;
inline constexpr uint32_t kOpUninstallerMost = 70;

// Variables.
inline constexpr uint32_t kVariableInstallDirectory = 21;
inline constexpr uint32_t kVariableOutputDirectory = 22;
// _OUTDIR, where a script that adds a folder's files keeps the output directory meanwhile. Until 2.25 it had another
// number, which is HWNDPARENT's now.
inline constexpr uint32_t kVariableSavedDirectory = 31;
inline constexpr uint32_t kVariableSavedDirectory2 = 29;

// A string's number with this bit is that of a string in the language tables.
inline constexpr uint32_t kLanguageString = 0x80000000;

// Patches of the uninstaller's program: size, offset in the program, bytes; a size of 0 ends them.
inline constexpr uint32_t kPatchHeaderBytes = 8;
inline constexpr uint32_t kMostPatches = 4096;
inline constexpr uint32_t kMostPatchBytes = 4u << 20;

}  // namespace brix::nsis
