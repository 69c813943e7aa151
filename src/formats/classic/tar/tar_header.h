// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_header.h - the fields of a tar header block, shared by the detector and the handler.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace brix::tar {

inline constexpr uint32_t kBlockBytes = 512;
using Block = std::array<uint8_t, kBlockBytes>;

inline constexpr uint32_t kNameWidth = 100;  // at the start of the block
inline constexpr uint32_t kSizeAt = 124;
inline constexpr uint32_t kSizeWidth = 12;
inline constexpr uint32_t kChecksumAt = 148;
inline constexpr uint32_t kChecksumWidth = 8;
inline constexpr uint32_t kTypeAt = 156;

// A sparse member's header holds the start of its map, and the file's full length.
inline constexpr uint32_t kSparseMapAt = 386;
inline constexpr uint32_t kSparseMapEntries = 4;
inline constexpr uint32_t kSparseExtendedAt = 482;  // not zero: an extension block follows
inline constexpr uint32_t kRealSizeAt = 483;

// An extension block holds more of the map, from its start on.
inline constexpr uint32_t kExtensionEntries = 21;
inline constexpr uint32_t kExtensionExtendedAt = 504;

// A map entry: offset and length.
inline constexpr uint32_t kEntryFieldWidth = 12;
inline constexpr uint32_t kEntryBytes = 2 * kEntryFieldWidth;

enum Type : uint8_t { kOldFile = 0, kFile = '0', kSparse = 'S', kNoType = 255 };

struct Header {
  uint32_t size = 0;  // bytes stored in the archive
  uint8_t type = kNoType;
};

// Reads an octal number: spaces may precede it, the first other character or the field's width ends it. False
// when there is no digit. A number above 32 bits comes back as UINT32_MAX: nothing that long can be
// addressed.
[[nodiscard]] bool ParseOctal(std::span<const uint8_t> field, uint32_t* value);

// The number in the field of kSizeWidth bytes at `at`.
[[nodiscard]] inline bool ParseSize(const Block& block, uint32_t at, uint32_t* value) {
  return ParseOctal(std::span(block).subspan(at, kSizeWidth), value);
}

// What makes a block a header: its checksum, and a size that is a number. The detector asks no more.
[[nodiscard]] bool ParseHeader(const Block& block, Header* header);

// The stored name, which need not be terminated; what stands behind a zero byte is not the name.
[[nodiscard]] inline std::string_view StoredName(const Block& block) {
  return {reinterpret_cast<const char*>(block.data()), kNameWidth};
}

[[nodiscard]] bool IsZero(const Block& block);

}  // namespace brix::tar
