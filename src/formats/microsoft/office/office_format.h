// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// office_format.h - names, types and limits of Office documents in compound files.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace brix::office {

inline constexpr uint32_t kWord = 17;
inline constexpr uint32_t kExcel = 18;
inline constexpr uint32_t kPowerPoint = 19;
inline constexpr uint32_t kPackage = 20;

// The stream of a presentation's records, and the one that holds an embedded file.
inline constexpr std::u16string_view kPresentationStream = u"PowerPoint Document";
inline constexpr std::u16string_view kPackageStream = u"\x01Ole10Native";
// The storage that holds a Word document's embedded objects.
inline constexpr std::u16string_view kObjectPool = u"ObjectPool";

// What tells the types apart: the first of these streams that the root holds.
struct TypeStream {
  uint32_t type_id;
  std::u16string_view name;
};
inline constexpr std::array<TypeStream, 4> kTypeStreams = {{
    {kWord, u"WordDocument"},
    {kExcel, u"Workbook"},
    {kPowerPoint, kPresentationStream},
    {kPackage, kPackageStream},
}};

inline constexpr std::string_view kUnknownPackage = "Unknown";  // Kept: not "unknown", as elsewhere

// The start of a package stream: what its layout is told by.
inline constexpr uint32_t kPackageHead = 8;  // bytes
inline constexpr uint32_t kLeadingSize = 0;
inline constexpr uint32_t kPackageKind = 4;  // 2 bytes
inline constexpr uint16_t kPackagedFile = 2;
inline constexpr uint32_t kLabel = 6;
inline constexpr uint32_t kMostTextBytes = 512;   // of a label or a path, with its terminating zero
inline constexpr uint32_t kBetweenPaths = 8;      // bytes between the source path and the temporary path
inline constexpr uint32_t kRawMark = 0xFFFFFFFF;  // in place of the leading size
inline constexpr uint32_t kRawHeaderBytes = 40;

// A record of a presentation: version (4 bits) and instance (12), type (2 bytes), length of what follows (4).
inline constexpr uint32_t kRecordHeaderBytes = 8;
inline constexpr uint32_t kRecordVersion = 0;
inline constexpr uint32_t kRecordType = 2;
inline constexpr uint32_t kRecordLength = 4;
inline constexpr uint16_t kVersionMask = 15;
inline constexpr uint16_t kContainer = 15;  // version of a record that holds records
inline constexpr uint16_t kObjectStorage = 4113;

// What an object storage's record holds: a compound file, or its size (4), the two bytes of a zlib header and
// Deflate data.
inline constexpr uint32_t kObjectPrefix = 6;
inline constexpr uint32_t kObjectSizeLimit = 0x1400000;  // bytes; of the compressed ones

}  // namespace brix::office
