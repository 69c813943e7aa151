// tar_header.h - the fields of a tar header block, shared by the detector and the handler.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace brix::tar {

inline constexpr uint32_t kBlockBytes = 512;
using Block = std::array<uint8_t, kBlockBytes>;

inline constexpr uint32_t kSizeAt = 124;
inline constexpr uint32_t kSizeWidth = 12;
inline constexpr uint32_t kChecksumAt = 148;
inline constexpr uint32_t kChecksumWidth = 8;

// Reads an octal number: spaces may precede it, the first other character or the field's width ends it. False
// when there is no digit. A number above 32 bits comes back as UINT32_MAX: nothing that long can be
// addressed.
[[nodiscard]] bool ParseOctal(std::span<const uint8_t> field, uint32_t* value);

// Whether the stored checksum parses and equals the sum of the block's bytes, its own field taken as spaces.
[[nodiscard]] bool HasValidChecksum(const Block& block);

}  // namespace brix::tar
