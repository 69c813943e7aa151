// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_handles.h - how an exported function of the name-based family looks at the archive it was given.
#pragma once

#include <cstdint>

#include "api/byname_archive.h"

namespace brix {

// The archive's context; null for the handles that are refused: null and all bits set.
[[nodiscard]] inline BrixDecompressionRecord* ContextOf(BrixNamedArchive archive) {
  return archive == nullptr || archive == BRIX_NO_ARCHIVE ? nullptr : &archive->context();
}

}  // namespace brix
