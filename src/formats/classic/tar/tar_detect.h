// tar_detect.h - tar archives, plain or inside gzip.
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::tar {

[[nodiscard]] bool DetectTar(Stream& in, uint32_t detect_flags, const FormatTable& formats);

}  // namespace brix::tar
