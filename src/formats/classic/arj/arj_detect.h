// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// arj_detect.h - ARJ archives.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::arj {

// The offset of the archive header, which up to 63 bytes of anything may precede. False when there is none.
[[nodiscard]] bool LocateArj(Stream& in, uint32_t* header_at);

[[nodiscard]] bool DetectArj(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::arj
