// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_detect.h - NSIS installers.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::nsis {

// The offset of the installer's first header, which stands exactly at the end of the executable image. False
// when it is not there.
[[nodiscard]] bool LocateNsis(Stream& in, uint32_t* header_at);

[[nodiscard]] bool DetectNsis(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::nsis
