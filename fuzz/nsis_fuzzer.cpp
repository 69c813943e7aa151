// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The handler of NSIS installers, with the decoders that it uses.
#include "formats/registry.h"
#include "walk_all.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::WalkAll(brix::Formats(), 21, data, size);
  return 0;
}
