// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// signature_scan.h - searches for archive signatures that need not stand at the start of the input.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/stream.h"

namespace brix {

// The offset of `signature`: 0, or else its first occurrence in the first 1,024 bytes with at least one byte
// behind it among those read. False when there is none.
[[nodiscard]] bool FindInFirstKilobyte(Stream& in, std::string_view signature, uint32_t* at);

// An archive inside an executable.
struct EmbeddedArchive {
  uint32_t type_id;  // ARJ, cabinet, LHA, RAR or ZIP
  uint32_t offset;   // of the archive's first byte
};

// Looks for the first archive signature in [start, start + length - 6): whether the archive is sound is the
// caller's question. False when there is none or the range passes 4 GiB - 1.
[[nodiscard]] bool FindEmbeddedArchive(Stream& in, uint32_t start, uint32_t length, EmbeddedArchive* found);

}  // namespace brix
