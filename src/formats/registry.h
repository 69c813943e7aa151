// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// registry.h - the one table of formats that the library is built with.
#pragma once

#include "core/format_table.h"

namespace brix {

[[nodiscard]] const FormatTable& Formats();

}  // namespace brix
