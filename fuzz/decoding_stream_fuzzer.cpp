// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Reads of a decoding stream, in the order that the input says: two bytes choose each read, the rest is Deflate data.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/memory_stream.h"
#include "decoders/decoding_stream.h"
#include "decoders/deflate/deflate_decoder.h"

namespace {

constexpr uint32_t kMaxOutput = 180000;  // more than the stream can hold
constexpr size_t kReads = 6;

void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 * kReads || size > (1 << 16)) return 0;
  const auto packed_size = static_cast<uint32_t>(size - 2 * kReads);
  brix::FixedMemoryStream parent(std::span(data, size));
  brix::RangeStream packed(&parent, 2 * kReads, packed_size);
  static brix::DeflateDecoder decoder;
  decoder.Reset();
  brix::MemoryStream whole;
  uint32_t produced = kMaxOutput;
  const bool ok = decoder.Decode(packed, whole, &produced);

  brix::DecoderInput counted(&parent);
  brix::DecodingStream in(decoder, &counted, 2 * kReads, packed_size);
  static std::vector<uint8_t> buffer(255 * 100);
  for (size_t i = 0; i < kReads; ++i) {
    const uint32_t offset = data[2 * i] * 600u;
    const uint32_t asked = data[2 * i + 1] * 100u;
    if (offset + asked > kMaxOutput) continue;
    uint32_t got = 0;
    const bool read = in.ReadAt(offset, buffer.data(), asked, &got);
    const uint32_t there = std::min(produced - std::min(produced, offset), asked);
    if (read) {
      Promise(got == there, "a read ends where the data end");
      Promise(
          std::equal(buffer.data(), buffer.data() + got, whole.bytes().data() + std::min(offset, produced)),
          "how the data are read does not show in them");
      if (i % 2 == 0 || got == 0) continue;
      brix::MemoryStream copied;
      uint32_t limit = got;
      Promise(in.CopyTo(copied, offset, &limit) && limit == got, "what was read can be copied");
      Promise(std::ranges::equal(copied.bytes(), whole.bytes().subspan(offset, got)), "and is the same");
    } else {
      Promise(!ok && there == 0 && asked != 0, "only damage fails");
    }
  }
  return 0;
}
