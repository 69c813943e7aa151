// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// unixz_detect.h - single streams packed by the Unix compress program (".Z").
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::unixz {

[[nodiscard]] bool DetectUnixZ(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::unixz
