// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The copy of text up to a boundary line.
#include "run_mail_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::RunMailDecoder(brix::mail::CopyText, data, size);
  return 0;
}
