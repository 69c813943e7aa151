// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// reduce_decoder.cpp - follower sets, then runs behind a marker byte.
//
// The input begins with a set of at most 32 likely followers for each byte value, that of 255 first. A byte
// is then either an index into the set of the byte before it or itself; the byte before the first is 0. The
// bytes found in this way, those that make up a run included, are literals, except behind the marker 144:
//
//   144 0                a literal 144
//   144 V [L] D          copy. The low 8 - factor bits of V are the length less 3, and when they are all
//                        ones L is added to it; the high `factor` bits times 256, plus D, are the distance
//                        less 1.
//
// What is odd: a run may reach before the first byte of output, where there are zeros, and one bit is spent
// on the index into a set of one byte.
//
// Bounds: a set's size is checked when it is read and an index against it when it is used; a distance is at
// most 4,096 and that much history always stands before the write position. One step takes at most 36 bits of
// input and writes at most 385 bytes. It takes 62 KiB.
#include "decoders/zip/reduce_decoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <new>

#include "core/refuse.h"
#include "decoders/local_bits.h"
#include "decoders/match_copy.h"
#include "decoders/zip/history_output.h"

namespace brix {

namespace {

constexpr uint32_t kWindow = 4096;
constexpr uint32_t kPending = 16384;  // bytes written at a time
constexpr uint32_t kMaxRun = 127 + 255 + 3;
constexpr uint32_t kMinRun = 3;
constexpr uint32_t kMarker = 144;
constexpr uint32_t kMaxFollowers = 32;
constexpr uint32_t kMinFactor = 1;
constexpr uint32_t kMaxFactor = 4;

}  // namespace

struct ReduceDecoder::Followers {
  struct Set {
    uint8_t size;
    uint8_t escape_bits;  // 1 when a flag bit tells an index from a byte
    uint8_t index_bits;
    uint8_t index_mask;
  };
  std::array<Set, 256> set;
  std::array<std::array<uint8_t, kMaxFollowers>, 256> byte;  // zeros behind a set's size
};

bool ReduceDecoder::ReadFollowers(Followers* followers) {
  for (uint32_t byte = 256; byte-- != 0;) {
    const uint32_t size = reader_.Read(6);
    if (size > kMaxFollowers) return Refuse("reduce: more than 32 followers");
    const auto index_bits = static_cast<uint8_t>(size <= 2 ? 1 : std::bit_width(size - 1));
    followers->set[byte] = {static_cast<uint8_t>(size), uint8_t{size != 0}, index_bits,
                            static_cast<uint8_t>((1u << index_bits) - 1)};
    auto& set = followers->byte[byte];
    for (uint32_t i = 0; i < size; ++i) set[i] = static_cast<uint8_t>(reader_.Read(8));
    std::fill(set.begin() + size, set.end(), uint8_t{0});  // a bad index leads there before it is noticed
  }
  return reader_.ok() || Refuse("reduce: follower sets cut short");
}

bool ReduceDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  uint32_t left = *limit;
  *limit = 0;
  if (left == 0) return true;
  if (factor_ < kMinFactor || factor_ > kMaxFactor) return Refuse("reduce: no such factor");
  if (!reader_.Allocate() || !followers_.TryResize(sizeof(Followers)) ||
      !buffer_.TryResize(kWindow + kPending + kMaxRun + kMatchSlack))
    return false;
  Followers& followers = *new (followers_.data()) Followers;
  reader_.Attach(&in);
  reader_.Restart();
  if (!ReadFollowers(&followers)) return false;

  zip::HistoryOutput output(out, buffer_.data(), kWindow, kPending);
  LocalBits bits(reader_);
  uint8_t* const full = output.full();
  uint8_t* to = output.begin();
  const uint32_t length_mask = (1u << (8 - factor_)) - 1;
  uint32_t last = 0;  // byte of the first layer
  bool bad_index = false;

  // The next byte of the first layer. Both ways to read it are worked out and one is chosen, since no
  // processor can foresee which.
  const auto next_byte = [&] {
    const Followers::Set set = followers.set[last];
    const uint32_t index = bits.Peek(8) >> 1 & set.index_mask;
    const uint32_t follower = followers.byte[last][index];
    const uint32_t plain = bits.Peek(9) >> set.escape_bits & 0xFF;
    const bool is_plain = set.size == 0 || bits.Peek(1) != 0;
    bad_index |= !is_plain && index >= set.size;
    bits.Drop(is_plain ? 8u + set.escape_bits : 1u + set.index_bits);
    last = is_plain ? plain : follower;
    return last;
  };

  bool ok = true;
  // One literal or run a turn; each takes input.
  while (left != 0) {
    bits.Refill();
    const uint32_t byte = next_byte();
    uint32_t value = 0;
    if (byte == kMarker) value = next_byte();
    if (value == 0) {
      if (bad_index || !bits.ok()) ok = false;
      if (!ok) break;
      *to++ = static_cast<uint8_t>(byte);
      --left;
    } else {
      uint32_t length = value & length_mask;
      if (length == length_mask) length += next_byte();
      const uint32_t distance = ((value & ~length_mask) << factor_) + next_byte() + 1;
      if (bad_index || !bits.ok()) ok = false;
      if (!ok) break;
      length = std::min(length + kMinRun, left);
      CopyMatch(to, distance, length);
      to += length;
      left -= length;
    }
    if (to >= full && !output.Flush(&to)) break;
  }
  if (!ok) (void)Refuse("reduce: no such follower or short input");
  const bool stored = output.Flush(&to);
  *limit = output.written();
  return ok && stored;
}

}  // namespace brix
