// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// resumable_decoder.h - the contract of the decompressors that can stop anywhere and go on.
#pragma once

#include <cstdint>
#include <span>

#include "decoders/decoder.h"

namespace brix {

// Decodes one stream over as many calls as its owner likes: what was decoded beyond a call's limit is kept. Reset
// prepares it for the next stream without giving back memory.
//
// `in` holds the whole stream from its first byte at offset 0 at every call; data behind its end are not looked at.
// Between two resets the owner calls either Decode or DecodeMore, not both.
class ResumableDecoder : public Decoder {
 public:
  // Produces up to `*limit` bytes more of the stream: written to `out` behind those of the calls before, and counted in
  // `*limit`. Fewer than asked, with true, means that the stream has ended. A failure shows when all that was decoded
  // before it has been delivered, and sticks.
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit) final;

  // In Decode's stead, for who reads the output where it lies: decodes about `wanted` bytes more, at most about 32 KiB
  // a call; `wanted` is not 0. `*added`: how many joined the end of buffered(); 0 with true: the stream has ended. What
  // was decoded before a failure is added first; then it shows, and sticks.
  [[nodiscard]] virtual bool DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) = 0;

  // The output that is still in memory, oldest byte first: at least what the last call added. Valid until the next
  // call.
  [[nodiscard]] virtual std::span<const uint8_t> buffered() const = 0;

  // Begins a new stream: input from offset 0, output from offset 0, no history.
  void Reset() override = 0;

 protected:
  // For Reset: nothing waits to be delivered, and the output begins at offset 0 or goes on where it was.
  void RestartDelivery(bool restart_output) {
    pending_ = 0;
    if (restart_output) out_offset_ = 0;
  }

  // Bytes at the end of buffered() that Decode has not delivered.
  [[nodiscard]] uint32_t pending() const { return pending_; }

 private:
  uint32_t pending_ = 0;
  uint32_t out_offset_ = 0;  // in the output stream, of the next byte to deliver
};

}  // namespace brix
