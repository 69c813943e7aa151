// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2: the first byte chooses the variant and the size of the calls.
#include <cstdlib>

#include "decoders/bzip2/bzip2_decoder.h"
#include "support/resumable.h"

namespace {
constexpr uint32_t kMaxOutput = 1 << 18;
}  // namespace

// How the output is cut into calls must not show in it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > (1 << 16)) return 0;
  // One decoder of each kind serves all inputs: nothing of a stream may show in the next.
  static brix::Bzip2Decoder standard;
  static brix::Bzip2Decoder nullsoft(brix::Bzip2Variant::kNullsoft);
  brix::Bzip2Decoder& decoder = (data[0] & 1) != 0 ? nullsoft : standard;
  const uint32_t piece = 1 + (data[0] >> 1) * 61u;
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  decoder.Reset();
  const brix::Decoded whole = brix::DecodeBy(decoder, bytes, kMaxOutput, kMaxOutput);
  decoder.Reset();
  const brix::Decoded pieces = brix::DecodeBy(decoder, bytes, piece, kMaxOutput);
  if (whole != pieces) std::abort();
  return 0;
}
