// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// package.h - an embedded file inside a document: where its bytes lie in the package stream.
#pragma once

#include <cstdint>

#include "core/stream.h"

namespace brix::office {

struct Package {
  uint32_t data_offset = 0;  // in the package stream
  uint32_t data_size = 0;    // bytes
};

// Finds the data and writes the package's label, or "Unknown", to `name` (512 bytes). False, with neither
// changed, when the stream has none of the layouts.
[[nodiscard]] bool ParsePackage(Stream& in, Package* package, char* name);

}  // namespace brix::office
