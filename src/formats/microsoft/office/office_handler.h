// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// office_handler.h - presents the files embedded in Office documents as members.
#pragma once

#include "core/format_table.h"

namespace brix::office {

// The handler of a Word or Excel document or of a bare package, by its type number; null when memory is
// exhausted.
[[nodiscard]] ArchiveHandler* CreateOfficeHandler(Stream* in, const HandlerArgs& args);

// The handler of a presentation, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreatePowerPointHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::office
