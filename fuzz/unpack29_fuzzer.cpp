// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The RAR 2.9 method, with PPMd blocks and filters.
#include "run_rar.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::RunRar(brix::rar::Method::kRar29, {data, size});
  return 0;
}
