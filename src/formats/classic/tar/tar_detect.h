// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_detect.h - tar archives, plain or inside gzip.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::tar {

// Where the archive's bytes are.
struct Place {
  bool in_gzip = false;
  uint32_t packed_at = 0;  // in gzip: the Deflate data that hold it
  uint32_t packed_size = 0;
};

// False when the file begins as gzip and has no readable header. Detection and opening both ask here.
[[nodiscard]] bool LocateTar(Stream& in, Place* place);

[[nodiscard]] bool DetectTar(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::tar
