// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// szdd_handler.h - single files packed by the Microsoft compress utility ("SZDD").
#pragma once

#include <cstdint>

#include "core/format_table.h"

namespace brix::szdd {

[[nodiscard]] bool DetectSzdd(Stream& in, uint32_t detect_flags, const FormatTable& formats);

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateSzddHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::szdd
