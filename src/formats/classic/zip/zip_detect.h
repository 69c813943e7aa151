// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_detect.h - recognises a ZIP archive by its directory.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::zip {

struct Directory {
  uint32_t position = 0;       // where the first record really stands
  uint32_t prefix_length = 0;  // bytes in front of the archive proper
};

// Finds the end record, the directory in front of it and the first member's local header. False when one of
// them is missing or cannot be read; `*found` is then unchanged. Detection and opening both ask here.
[[nodiscard]] bool LocateDirectory(Stream& in, Directory* found);

[[nodiscard]] bool DetectZip(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::zip
