// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_rotations.h - the inverse of the Burrows-Wheeler transform.
#pragma once

#include <cstdint>
#include <span>

#include "core/memory_block.h"
#include "decoders/bzip2/bzip2_symbols.h"

namespace brix::bzip2 {

// The text whose sorted rotations have this last column, beginning with the rotation in row `first`, below the column's
// size. Four bytes of `rows` are taken for each of the column's, and the column is lost. The text is in `rows` and holds
// as long. False: no memory.
[[nodiscard]] bool InvertRotations(Column& column, uint32_t first, MemoryBlock& rows,
                                   std::span<uint8_t>* text);

}  // namespace brix::bzip2
