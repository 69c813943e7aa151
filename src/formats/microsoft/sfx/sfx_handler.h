// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sfx_handler.h - the handler of self-extracting executables.
#pragma once

#include "core/format_table.h"

namespace brix::sfx {

// Null also when the archive inside is of a format that has no handler.
[[nodiscard]] ArchiveHandler* CreateSfxHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::sfx
