// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_codes.h - writes the code length lists of ZIP's imploding method.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "support/deflate_builder.h"

namespace brix {

// Lengths of a complete code for a power of two `symbols`. `longest` bits are reached by splitting the
// deepest code again and again, the rest comes from the shallowest; with log2(symbols) all are equal.
inline std::vector<uint8_t> CompleteLengths(uint32_t symbols, uint32_t longest) {
  std::vector<uint8_t> lengths{0};
  while (lengths.size() < symbols) {
    auto split = std::max_element(lengths.begin(), lengths.end());
    if (*split >= longest) split = std::min_element(lengths.begin(), lengths.end());
    lengths.push_back(++*split);
  }
  return lengths;
}

// A list of code lengths as it is stored: a byte per run of equal ones.
inline void PutLengths(const std::vector<uint8_t>& lengths, BitWriter* to) {
  std::vector<uint32_t> runs;
  for (size_t i = 0, run = 1; i < lengths.size(); i += run, run = 1) {
    while (run < 16 && i + run < lengths.size() && lengths[i + run] == lengths[i]) ++run;
    runs.push_back(static_cast<uint32_t>(run - 1) << 4 | (lengths[i] - 1u));
  }
  to->Put(runs.size() - 1, 8);
  for (const uint32_t run : runs) to->Put(run, 8);
}

// Lists for lengths and distances of 6 bits each: a symbol's code is its complement, sent high bit first.
inline BitWriter FlatTrees(uint32_t trees) {
  BitWriter w;
  if (trees == 3) PutLengths(CompleteLengths(256, 8), &w);
  PutLengths(CompleteLengths(64, 6), &w);
  PutLengths(CompleteLengths(64, 6), &w);
  return w;
}

// The shortest match from the farthest distance - high part 63 and low bits set, length symbol 0 - and a
// literal. It gives `trees` zeros, since nothing stands so far back, and "y".
inline std::vector<uint8_t> FarthestMatch(uint32_t window, uint32_t trees) {
  BitWriter w = FlatTrees(trees).Put(0, 1).Put(127, window == 8192 ? 7 : 6).Put(0, 6).Put(63, 6).Put(1, 1);
  return (trees == 3 ? w.PutCode(0xFF ^ 'y', 8) : w.Put('y', 8)).bytes();
}

}  // namespace brix
