// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_detect.h - RAR archives of versions 1.5 to 4.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::rar {

// The offset of the archive's signature within the first kilobyte. False when there is none.
[[nodiscard]] bool LocateRar(Stream& in, uint32_t* archive_at);

[[nodiscard]] bool DetectRar(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::rar
