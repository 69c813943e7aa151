// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_handler.h - mail: messages, mailboxes, and text that holds uuencoded or BinHex blocks.
#pragma once

#include "core/format_table.h"

namespace brix::mime {

// The handler, null when memory is exhausted.
[[nodiscard]] ArchiveHandler* CreateMimeHandler(Stream* in, const HandlerArgs& args);

}  // namespace brix::mime
