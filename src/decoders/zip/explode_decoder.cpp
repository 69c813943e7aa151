// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// explode_decoder.cpp - the imploding method: LZ77 under Shannon-Fano codes.
//
// The input begins with the code lengths: of literals (256, only with three trees), of match lengths (64), of
// the high parts of distances (64). A list is a byte, its number of bytes less 1, then bytes of a length less
// 1 (low half) and how many symbols in turn have it, less 1 (high half). Behind the lists:
//
//   1, then a literal                     its code, or eight bits when literals have none
//   0, then 6 or 7 low distance bits      6 with the small window
//      then the high part of the distance, by its code; the whole is the distance less 1
//      then the length less the minimum, by its code; when that is 63, eight bits to be added follow
//
// What is odd: codes come most significant bit first in an input read least significant bit first, numbered
// from the longest down. The shortest match is 3 bytes with a code for literals and 2 without; the window has
// no say in it. A match may reach before the first byte of output, where there are zeros, and real packers
// make use of that.
//
// Bounds: a list must have exactly its count of lengths and make a complete code. A distance is at most the
// window and that much history always stands before the write position. One step takes at most 48 bits of
// input and writes at most 321 bytes. It takes 61 KiB.
#include "decoders/zip/explode_decoder.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>

#include "core/refuse.h"
#include "decoders/local_bits.h"
#include "decoders/match_copy.h"
#include "decoders/zip/history_output.h"
#include "decoders/zip/shannon_fano_table.h"

namespace brix {

namespace {

constexpr uint32_t kSmallWindow = 4096;
constexpr uint32_t kLargeWindow = 8192;
constexpr uint32_t kPending = 16384;  // bytes written at a time
constexpr uint32_t kLongLength = 63;  // a byte to be added follows
constexpr uint32_t kMaxMatch = kLongLength + 255 + 3;
constexpr uint32_t kLiterals = 256;
constexpr uint32_t kLengths = 64;
constexpr uint32_t kDistances = 64;

// One list of code lengths and the table made from it.
bool ReadTable(LsbBitReader& in, uint32_t symbols, zip::ShannonFanoTable* table) {
  std::array<uint8_t, zip::ShannonFanoTable::kMaxSymbols> lengths;
  uint32_t filled = 0;
  for (uint32_t runs = in.Read(8) + 1; runs != 0; --runs) {
    const uint32_t run = in.Read(8);
    const uint32_t count = (run >> 4) + 1;
    if (count > symbols - filled) return Refuse("explode: too many code lengths");
    std::fill_n(lengths.begin() + filled, count, static_cast<uint8_t>((run & 15) + 1));
    filled += count;
  }
  if (filled != symbols || !in.ok()) return Refuse("explode: too few code lengths");
  return table->Build(std::span(lengths).first(symbols)) || Refuse("explode: not a complete code");
}

}  // namespace

struct ExplodeDecoder::Codes {
  zip::ShannonFanoTable literal;
  zip::ShannonFanoTable length;
  zip::ShannonFanoTable distance;
};

bool ExplodeDecoder::ReadCodes(Codes* codes) {
  return (trees_ == 2 || ReadTable(reader_, kLiterals, &codes->literal)) &&
         ReadTable(reader_, kLengths, &codes->length) && ReadTable(reader_, kDistances, &codes->distance);
}

bool ExplodeDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  uint32_t left = *limit;
  *limit = 0;
  if (left == 0) return true;
  if ((window_ != kSmallWindow && window_ != kLargeWindow) || (trees_ != 2 && trees_ != 3))
    return Refuse("explode: no such parameters");
  if (!reader_.Allocate() || !codes_.TryResize(sizeof(Codes)) ||
      !buffer_.TryResize(window_ + kPending + kMaxMatch + kMatchSlack))
    return false;
  Codes& codes = *new (codes_.data()) Codes;
  reader_.Attach(&in);
  reader_.Restart();
  if (!ReadCodes(&codes)) return false;

  zip::HistoryOutput output(out, buffer_.data(), window_, kPending);
  LocalBits bits(reader_);
  uint8_t* const full = output.full();
  uint8_t* to = output.begin();
  const bool literal_code = trees_ == 3;
  const uint32_t min_match = literal_code ? 3 : 2;
  const uint32_t low_bits = window_ == kLargeWindow ? 7 : 6;
  const auto take = [&bits](const zip::ShannonFanoTable& table) -> uint32_t {
    const auto symbol = table.Find(bits.bits());
    bits.Drop(symbol.bits);
    return symbol.value;
  };

  bool ok = true;
  // One literal or match a turn; each takes input.
  while (left != 0) {
    bits.Refill();
    if (bits.Take(1) != 0) {
      const uint32_t literal = literal_code ? take(codes.literal) : bits.Take(8);
      ok = bits.ok();
      if (!ok) break;
      *to++ = static_cast<uint8_t>(literal);
      --left;
    } else {
      const uint32_t low = bits.Take(low_bits);
      const uint32_t distance = (take(codes.distance) << low_bits | low) + 1;
      uint32_t length = take(codes.length);
      if (length == kLongLength) length += bits.Take(8);
      ok = bits.ok();
      if (!ok) break;
      length = std::min(length + min_match, left);
      CopyMatch(to, distance, length);
      to += length;
      left -= length;
    }
    if (to >= full && !output.Flush(&to)) break;
  }
  if (!ok) (void)Refuse("explode: short input");
  const bool stored = output.Flush(&to);
  *limit = output.written();
  return ok && stored;
}

}  // namespace brix
