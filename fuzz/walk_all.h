// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// walk_all.h - what every format's fuzz target does with a handler: open, query, extract, next, to the end.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/format_table.h"

namespace brix {

// Opens `data` with the handler of `type_id` and walks and extracts every member, with input and output
// capped. Aborts on a broken promise: more bytes than the limit, an unterminated name, a walk without end.
void WalkAll(const FormatTable& formats, uint32_t type_id, const uint8_t* data, size_t size);

}  // namespace brix
