// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The explode decoder. Bits 1 and 2 of the first byte are those of a ZIP member's flags: large window, three
// trees.
#include "decoders/zip/explode_decoder.h"
#include "run_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static brix::ExplodeDecoder decoders[] = {brix::ExplodeDecoder(4096, 2), brix::ExplodeDecoder(8192, 2),
                                            brix::ExplodeDecoder(4096, 3), brix::ExplodeDecoder(8192, 3)};
  brix::RunDecoder(decoders[data[0] >> 1 & 3], std::span(data, size).subspan(1));
  return 0;
}
