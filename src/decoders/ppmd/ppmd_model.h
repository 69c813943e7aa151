// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// ppmd_model.h - the model of PPMd variant H: what the next byte is likely to be, by what stood before.
//
// A context stands for the bytes that led to it and holds a state for each byte that followed: how often, and the
// context that the byte leads to (or, so long as it came only once, where in the text it stands). A byte is looked for
// in the longest context; when it was new there, an escape was coded and the next shorter one is asked, without the
// bytes that the longer one had. The shortest has all 256. What is odd about this variant:
//
// - A context of one state has no room for a total; its byte is coded as yes or no, by a table of probabilities that
//   all such contexts share. How likely an escape is elsewhere is learned in a second table, by what contexts have in
//   common (Escape). Both make the model good, and each rounding in them is part of the format.
// - A new byte enters all contexts from the longest down to where it was found, with a frequency guessed from there.
// - Memory that runs out makes the model begin anew, in the middle of a byte's update.
//
// The coder is a parameter: a decoder asks it where the code falls, an encoder (there is one in the tests) answers
// from the byte it wants; nothing else differs, so they cannot drift apart. It has
//
//   Look(states, end, open)  before each choice; an encoder finds its byte among the states for which open(state)
//   Divide(total)            the range into equal parts; then
//   IsBelow(count)           whether the code falls into the first `count` of them, and
//   Narrow(start, size)      to the parts that were chosen
//   IsBelowOf(part), NarrowTo(part), NarrowPast(part)    the same for a choice by 1 / kWhole
//
// Bounds. Input only chooses symbols: what the code may fall into is a state of the context, or the escape while there
// is a shorter one. So all offsets are the model's own, a context has at most 256 states and these hold different
// bytes, each of which its shorter contexts have too. Searches end by the number of states nevertheless, and a context
// is only taken for one when it lies behind the text.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "decoders/match_copy.h"
#include "decoders/ppmd/ppmd_units.h"

namespace brix::ppmd {

inline constexpr uint32_t kWholeBits = 14;  // of the shared probabilities
inline constexpr uint32_t kMostFrequent = 124;

// How often a byte followed, and what it leads to: the offset of a context, or of the byte behind it in the text.
struct [[gnu::may_alias]] State {
  [[nodiscard]] uint32_t successor() const { return LoadLe32(successor_bytes); }
  void SetSuccessor(uint32_t offset) { std::memcpy(successor_bytes, &offset, sizeof offset); }

  uint8_t symbol;
  uint8_t frequency;
  uint8_t successor_bytes[4];
};
static_assert(sizeof(State) * 2 == kUnit);

// With one state that state stands in place of `total` and `states`.
struct [[gnu::may_alias]] Context {
  [[nodiscard]] State* only() { return reinterpret_cast<State*>(reinterpret_cast<uint8_t*>(this) + 2); }

  uint16_t count;   // of states, at most 256
  uint16_t total;   // of their frequencies and the escape's
  uint32_t states;  // offset of the array
  uint32_t suffix;  // offset of the next shorter context; 0 in the shortest
};
static_assert(sizeof(Context) == kUnit);

// Twice a class, 0 to 3, of how many states the next shorter context has, less one.
inline constexpr auto kCountClass = [] {
  std::array<uint8_t, 256> classes{};
  for (uint32_t i = 0; i < 256; ++i) classes[i] = i == 0 ? 0 : i == 1 ? 2 : i < 11 ? 4 : 6;
  return classes;
}();

// A class of how many states are open, less one: 0, 1, 2, then a class of one number, of two, of three, and so on.
inline constexpr uint32_t kOpenClasses = 25;
inline constexpr auto kOpenClass = [] {
  std::array<uint8_t, 256> classes{};
  uint32_t at = 3;
  for (uint32_t i = 0; i < 3; ++i) classes[i] = static_cast<uint8_t>(i);
  for (uint8_t members = 1; at < 256; ++members) {
    for (uint32_t i = 0; i < members && at < 256; ++i) classes[at++] = static_cast<uint8_t>(members + 2);
  }
  return classes;
}();
static_assert(kOpenClass[255] == kOpenClasses - 1);

// By how likely the only state still is after an escape from it, in 16 steps.
inline constexpr std::array<uint8_t, 16> kFirstEscape = {25, 14, 9, 7, 5, 5, 4, 4, 4, 3, 3, 3, 2, 2, 2, 2};

class Model {
 public:
  // False: no memory. The caller has bounded both.
  [[nodiscard]] bool Start(uint32_t order, uint32_t memory_bytes);

  // The next symbol, or -1: the code falls outside of what the model has, after which the model is of no use.
  template <typename Coder>
  BRIX_ALWAYS_INLINE int Next(Coder& coder);

 private:
  // How likely an escape is, learned from contexts alike: a sum of totals, of which an escape has one part in
  // 1 << shift. The shift grows until the sum is an average over many.
  struct Escape {
    uint16_t sum;
    uint8_t shift;
    uint8_t until_slower;
  };
  using EscapeRow = std::array<Escape, 16>;
  using Probability = uint16_t;
  using ProbabilityRow = std::array<Probability, 64>;
  struct Tables;

  static constexpr uint32_t kSlowest = 7;     // shift of what is fully learned
  static constexpr uint32_t kMostOnly = 128;  // frequency of an only state

  void Restart();
  template <typename Coder>
  BRIX_ALWAYS_INLINE State* FindShorter(Coder& coder, Context*& context, uint32_t masked);
  BRIX_ALWAYS_INLINE Probability& ProbabilityOf(Context* context);
  Escape& EscapeOf(const Context& context, uint32_t masked, uint32_t open);
  [[nodiscard]] State* Halve(Context& context, State* found);
  void Learn(Context* context, State* found);
  [[nodiscard]] bool Enter(Context* context, State* found);
  [[nodiscard]] uint32_t MakeContexts(Context* context, State* found, State* shorter);
  [[nodiscard]] bool AddState(Context& context, uint8_t symbol, uint32_t successor, uint32_t frequency,
                              uint32_t count_there, uint32_t rest_there);

  [[nodiscard]] Context* ContextAt(uint32_t offset) {
    return static_cast<Context*>(static_cast<void*>(units_.At(offset)));
  }
  [[nodiscard]] State* StatesAt(uint32_t offset) {
    return static_cast<State*>(static_cast<void*>(units_.At(offset)));
  }
  [[nodiscard]] uint32_t OffsetOf(const void* p) {
    return static_cast<uint32_t>(static_cast<const uint8_t*>(p) - units_.At(0));
  }
  // Asks for memory that is likely to be needed soon. Contexts lie where the model grew, far apart.
  BRIX_ALWAYS_INLINE void Prefetch(uint32_t offset) { __builtin_prefetch(units_.At(offset)); }
  BRIX_ALWAYS_INLINE void PrefetchStates(uint32_t context) {
    if (context != 0) Prefetch(ContextAt(context)->states);
  }
  [[nodiscard]] BRIX_ALWAYS_INLINE uint32_t OpenFrequency(const State& state) const {
    return static_cast<uint32_t>(state.frequency & open_[state.symbol]);
  }

  Units units_;
  Context* context_ = nullptr;  // the longest, where the next byte is looked for
  uint32_t order_ = 0;
  uint32_t missing_ = 0;  // by how much `context_` is shorter than the order; counts escapes up meanwhile
  uint32_t run_ = 0;      // since the last byte that was found after an escape; below zero at first
  uint32_t first_run_ = 0;
  uint32_t high_before_ = 0;         // 8 when the byte before is 0x40 or more
  uint32_t success_ = 0;             // whether the byte before was thought likely
  uint32_t first_escape_ = 0;        // what a state's escape gets when a second joins it
  std::array<uint8_t, 256> open_{};  // all ones for a byte that no longer context had
  std::array<ProbabilityRow, kMostOnly> probabilities_;
  std::array<EscapeRow, kOpenClasses> escapes_;
  Escape no_escape_{};  // of contexts with all 256 bytes
};

inline constexpr uint32_t HighBit(uint32_t symbol) { return symbol >= 0x40 ? 8 : 0; }

Model::Probability& Model::ProbabilityOf(Context* context) {
  const State& only = *context->only();
  const Context& suffix = *ContextAt(context->suffix);
  const uint32_t suffix_count = suffix.count;
  Prefetch(suffix.states);  // looked at unless this byte is the one
  return probabilities_[(only.frequency - 1u) % kMostOnly][success_ + kCountClass[(suffix_count - 1) % 256] +
                                                           high_before_ + 2 * HighBit(only.symbol) +
                                                           (run_ >> 26 & 0x20)];
}

template <typename Coder>
int Model::Next(Coder& coder) {
  Context* context = context_;
  State* found = nullptr;
  if (context->count != 1) {
    State* const states = StatesAt(context->states);
    State* const end = states + context->count;
    const uint32_t total = context->total;
    Prefetch(context->suffix);
    coder.Look(states, end, [](const State&) { return true; });
    coder.Divide(total);
    const uint32_t first = states->frequency;
    if (coder.IsBelow(first)) {
      found = states;
      success_ = 2 * first > total ? 1u : 0u;
      run_ += success_;
      coder.Narrow(0, first);
      context->total = static_cast<uint16_t>(total + 4);
      found->frequency = static_cast<uint8_t>(first + 4);
      if (first + 4 > kMostFrequent) [[unlikely]]
        found = Halve(*context, found);
    } else {
      success_ = 0;
      uint32_t sum = first;
      State* at = states + 1;
      while (at != end && !coder.IsBelow(sum += at->frequency)) ++at;
      if (at != end) {
        coder.Narrow(sum - at->frequency, at->frequency);
        context->total = static_cast<uint16_t>(total + 4);
        at->frequency = static_cast<uint8_t>(at->frequency + 4);
        found = at;
        if (at[0].frequency > at[-1].frequency) {
          const State moved = at[0];
          at[0] = at[-1];
          *--found = moved;
          if (moved.frequency > kMostFrequent) [[unlikely]]
            found = Halve(*context, found);
        }
      } else {
        if (!coder.IsBelow(total)) return -1;
        coder.Narrow(sum, total - sum);
        PrefetchStates(context->suffix);
        open_.fill(0xFF);
        for (const State* state = states; state != end; ++state) open_[state->symbol] = 0;
      }
    }
  } else {
    Probability& probability = ProbabilityOf(context);
    const uint32_t part = probability;
    State* const only = context->only();
    coder.Look(only, only + 1, [](const State&) { return true; });
    const uint32_t change = (part + 32) >> 7;
    if (coder.IsBelowOf(part)) {
      coder.NarrowTo(part);
      probability = static_cast<Probability>(part + 128 - change);
      only->frequency = static_cast<uint8_t>(only->frequency + (only->frequency < kMostOnly ? 1u : 0u));
      success_ = 1;
      ++run_;
      found = only;
    } else {
      coder.NarrowPast(part);
      probability = static_cast<Probability>(part - change);
      first_escape_ = kFirstEscape[probability >> 10];
      success_ = 0;
      open_.fill(0xFF);
      open_[only->symbol] = 0;
    }
  }
  if (found == nullptr) {
    found = FindShorter(coder, context, context->count);
    if (found == nullptr) return -1;
  }
  const int symbol = found->symbol;
  high_before_ = HighBit(found->symbol);
  const uint32_t successor = found->successor();
  if (missing_ == 0 && successor > units_.text()) {
    context_ = ContextAt(successor);
  } else {
    Learn(context, found);
  }
  return symbol;
}

// The state of the byte, after an escape from `context` with `masked` states, and the context that has it; or null.
// Each turn goes to a shorter context.
template <typename Coder>
State* Model::FindShorter(Coder& coder, Context*& context, uint32_t masked) {
  for (;;) {
    do {
      ++missing_;
      if (context->suffix == 0) return nullptr;
      context = ContextAt(context->suffix);
    } while (context->count == masked);
    State* const states = StatesAt(context->states);
    State* const end = states + context->count;
    // No branches and no more work than this: most states that are looked at are looked at here.
    uint32_t sum = 0;
    State* state = states;
    if (context->count % 2 != 0) sum = OpenFrequency(*state++);
    uint32_t sum_of_odd = 0;
    for (; state != end; state += 2) {
      sum += OpenFrequency(state[0]);
      sum_of_odd += OpenFrequency(state[1]);
    }
    sum += sum_of_odd;
    Escape& escape = EscapeOf(*context, masked, context->count - masked);
    uint32_t total = 1;
    if (&escape != &no_escape_) {
      const uint32_t part = static_cast<uint32_t>(escape.sum) >> escape.shift;
      escape.sum = static_cast<uint16_t>(escape.sum - part);
      total = part == 0 ? 1 : part;
    }
    total += sum;
    coder.Look(states, end, [this](const State& at) { return open_[at.symbol] != 0; });
    coder.Divide(total);
    if (coder.IsBelow(sum)) {
      State* found = states;
      uint32_t upper = OpenFrequency(*found);
      while (!coder.IsBelow(upper)) upper += OpenFrequency(*++found);  // at the last one it is `sum`
      const uint32_t frequency = found->frequency;
      coder.Narrow(upper - frequency, frequency);
      if (escape.shift < kSlowest && --escape.until_slower == 0) {
        escape.sum = static_cast<uint16_t>(escape.sum * 2);
        escape.until_slower = static_cast<uint8_t>(3u << escape.shift++);
      }
      context->total = static_cast<uint16_t>(context->total + 4);
      found->frequency = static_cast<uint8_t>(frequency + 4);
      run_ = first_run_;
      return frequency + 4 > kMostFrequent ? Halve(*context, found) : found;
    }
    if (!coder.IsBelow(total)) return nullptr;
    coder.Narrow(sum, total - sum);
    PrefetchStates(context->suffix);
    escape.sum = static_cast<uint16_t>(escape.sum + total);
    for (state = states; state != end; ++state) open_[state->symbol] = 0;
    masked = context->count;
  }
}

}  // namespace brix::ppmd
