// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sfx_detect.h - self-extracting executables.
#pragma once

#include <cstdint>

#include "core/format_table.h"
#include "formats/common/signature_scan.h"

namespace brix::sfx {

// Finds the archive inside an executable and confirms it with the detector that `formats` has for it. False
// when there is none.
[[nodiscard]] bool LocateSfx(Stream& in, uint32_t detect_flags, const FormatTable& formats,
                             EmbeddedArchive* found);

[[nodiscard]] bool DetectSfx(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::sfx
