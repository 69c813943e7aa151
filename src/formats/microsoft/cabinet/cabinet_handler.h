// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_handler.h - lists and extracts the members of a Microsoft cabinet.
#pragma once

#include "core/format_table.h"

namespace brix::cabinet {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateCabinetHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::cabinet
