// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_detect.h - single streams packed by bzip2.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::bzip2 {

[[nodiscard]] bool DetectBzip2(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::bzip2
