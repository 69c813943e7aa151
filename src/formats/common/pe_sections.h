// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// pe_sections.h - as much of a Windows executable as tells where its sections' raw data lie.
#pragma once

#include <cstdint>

#include "core/stream.h"

namespace brix {

enum class ExecutableKind {
  kNone,   // no "MZ", or a header that is cut
  kOther,  // "MZ" with no "PE" where offset 60 points, which may be behind the file's end
  kPe,
};

struct PeImage {
  uint16_t characteristics;
  uint16_t section_count;
  uint32_t section_table_at;
};

inline constexpr uint16_t kPeIsDll = 0x2000;  // characteristics

// `*image` is filled for kPe only.
[[nodiscard]] ExecutableKind ReadExecutable(Stream& in, PeImage* image);

struct RawData {
  uint32_t at;
  uint32_t size;  // bytes
};

// Where the section that stands last in the table has its data. False when there is no section.
[[nodiscard]] bool ReadLastSection(Stream& in, const PeImage& image, RawData* data);

// The largest end of any section's data. False when there is no section, the table is cut or an end lies
// behind 4 GiB - 1.
[[nodiscard]] bool ReadImageEnd(Stream& in, const PeImage& image, uint32_t* end);

}  // namespace brix
