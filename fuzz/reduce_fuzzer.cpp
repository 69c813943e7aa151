// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The reduce decoder. The low two bits of the first byte are the factor less 1.
#include "decoders/zip/reduce_decoder.h"
#include "run_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static brix::ReduceDecoder decoders[] = {brix::ReduceDecoder(1), brix::ReduceDecoder(2),
                                           brix::ReduceDecoder(3), brix::ReduceDecoder(4)};
  brix::RunDecoder(decoders[data[0] & 3], std::span(data, size).subspan(1));
  return 0;
}
