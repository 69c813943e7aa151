// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lha_detect.h - LHA and LZH archives.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::lha {

[[nodiscard]] bool DetectLha(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::lha
