// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// resumable.h - runs the decoders that can stop and go on, for tests and fuzz targets.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "core/memory_stream.h"
#include "decoders/resumable_decoder.h"

namespace brix {

struct Decoded {
  bool ok;
  std::vector<uint8_t> data;
  bool operator==(const Decoded&) const = default;
};

// Decodes with calls of at most `piece` bytes each, until one yields nothing or `most` are there. Aborts when a call
// gives more than its limit.
inline Decoded DecodeBy(ResumableDecoder& decoder, std::span<const uint8_t> bytes, uint32_t piece,
                        uint32_t most = UINT32_MAX) {
  FixedMemoryStream in(bytes);
  MemoryStream out;
  uint32_t got = 0;
  uint32_t total = 0;
  bool ok = true;
  do {
    const uint32_t asked = std::min(piece, most - total);
    got = asked;
    ok = decoder.Decode(in, out, &got);
    total += got;
    if (got > asked || out.bytes().size() != total) {
      std::fprintf(stderr, "broken promise: no more than the limit, and as much as was counted\n");
      std::abort();
    }
  } while (ok && got != 0);
  return {ok, {out.bytes().begin(), out.bytes().end()}};
}

}  // namespace brix
