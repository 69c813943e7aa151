// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tnef_detect.h - attachments of rich mail in one block (TNEF, "winmail.dat").
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::tnef {

[[nodiscard]] bool DetectTnef(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::tnef
