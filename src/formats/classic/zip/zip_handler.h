// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_handler.h - lists and extracts the members of a ZIP archive.
#pragma once

#include "core/format_table.h"

namespace brix::zip {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateZipHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::zip
