// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The handlers of Office documents; the same input goes to each of them.
#include "formats/registry.h"
#include "walk_all.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const uint32_t type_id : {17u, 18u, 19u, 20u}) brix::WalkAll(brix::Formats(), type_id, data, size);
  return 0;
}
