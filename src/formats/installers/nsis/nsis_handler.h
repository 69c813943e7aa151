// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_handler.h - presents the files of an NSIS installer as members.
#pragma once

#include "core/format_table.h"

namespace brix::nsis {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateNsisHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::nsis
