// chm_detect.h - compiled HTML help ("ITSF", version 3).
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::chm {

[[nodiscard]] bool DetectChm(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::chm
