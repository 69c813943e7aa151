// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The handler of compiled help files, and LZX as they use it.
#include "formats/registry.h"
#include "walk_all.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::WalkAll(brix::Formats(), 5, data, size);
  return 0;
}
