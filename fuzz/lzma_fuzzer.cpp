// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// LZMA: the first byte chooses whether the size is known (then two more bytes tell it), whether the x86 filter follows
// and the size of the calls; then come five bytes of properties and the stream.
#include <cstdlib>

#include "decoders/filters/x86_filter.h"
#include "decoders/lzma/lzma_decoder.h"
#include "support/resumable.h"

namespace {
constexpr uint32_t kMaxOutput = 1 << 18;
}  // namespace

// How the output is cut into calls must not show in it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kHead = 3 + brix::LzmaDecoder::kPropertyBytes;
  if (size < kHead || size > (1 << 16)) return 0;
  // One decoder serves all inputs: nothing of a stream may show in the next.
  static brix::LzmaDecoder decoder;
  static brix::X86FilteredDecoder filtered(decoder);
  const uint64_t known = (data[0] & 1) != 0 ? brix::LoadLe16(data + 1) * 3u : brix::LzmaDecoder::kToEndMark;
  brix::ResumableDecoder& used =
      (data[0] & 2) != 0 ? static_cast<brix::ResumableDecoder&>(filtered) : decoder;
  const uint32_t piece = 1 + (data[0] >> 2) * 61u;
  if (!decoder.Begin(std::span<const uint8_t, brix::LzmaDecoder::kPropertyBytes>(data + 3, data + kHead),
                     known)) {
    return 0;
  }
  const std::span<const uint8_t> bytes(data + kHead, size - kHead);
  used.Reset();
  const brix::Decoded whole = brix::DecodeBy(used, bytes, kMaxOutput, kMaxOutput);
  used.Reset();
  const brix::Decoded pieces = brix::DecodeBy(used, bytes, piece, kMaxOutput);
  if (whole != pieces || whole.data.size() > known) std::abort();
  return 0;
}
