// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// szdd_decoder.cpp - LZSS with a 4,096-byte window.
//
// One linear buffer holds the last 4,096 bytes of output (spaces at the start) and the output not yet
// written. The format names a match by its place in a ring; since the ring's write position is the count of
// bytes produced, the place turns into a distance of 1 to 4,096 back from the next byte, and no ring is kept.
//
// Bounds: every distance is at most 4,096 and that much history always stands in front of the write position.
// The loop ends by the limit or by the end of the input. Memory: 52 KiB.
#include "decoders/lzss/szdd_decoder.h"

#include <algorithm>
#include <cstring>

#include "core/field_reader.h"
#include "decoders/match_copy.h"

namespace brix {

namespace {

constexpr uint32_t kWindow = 4096;
constexpr uint32_t kRingLead = 16;  // the format starts to write at 4,096 - 16
constexpr uint32_t kMinMatch = 3;
constexpr uint32_t kMaxMatch = 18;
constexpr uint32_t kInputPiece = 16384;
constexpr uint32_t kPending = 32768;
constexpr uint32_t kGroupItems = 8;
constexpr uint32_t kMaxGroupOutput = kGroupItems * kMaxMatch;
constexpr uint32_t kMaxGroupInput = 1 + kGroupItems * 2;

}  // namespace

bool SzddDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  if (wanted == 0) return true;
  if (!buffers_.TryResize(kInputPiece + kWindow + kPending + kMaxGroupOutput + kMatchSlack)) return false;
  uint8_t* const input = buffers_.data();
  uint8_t* const window = input + kInputPiece;  // history
  uint8_t* const pending = window + kWindow;    // output not yet written
  std::memset(window, ' ', kWindow);

  uint32_t in_offset = 0;  // of the next piece in `in`
  uint32_t in_size = 0;    // bytes in `input`
  uint32_t in_at = 0;      // next byte of them
  bool in_ended = false;
  uint32_t produced = 0;  // bytes decoded, the ring's write position in the format's terms
  uint32_t pending_size = 0;
  bool ok = true;

  // One group a turn: ends by `produced`, which each item raises, or by the end of the input.
  while (ok && produced < wanted) {
    if (in_size - in_at < kMaxGroupInput && !in_ended) {
      std::memmove(input, input + in_at, in_size - in_at);
      in_size -= in_at;
      in_at = 0;
      uint32_t got = 0;
      if (!in.ReadAt(in_offset, input + in_size, kInputPiece - in_size, &got) || got > kInputPiece - in_size)
        got = 0;
      in_ended = got == 0 || !CheckedAdd(&in_offset, got);
      in_size += got;
      continue;
    }
    if (in_at == in_size) {
      ok = false;
      break;
    }
    const uint32_t flags = input[in_at++];
    for (uint32_t item = 0; item < kGroupItems && produced < wanted; ++item) {
      if ((flags >> item & 1) != 0) {
        if (in_at == in_size) {
          ok = false;
          break;
        }
        pending[pending_size++] = input[in_at++];
        ++produced;
        continue;
      }
      if (in_size - in_at < 2) {
        ok = false;
        break;
      }
      const uint32_t b0 = input[in_at];
      const uint32_t b1 = input[in_at + 1];
      in_at += 2;
      const uint32_t place = ((b0 | (b1 & 0xF0) << 4) + kRingLead) % kWindow;
      const uint32_t back = (produced - place) % kWindow;  // wraps
      const uint32_t length = std::min((b1 & 0x0F) + kMinMatch, wanted - produced);
      CopyMatch(pending + pending_size, back == 0 ? kWindow : back, length);
      pending_size += length;
      produced += length;
    }
    if (pending_size >= kPending) {
      if (!WriteExact(out, *limit, pending, pending_size)) return false;
      *limit += pending_size;
      std::memmove(window, window + pending_size, kWindow);
      pending_size = 0;
    }
  }
  if (pending_size != 0) {
    if (!WriteExact(out, *limit, pending, pending_size)) return false;
    *limit += pending_size;
  }
  return ok;
}

}  // namespace brix
