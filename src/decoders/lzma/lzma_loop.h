// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzma_loop.h - the loop that decodes LZMA's symbols; included by lzma_decoder.cpp alone.
//
// A symbol takes at most 20 bytes of input: 22 bits with models, of which none takes more than 6.05 bits, and 26
// without. So a turn begins while InputPiece::kSlack bytes can be read, and nothing inside looks for the end. A turn
// writes at most kLongestMatch + kMatchSlack bytes behind `out_stop`.
//
// A distance is compared with `reach`, what could be reached when the loop began; only behind that the bytes decoded
// since count.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "decoders/lzma/lzma_models.h"
#include "decoders/match_copy.h"

namespace brix::lzma {

// Where the stream stands between two symbols.
struct Position {
  uint32_t state = 0;
  uint32_t distances[4] = {1, 1, 1, 1};  // of the last matches, latest first; 1 is the byte before
  uint64_t produced = 0;
};

// What a symbol's place in the output chooses models by.
struct Masks {
  uint32_t position;      // of the models of matches
  uint32_t literal;       // of the place, times 256, plus the byte before
  uint32_t literal_step;  // from what that leaves to a model's index
};

struct Output {
  uint8_t* out;             // next byte to write; one that can be read is before it
  const uint8_t* out_stop;  // enough is decoded here; the buffer goes on behind it
  uint32_t reach;           // bytes before `out` that belong to the stream, at most the window
  uint32_t window;
};

enum class LoopEnd { kStopped, kEndMark, kBad };

// The state that follows a symbol.
inline constexpr std::array<uint8_t, kStates> kAfterLiteral = {0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 4, 5};
BRIX_ALWAYS_INLINE uint32_t AfterMatch(uint32_t state) { return state < kLiteralStates ? 7 : 10; }
BRIX_ALWAYS_INLINE uint32_t AfterRep(uint32_t state) { return state < kLiteralStates ? 8 : 11; }
BRIX_ALWAYS_INLINE uint32_t AfterShortRep(uint32_t state) { return state < kLiteralStates ? 9 : 11; }

// Sets the model of a literal context to even odds when it is used for the first time.
class LiteralsInUse {
 public:
  static constexpr uint32_t kContexts = 1u << 12;
  void Clear() { used_.fill(0); }
  void Use(uint32_t context, Probability* model) {
    uint8_t& used = used_[context % kContexts];
    if (used != 0) return;
    used = 1;
    std::fill_n(model, kLiteralModel, Probability{kOne / 2});
  }

 private:
  std::array<uint8_t, kContexts> used_;
};

// A distance, 1 based; 0 is the end mark. A stream with the largest distance is one.
BRIX_ALWAYS_INLINE uint32_t DecodeDistance(Coder& c, Models& models, uint32_t length) {
  const uint32_t context =
      length < kShortestMatch + kDistanceContexts ? length - kShortestMatch : kDistanceContexts - 1;
  const uint32_t slot = DecodeTree<6>(c, models.slot[context].data()) - kSlots;
  if (slot < kFirstModelledSlot) return slot + 1;
  const uint32_t low_bits = slot / 2 - 1;
  const uint32_t top = 2 | (slot & 1);
  if (slot < kFirstDirectSlot) {
    Probability* const tree = models.low_distance[slot - kFirstModelledSlot].data();
    return (top << low_bits) + DecodeReverseTree(c, tree, low_bits) + 1;
  }
  const uint32_t high = DecodeDirect(c, top, low_bits - kAlignBits);
  return (high << kAlignBits) + DecodeReverseTree(c, models.align.data(), kAlignBits) + 1;
}

template <bool kManyLiterals>
LoopEnd Loop(Models& models, Probability* literals, LiteralsInUse& in_use, const Masks& masks, Coder& coder,
             const uint8_t* in_stop, Position& where, Output& output) {
  Coder c = coder;
  uint8_t* out = output.out;
  const uint8_t* const out_stop = output.out_stop;
  const uint32_t reach = output.reach;
  // The low bits of a byte's place in the output follow from those of its address.
  const auto low_bits = [](const uint8_t* p) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(p));
  };
  const uint32_t place_of_address = static_cast<uint32_t>(where.produced) - low_bits(out);
  uint32_t state = where.state;
  uint32_t rep0 = where.distances[0];
  uint32_t rep1 = where.distances[1];
  uint32_t rep2 = where.distances[2];
  uint32_t rep3 = where.distances[3];
  LoopEnd result = LoopEnd::kStopped;

  // Ends by the output, of which each turn makes some, and the input.
  while (out < out_stop && c.next <= in_stop) {
    const uint32_t position = low_bits(out) + place_of_address;
    const uint32_t position_state = position & masks.position;
    if (!DecodeBit(c, models.is_match[state][position_state])) {
      const uint32_t context = ((position << 8) + out[-1]) & masks.literal;
      Probability* const model = literals + size_t{context} * masks.literal_step;
      if constexpr (kManyLiterals) in_use.Use(context * masks.literal_step / kLiteralModel, model);
      const uint32_t symbol =
          state < kLiteralStates ? DecodeTree<8>(c, model) : DecodeMatchedLiteral(c, model, *(out - rep0));
      *out++ = static_cast<uint8_t>(symbol);
      state = kAfterLiteral[state];
      continue;
    }
    uint32_t length = 0;
    if (!DecodeBit(c, models.is_rep[state])) {
      rep3 = rep2;
      rep2 = rep1;
      rep1 = rep0;
      length = DecodeLength(c, models.match_length, position_state);
      rep0 = DecodeDistance(c, models, length);
      state = AfterMatch(state);
      if (rep0 == 0) {
        result = LoopEnd::kEndMark;
        break;
      }
    } else {
      if (!DecodeBit(c, models.is_not_rep0[state])) {
        if (!DecodeBit(c, models.is_long_rep0[state][position_state])) {
          state = AfterShortRep(state);
          length = 1;
        }
      } else {
        uint32_t distance = rep1;
        if (DecodeBit(c, models.is_not_rep1[state])) {
          distance = rep2;
          if (DecodeBit(c, models.is_not_rep2[state])) {
            distance = rep3;
            rep3 = rep2;
          }
          rep2 = rep1;
        }
        rep1 = rep0;
        rep0 = distance;
      }
      if (length == 0) {
        length = DecodeLength(c, models.rep_length, position_state);
        state = AfterRep(state);
      }
    }
    if (rep0 > reach) [[unlikely]] {
      const uint64_t since = output.reach + static_cast<uint64_t>(out - output.out);
      if (rep0 > since || rep0 > output.window) {
        result = LoopEnd::kBad;
        break;
      }
    }
    CopyMatch(out, rep0, length);
    out += length;
  }

  coder = c;
  where.state = state;
  where.distances[0] = rep0;
  where.distances[1] = rep1;
  where.distances[2] = rep2;
  where.distances[3] = rep3;
  where.produced += static_cast<uint64_t>(out - output.out);
  output.out = out;
  return result;
}

}  // namespace brix::lzma
