// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The shrink decoder. The first byte is ignored, so that inputs can be moved between the three old methods.
#include "decoders/zip/shrink_decoder.h"
#include "run_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static brix::ShrinkDecoder decoder;  // kept, so that one input may spoil the next
  brix::RunDecoder(decoder, std::span(data, size).subspan(1));
  return 0;
}
