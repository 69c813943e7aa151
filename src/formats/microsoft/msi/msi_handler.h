// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// msi_handler.h - presents the streams of an installer database as members.
#pragma once

#include "core/format_table.h"

namespace brix::msi {

inline constexpr uint32_t kInstallerDatabase = 11;

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateMsiHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::msi
