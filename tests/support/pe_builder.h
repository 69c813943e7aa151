// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// pe_builder.h - builds just enough of a Windows executable for those who look for data inside one.
#pragma once

#include <cstdint>
#include <vector>

#include "support/bytes.h"

namespace brix {

struct PeSection {
  uint32_t raw_size;
  uint32_t raw_at;
};

inline constexpr uint32_t kPeHeaderAt = 64;
inline constexpr uint32_t kPeTableAt = kPeHeaderAt + 24 + 16;  // an optional header of 16 bytes

// The headers alone; sections' data are the caller's to append.
inline Bytes PeHeaders(const std::vector<PeSection>& sections, uint32_t characteristics = 0x0102) {
  Bytes file = Bytes().Text("MZ").PadTo(60).U32(kPeHeaderAt);
  file.Text("PE").U16(0).U16(0x14C).U16(static_cast<uint32_t>(sections.size())).Fill(12, 0);
  file.U16(16).U16(characteristics).Fill(16, 0);
  for (const PeSection& s : sections)
    file.Text(".section").U32(0).U32(0).U32(s.raw_size).U32(s.raw_at).Fill(16, 0);
  return file;
}

}  // namespace brix
