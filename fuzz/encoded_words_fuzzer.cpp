// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Encoded words in header values.
#include "decoders/mail/encoded_words.h"

#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> out(size);
  if (brix::mail::DecodeEncodedWords({data, size}, out.data()) > size) std::abort();
  if (brix::mail::CharsetOfEncodedWords({data, size}).size() > size + 7) std::abort();
  return 0;
}
