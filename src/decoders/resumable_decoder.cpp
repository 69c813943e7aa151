// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/resumable_decoder.h"

#include <algorithm>

namespace brix {

bool ResumableDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  // Ends by the output: each turn delivers some, or is the last.
  for (;;) {
    const uint32_t run = std::min(pending_, wanted - *limit);
    if (run != 0) {
      const uint8_t* const bytes = buffered().last(pending_).data();
      if (run > UINT32_MAX - out_offset_ || !WriteExact(out, out_offset_, bytes, run)) return false;
      pending_ -= run;
      out_offset_ += run;
      *limit += run;
    }
    if (*limit == wanted) return true;
    if (!DecodeMore(in, wanted - *limit, &pending_)) return false;
    if (pending_ == 0) return true;
  }
}

}  // namespace brix
