// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// run_decoder.h - what every decoder's fuzz target does: decode once under a limit and check the count.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/memory_stream.h"
#include "decoders/decoder.h"

namespace brix {

inline constexpr uint32_t kMaxDecoded = 1 << 18;

// Decodes `packed` twice with one object, whole and then with half of what came. Aborts on a broken promise:
// more bytes than the limit, another count than was written, or another result the second time.
inline void RunDecoder(Decoder& decoder, std::span<const uint8_t> packed) {
  const auto promise = [](bool kept, const char* text) {
    if (kept) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
  };
  FixedMemoryStream in(packed);
  MemoryStream out;
  uint32_t produced = kMaxDecoded;
  const bool whole = decoder.Decode(in, out, &produced);
  promise(produced <= kMaxDecoded, "no more bytes than the limit");
  promise(produced == out.bytes().size(), "the count is what was written");
  promise(!whole || produced == kMaxDecoded, "without an end mark only the limit is success");
  MemoryStream again;
  uint32_t half = produced / 2;
  promise(decoder.Decode(in, again, &half) && half == produced / 2, "what came once comes again");
  const auto expected = out.bytes().first(half);
  promise(std::equal(expected.begin(), expected.end(), again.bytes().begin(), again.bytes().end()),
          "a lower limit gives the same bytes");
}

}  // namespace brix
