// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_handler.h - lists and extracts the members of a RAR archive.
#pragma once

#include "core/format_table.h"

namespace brix::rar {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateRarHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::rar
