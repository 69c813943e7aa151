// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The inflater: the first byte chooses mode, stored flag and the size of the calls.
#include <cstdlib>

#include "decoders/deflate/deflate_decoder.h"
#include "support/resumable.h"

namespace {

constexpr uint32_t kMaxOutput = 1 << 17;

}  // namespace

// How the output is cut into calls must not show in it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > (1 << 16)) return 0;
  const uint32_t piece = 1 + (data[0] >> 2) * 61u;
  // One decoder of each kind serves all inputs: nothing of a stream may show in the next.
  static brix::DeflateDecoder decoders[] = {brix::DeflateDecoder(brix::DeflateMode::kDeflate, 0),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate64, 0),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate, 1),
                                            brix::DeflateDecoder(brix::DeflateMode::kDeflate64, 1)};
  brix::DeflateDecoder& decoder = decoders[data[0] & 3];
  decoder.Reset();
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  const brix::Decoded whole = brix::DecodeBy(decoder, bytes, kMaxOutput, kMaxOutput);
  decoder.Reset();
  const brix::Decoded pieces = brix::DecodeBy(decoder, bytes, piece, kMaxOutput);
  if (whole != pieces) std::abort();
  return 0;
}
