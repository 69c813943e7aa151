// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_detect.h - Microsoft cabinet files.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::cabinet {

// The offset of the cabinet's header within the first kilobyte. False when there is no signature, or the
// header behind the first one is not that of a cabinet.
[[nodiscard]] bool LocateCabinet(Stream& in, uint32_t* header_at);

[[nodiscard]] bool DetectCabinet(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::cabinet
