// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_handler.h - lists and extracts the files of compiled HTML help.
#pragma once

#include "core/format_table.h"

namespace brix::chm {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateChmHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::chm
