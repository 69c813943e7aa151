// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The quoted-printable decoder.
#include "run_mail_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brix::RunMailDecoder(brix::mail::DecodeQuotedPrintable, data, size);
  return 0;
}
