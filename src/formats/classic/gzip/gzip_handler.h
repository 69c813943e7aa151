// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_handler.h - presents a gzip file as a container of one member.
#pragma once

#include "core/format_table.h"

namespace brix::gzip {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateGzipHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::gzip
