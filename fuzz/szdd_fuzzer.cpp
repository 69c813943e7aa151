// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The SZDD handler and its decoder.
#include "formats/registry.h"
#include "walk_all.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::WalkAll(brix::Formats(), 10, data, size);
  return 0;
}
