// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_detect.h - compiled HTML help ("ITSF", version 3).
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::chm {

// What the headers say.
struct Headers {
  uint32_t content_base;  // file offset of section 0
  uint32_t chunks;        // file offset of chunk 0
  uint32_t chunk_size;    // bytes
  uint32_t first_chunk;   // number of the first listing chunk
};

// Whether a file header stands at the front.
[[nodiscard]] bool HasFileHeader(Stream& in);

// Reads the file header and the directory header it points at.
[[nodiscard]] bool ReadHeaders(Stream& in, Headers* headers);

[[nodiscard]] bool DetectChm(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::chm
