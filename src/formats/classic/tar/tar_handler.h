// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_handler.h - lists and extracts the files of a tar archive.
#pragma once

#include "core/format_table.h"

namespace brix::tar {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateTarHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::tar
