// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// copy_decoder.cpp - moves bytes from one stream to another in large pieces.
//
// Bounds: the limit and the end of the input; each turn of the loop moves at least one byte. It costs 32 KiB
// from the first run on, which stay in the first-level cache between the read and the write.
#include "decoders/copy/copy_decoder.h"

#include <algorithm>

namespace brix {

namespace {
constexpr uint32_t kPiece = 32768;
}

bool CopyDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  if (!piece_.TryResize(kPiece)) return false;
  while (*limit < wanted) {
    const uint32_t asked = std::min(kPiece, wanted - *limit);
    uint32_t got = 0;
    if (!in.ReadAt(*limit, piece_.data(), asked, &got) || got == 0 || got > asked) return false;
    if (!WriteExact(out, *limit, piece_.data(), got)) return false;
    *limit += got;
  }
  return true;
}

}  // namespace brix
