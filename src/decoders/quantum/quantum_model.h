// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// quantum_model.h - the adaptive frequency models of Quantum; included by quantum_decoder.cpp alone.
//
// A model keeps its symbols in an order of its own, the frequent ones mostly in front, and for each place the sum
// of the frequencies from there to the end. The symbol for a key stands before the first sum that is not above it;
// when it was coded its frequency rises by 8, which raises exactly the sums above the key. So finding and raising
// are one pass of comparisons, eight sums at a time where the processor has SSE2.
//
// Sums stay at or below kMostSum: past it they are halved, and every fiftieth time (the fourth at first) the
// frequencies are halved instead and the symbols put in order.
#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <array>
#include <bit>
#include <cstdint>
#include <utility>

#include "decoders/match_copy.h"

namespace brix::quantum {

inline constexpr uint32_t kMostSymbols = 64;
inline constexpr uint32_t kMostSum = 3800;

// What a symbol of a model was coded by: the half-open range [lower, upper) of [0, total).
struct Coded {
  uint32_t symbol;
  uint32_t lower;
  uint32_t upper;
};

class Model {
 public:
  // Symbols first, first + 1, ..., each as frequent as the others.
  void Start(uint32_t count, uint32_t first) {
    count_ = count;
    until_sorted_ = 4;
    sums_.fill(0);
    for (uint32_t i = 0; i < count; ++i) {
      sums_[i] = static_cast<uint16_t>(count - i);
      symbols_[i] = static_cast<uint8_t>(first + i);
    }
  }

  [[nodiscard]] uint32_t total() const { return sums_[0]; }

  // The symbol for a key below total(), whose frequency rises. Rescale() must follow when needed. kGroup sums are
  // looked at in a turn, 8 or 16; 8 for models of less than 8 symbols.
  template <uint32_t kGroup>
  BRIX_ALWAYS_INLINE Coded Find(uint32_t key) {
    static_assert(kGroup == 8 || kGroup == 16);
#ifdef __SSE2__
    const __m128i keys = _mm_set1_epi16(static_cast<int16_t>(key));
    const __m128i step = _mm_set1_epi16(8);
    // Ends at the zero behind the last sum at the latest.
    for (uint32_t at = 0;; at += kGroup) {
      auto* const place = reinterpret_cast<__m128i*>(sums_.data() + at);
      const __m128i sums = _mm_load_si128(place);
      const __m128i above = _mm_cmpgt_epi16(sums, keys);
      const __m128i raised = _mm_add_epi16(sums, _mm_and_si128(above, step));
      __m128i above_next = _mm_setzero_si128();
      __m128i raised_next = above_next;
      if constexpr (kGroup == 16) {
        const __m128i next = _mm_load_si128(place + 1);
        above_next = _mm_cmpgt_epi16(next, keys);
        raised_next = _mm_add_epi16(next, _mm_and_si128(above_next, step));
      }
      const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(above, above_next)));
      Coded coded{};
      const bool found = mask != 0xFFFF;
      if (found) [[likely]] {
        const uint32_t i = at + static_cast<uint32_t>(__builtin_ctz(~mask));
        // A sum in a group before this one was already raised, one in this group not yet.
        coded = {symbols_[i - 1], sums_[i], sums_[i - 1] - (i == at ? 8u : 0u)};
      }
      _mm_store_si128(place, raised);
      if constexpr (kGroup == 16) _mm_store_si128(place + 1, raised_next);
      if (found) [[likely]]
        return coded;
    }
#else
    uint32_t i = 0;
    for (; sums_[i] > key; ++i) sums_[i] = static_cast<uint16_t>(sums_[i] + 8);  // ends at the zero, too
    return {symbols_[i - 1], sums_[i], sums_[i - 1] - 8u};
#endif
  }

  BRIX_ALWAYS_INLINE void RescaleWhenFull() {
    if (sums_[0] > kMostSum) [[unlikely]]
      Rescale();
  }

 private:
  void Rescale() {
    if (--until_sorted_ != 0) {
      for (uint32_t i = count_; i-- != 0;) {
        const uint32_t half = sums_[i] / 2;
        sums_[i] = static_cast<uint16_t>(half > sums_[i + 1] ? half : sums_[i + 1] + 1);
      }
      return;
    }
    until_sorted_ = 50;
    // The places hold frequencies here.
    for (uint32_t i = 0; i < count_; ++i) {
      sums_[i] = static_cast<uint16_t>((sums_[i] - sums_[i + 1] + 1) / 2);
    }
    // The order of equal ones is part of the format, so it must be this very exchange sort.
    for (uint32_t i = 0; i + 1 < count_; ++i) {
      for (uint32_t j = i + 1; j < count_; ++j) {
        if (sums_[i] >= sums_[j]) continue;
        std::swap(sums_[i], sums_[j]);
        std::swap(symbols_[i], symbols_[j]);
      }
    }
    for (uint32_t i = count_; i-- != 0;) sums_[i] = static_cast<uint16_t>(sums_[i] + sums_[i + 1]);
  }

  alignas(16) std::array<uint16_t, kMostSymbols + 16> sums_;  // zeros behind the last
  std::array<uint8_t, kMostSymbols> symbols_;
  uint32_t count_;
  uint32_t until_sorted_;
};

}  // namespace brix::quantum
