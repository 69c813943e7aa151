// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_detect.h - the mail recogniser.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::mime {

// With kDetectMailHint the whole header block is looked at, otherwise the first kilobyte. `in` may be a view
// that starts at an enclosed message.
[[nodiscard]] bool DetectMime(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::mime
