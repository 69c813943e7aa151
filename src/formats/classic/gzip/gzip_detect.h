// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_detect.h - gzip files.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::gzip {

// The offset of the first member's compressed data, behind the optional header fields. False when the header
// is cut or holds a text without end.
[[nodiscard]] bool LocateGzipData(Stream& in, uint32_t* data_at);

[[nodiscard]] bool DetectGzip(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::gzip
