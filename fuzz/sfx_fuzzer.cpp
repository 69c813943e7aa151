// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Self-extracting executables, and the archives that they hold.
#include "formats/registry.h"
#include "walk_all.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::WalkAll(brix::Formats(), 6, data, size);
  return 0;
}
