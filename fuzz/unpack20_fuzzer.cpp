// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The RAR 2.0 method, with sound blocks.
#include "run_rar.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::RunRar(brix::rar::Method::kRar20, {data, size});
  return 0;
}
