// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// limited_extract.h - the one way in which a member is decoded under a limit.
#pragma once

#include <cstdint>

#include "core/archive_handler.h"
#include "core/stream.h"

namespace brix {

struct LimitedExtraction {
  bool ok;          // the handler and the target both said so
  uint32_t stored;  // the end of what reached the target, also after a failure
  bool was_cut;     // the member has more bytes than the limit
};

// Decodes the current member into `target`, which never sees a byte behind `limit`; UINT32_MAX means none.
[[nodiscard]] LimitedExtraction ExtractLimited(ArchiveHandler& handler, Stream& target, uint32_t limit);

}  // namespace brix
