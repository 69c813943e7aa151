// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// qxzip_detect.h - QX Zip archives.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::qxzip {

[[nodiscard]] bool DetectQxZip(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::qxzip
