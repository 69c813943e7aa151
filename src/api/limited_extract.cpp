// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// limited_extract.cpp - a handler is asked for one byte more than the limit, and that byte is dropped on the way:
// so a member of exactly the limit is whole, a longer one is cut, and no handler has to know the difference. On
// the way to the target stand, in this order, a buffer of 4,096 bytes and the limit; neither depends on what the
// handler says it wrote.
#include "api/limited_extract.h"

#include "io/write_streams.h"

namespace brix {

LimitedExtraction ExtractLimited(ArchiveHandler& handler, Stream& target, uint32_t limit) {
  LimitedWriteStream limited(&target, limit);
  BufferedWriteStream out(&limited);
  uint32_t produced = 0;
  handler.RestartMember();
  // Saturates: 0 would mean no limit to the handler.
  const bool extracted = handler.ExtractMember(&out, limit == UINT32_MAX ? limit : limit + 1, &produced);
  const bool flushed = out.Flush();  // after a failure too: a host's stream keeps what came
  return {extracted && flushed, limited.stored(), limited.was_cut()};
}

}  // namespace brix
