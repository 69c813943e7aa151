// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// shrink_decoder.cpp - LZW with partial clearing.
//
// Codes 0 to 255 are bytes, 256 announces a command (1: codes grow by a bit; 2: partial clear), the others
// stand for an earlier string and one byte more. Every code read defines the lowest free one: the string
// before, extended by the first byte of this one. A partial clear frees each code that is no other code's
// parent.
//
// What is odd: the string read just before a clear may be freed by it and yet becomes the parent of the next
// code defined. Such a code has no meaning until its parent is defined anew, and a new one from then on, so
// strings are followed to their root when they are used and never remembered by place or length. If the freed
// parent is itself the lowest free code, it becomes its own parent: it can never be used, and is never freed.
// Wherever a string meets the code about to be defined, that one is the previous string with its own first
// byte added.
//
// Bounds: a string is followed for at most kMaxString steps, which stops at a circle. Codes are freed through
// sets of bits and counts of children, so a clear costs 128 words plus what it frees, and input made of
// clears is not slow. It takes 98 KiB; a new member resets only as many codes as the one before had defined.
#include "decoders/zip/shrink_decoder.h"

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

constexpr uint32_t kCodes = 8192;
constexpr uint32_t kCommand = 256;
constexpr uint32_t kFirstFree = 257;
constexpr uint32_t kMinBits = 9;
constexpr uint32_t kMaxBits = 13;
constexpr uint32_t kGrowCodes = 1;
constexpr uint32_t kPartialClear = 2;
constexpr uint32_t kMaxString = kCodes;  // more than a string without a circle can have
constexpr uint16_t kNoParent = UINT16_MAX;
constexpr uint32_t kNoCode = UINT32_MAX;
constexpr uint32_t kPending = 8192;  // bytes written at a time

// A set of codes.
struct CodeSet {
  std::array<uint64_t, kCodes / 64> words;

  void Add(uint32_t code) { words[code / 64] |= uint64_t{1} << (code % 64); }
  void Remove(uint32_t code) { words[code / 64] &= ~(uint64_t{1} << (code % 64)); }

  // The lowest code in the set that is not below `from`, or kCodes.
  [[nodiscard]] uint32_t LowestFrom(uint32_t from) const {
    for (uint32_t i = from / 64; i < words.size(); ++i) {
      const uint64_t word = i == from / 64 ? words[i] & (UINT64_MAX << (from % 64)) : words[i];
      if (word != 0) return i * 64 + static_cast<uint32_t>(std::countr_zero(word));
    }
    return kCodes;
  }
};

// Copies `length` bytes from further on in the buffer, at least 8 away; up to 7 bytes too many.
void CopyRun(uint8_t* to, const uint8_t* from, uint32_t length) {
  for (uint8_t* const end = to + length; to < end; to += 8, from += 8) std::memcpy(to, from, 8);
}

}  // namespace

struct ShrinkDecoder::Strings {
  std::array<uint16_t, kCodes> parent;    // kNoParent: the code is free
  std::array<uint8_t, kCodes> last_byte;  // of the string
  std::array<uint16_t, kCodes> children;  // defined codes that name this one, free or not, as parent
  CodeSet free;
  CodeSet leaves;          // defined codes without children
  uint32_t used = kCodes;  // codes from here on are as Reset leaves them
  uint32_t next = 0;       // lowest free code; kCodes: none

  void Reset() {
    std::fill_n(parent.begin(), used, kNoParent);
    std::fill_n(children.begin(), used, uint16_t{0});
    free.words.fill(UINT64_MAX);
    leaves.words.fill(0);
    used = next = kFirstFree;
  }

  // Gives the lowest free code, which exists, its meaning.
  void Define(uint32_t parent_code, uint32_t byte) {
    parent[next] = static_cast<uint16_t>(parent_code);
    last_byte[next] = static_cast<uint8_t>(byte);
    free.Remove(next);
    if (children[next] == 0) leaves.Add(next);
    ++children[parent_code];
    leaves.Remove(parent_code);
    used = std::max(used, next + 1);
    next = free.LowestFrom(next + 1);
  }

  // Frees the codes that have no children now; their parents may become leaves, for the next time.
  void PartialClear() {
    const CodeSet doomed = leaves;
    leaves.words.fill(0);
    for (uint32_t code = doomed.LowestFrom(kFirstFree); code < kCodes; code = doomed.LowestFrom(code + 1)) {
      const uint32_t above = parent[code];
      parent[code] = kNoParent;
      free.Add(code);
      if (--children[above] == 0 && above >= kFirstFree && parent[above] != kNoParent) leaves.Add(above);
    }
    next = free.LowestFrom(kFirstFree);
  }

  // Puts the string of `code` together backwards, so that it ends at `end`, and returns its first byte; null
  // when it does not lead to a byte. `previous` and `first` are the string before and its first byte.
  [[nodiscard]] uint8_t* Spell(uint32_t code, uint32_t previous, uint8_t first, uint8_t* end) const {
    uint8_t* const front = end - kMaxString;
    uint8_t* at = end;
    while (code >= kFirstFree) {
      if (at - front <= 1) return nullptr;
      if (parent[code] != kNoParent) {
        *--at = last_byte[code];
        code = parent[code];
      } else {
        if (code != next || previous == kNoCode) return nullptr;
        *--at = first;
        code = previous;
      }
    }
    *--at = static_cast<uint8_t>(code);
    return at;
  }
};

bool ShrinkDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  uint32_t left = *limit;
  *limit = 0;
  if (left == 0) return true;
  if (!reader_.Allocate() || !buffer_.TryResize(kPending + 2 * kMaxString + kMatchSlack)) return false;
  if (strings_.size() == 0) {
    if (!strings_.TryResize(sizeof(Strings))) return false;
    new (strings_.data()) Strings;
  }
  reader_.Attach(&in);
  reader_.Restart();
  Strings& strings = *std::launder(reinterpret_cast<Strings*>(strings_.data()));
  strings.Reset();
  zip::HistoryOutput output(out, buffer_.data(), 0, kPending);
  LocalBits bits(reader_);
  uint8_t* const full = output.full();
  uint8_t* to = output.begin();
  uint32_t code_bits = kMinBits;
  uint32_t previous = kNoCode;
  uint8_t first = 0;
  bool ok = true;

  // One code a turn; each takes at least nine bits of input.
  while (left != 0) {
    bits.Refill();
    const uint32_t code = bits.Take(code_bits);
    if (code == kCommand) {
      const uint32_t command = bits.Take(code_bits);
      ok = bits.ok();
      if (command == kPartialClear)
        strings.PartialClear();
      else if (command == kGrowCodes && code_bits < kMaxBits)
        ++code_bits;
      else
        ok = Refuse("shrink: no such command");
      if (!ok) break;
      continue;
    }
    uint8_t* const end =
        to + 2 * kMaxString;  // the string is at most kMaxString long, so its halves do not meet
    const uint8_t* const from = strings.Spell(code, previous, first, end);
    if (from == nullptr || !bits.ok()) {
      ok = Refuse("shrink: unusable code or short input");
      break;
    }
    first = *from;
    if (previous != kNoCode && strings.next < kCodes) strings.Define(previous, first);
    previous = code;
    const uint32_t length = std::min(static_cast<uint32_t>(end - from), left);
    CopyRun(to, from, length);
    to += length;
    left -= length;
    if (to >= full && !output.Flush(&to)) break;
  }
  const bool stored = output.Flush(&to);
  *limit = output.written();
  return ok && stored;
}

}  // namespace brix
