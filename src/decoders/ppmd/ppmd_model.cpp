// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/ppmd/ppmd_model.h"

#include <algorithm>
#include <cassert>

namespace brix::ppmd {

namespace {

constexpr uint32_t kMostContexts = 64;  // made at once: one for each order

// What the shared probabilities begin with, by the low three bits of their place.
constexpr std::array<uint16_t, 8> kFirstProbability = {0x3CDD, 0x1F3F, 0x59BF, 0x48F3,
                                                       0x64A1, 0x5ABC, 0x6632, 0x6051};

}  // namespace

// What the tables hold in a fresh model: copied, since a stream may ask for a fresh model every few bytes.
struct Model::Tables {
  std::array<ProbabilityRow, kMostOnly> probabilities;
  std::array<EscapeRow, kOpenClasses> escapes;
  std::array<State, 256> states;

  static constexpr Tables Make() {
    Tables tables{};
    for (uint32_t i = 0; i < kMostOnly; ++i) {
      for (uint32_t k = 0; k < 64; ++k) {
        tables.probabilities[i][k] =
            static_cast<Probability>((1u << kWholeBits) - kFirstProbability[k % 8] / (i + 2));
      }
    }
    for (uint32_t i = 0; i < kOpenClasses; ++i)
      tables.escapes[i].fill({static_cast<uint16_t>((5 * i + 10) << (kSlowest - 4)), kSlowest - 4, 4});
    for (uint32_t i = 0; i < 256; ++i) tables.states[i] = {static_cast<uint8_t>(i), 1, {}};
    return tables;
  }
};

bool Model::Start(uint32_t order, uint32_t memory_bytes) {
  if (!units_.Allocate(memory_bytes)) return false;
  order_ = order;
  no_escape_ = {0, kSlowest, 64};
  first_escape_ = 0;
  Restart();
  return true;
}

void Model::Restart() {
  static constexpr Tables kTables = Tables::Make();
  units_.Clear();
  missing_ = order_;
  run_ = first_run_ = 0u - std::min(order_, 12u) - 1;
  success_ = 0;
  high_before_ = 0;
  context_ = ContextAt(units_.TakeOne());
  *context_ = {256, 257, units_.Take(kLargest), 0};
  std::memcpy(StatesAt(context_->states), kTables.states.data(), sizeof kTables.states);
  probabilities_ = kTables.probabilities;
  escapes_ = kTables.escapes;
}

Model::Escape& Model::EscapeOf(const Context& context, uint32_t masked, uint32_t open) {
  if (context.count == 256) return no_escape_;
  const uint32_t count = context.count;
  const uint32_t suffix_count = ContextAt(context.suffix)->count;
  return escapes_[kOpenClass[(open - 1) % 256]][(open < suffix_count - count ? 1u : 0u) +
                                                (context.total < 11 * count ? 2u : 0u) +
                                                (masked > open ? 4u : 0u) + high_before_];
}

// Halves all frequencies of a context, with the state that was found in front and the others in order behind it.
// States that are left with nothing go. Returns where the found one is.
State* Model::Halve(Context& context, State* found) {
  State* const states = StatesAt(context.states);
  const uint32_t count = context.count;
  const State front = *found;
  std::memmove(states + 1, states,
               static_cast<size_t>(reinterpret_cast<uint8_t*>(found) - reinterpret_cast<uint8_t*>(states)));
  states[0] = front;
  states[0].frequency = static_cast<uint8_t>(front.frequency + 4);
  uint32_t escape = context.total + 4u - states[0].frequency;
  const uint32_t round_up = missing_ != 0 ? 1u : 0u;
  uint32_t sum = (states[0].frequency + round_up) >> 1;
  states[0].frequency = static_cast<uint8_t>(sum);
  for (uint32_t i = 1; i < count; ++i) {
    escape -= states[i].frequency;
    State state = states[i];
    state.frequency = static_cast<uint8_t>((state.frequency + round_up) >> 1);
    sum += state.frequency;
    uint32_t at = i;
    for (; at != 0 && state.frequency > states[at - 1].frequency; --at) states[at] = states[at - 1];
    states[at] = state;
  }
  uint32_t left = count;
  while (left > 1 && states[left - 1].frequency == 0) --left;
  escape += count - left;
  const uint32_t units = (count + 1) / 2;
  context.count = static_cast<uint16_t>(left);
  if (left == 1) {
    State only = states[0];
    do {
      only.frequency = static_cast<uint8_t>(only.frequency - (only.frequency >> 1));
      escape >>= 1;
    } while (escape > 1);
    units_.GiveBack(context.states, units);
    *context.only() = only;
    return context.only();
  }
  context.total = static_cast<uint16_t>(sum + escape - (escape >> 1));
  if (units != (left + 1) / 2) context.states = units_.Shrink(context.states, units, (left + 1) / 2);
  return StatesAt(context.states);
}

// What a byte teaches that did not lead to a context of full order: `found` in `context`.
void Model::Learn(Context* context, State* found) {
  if (!Enter(context, found)) Restart();
}

// False: out of memory.
bool Model::Enter(Context* const context, State* const found) {
  const uint8_t symbol = found->symbol;
  const uint32_t frequency = found->frequency;
  State* shorter = nullptr;  // the byte's state in the next shorter context, when it was looked up
  if (found->successor() > units_.text()) Prefetch(found->successor());
  if (frequency < kMostFrequent / 4 && context->suffix != 0) {
    Context& suffix = *ContextAt(context->suffix);
    if (suffix.count == 1) {
      shorter = suffix.only();
      if (shorter->frequency < 32) ++shorter->frequency;
    } else {
      State* const states = StatesAt(suffix.states);
      const State* const last = states + suffix.count - 1;
      shorter = states;
      while (shorter->symbol != symbol && shorter != last) ++shorter;
      if (shorter != states && shorter[0].frequency >= shorter[-1].frequency) {
        std::swap(shorter[0], shorter[-1]);
        --shorter;
      }
      if (shorter->frequency < kMostFrequent - 9) {
        shorter->frequency = static_cast<uint8_t>(shorter->frequency + 2);
        suffix.total = static_cast<uint16_t>(suffix.total + 2);
      }
    }
  }
  if (missing_ == 0) {
    const uint32_t made = MakeContexts(context, found, shorter);
    if (made == 0) return false;
    found->SetSuccessor(made);
    context_ = ContextAt(made);
    return true;
  }
  if (!units_.Append(symbol)) return false;
  uint32_t for_new = units_.text();  // what the byte leads to where it is new
  uint32_t next = found->successor();
  if (next == 0) {
    found->SetSuccessor(for_new);
    next = OffsetOf(context);
  } else {
    if (next <= units_.text()) {
      next = MakeContexts(context, found, shorter);
      if (next == 0) return false;
    }
    if (--missing_ == 0) {
      for_new = next;
      if (context_ != context) units_.DropLast();
    }
  }
  const uint32_t count = context->count;
  const uint32_t rest = context->total - count - (frequency - 1);
  PrefetchStates(next);
  for (Context* longer = context_; longer != context; longer = ContextAt(longer->suffix)) {
    if (!AddState(*longer, symbol, for_new, frequency, count, rest)) return false;
  }
  context_ = ContextAt(next);
  return true;
}

// A byte that was new in a context, with a frequency guessed from the one where it was found.
bool Model::AddState(Context& context, uint8_t symbol, uint32_t successor, uint32_t frequency,
                     uint32_t count_there, uint32_t rest_there) {
  const uint32_t count = context.count;
  uint32_t total = context.total;
  if (count != 1) {
    if (count % 2 == 0) {
      const uint32_t grown = units_.Grow(context.states, count / 2);
      if (grown == 0) return false;
      context.states = grown;
    }
    total += (2 * count < count_there ? 1u : 0u) + (4 * count <= count_there && total <= 8 * count ? 2u : 0u);
  } else {
    const uint32_t array = units_.Take(1);
    if (array == 0) return false;
    State only = *context.only();
    only.frequency =
        static_cast<uint8_t>(only.frequency < kMostFrequent / 4 - 1 ? only.frequency * 2 : kMostFrequent - 4);
    *StatesAt(array) = only;
    context.states = array;
    total = only.frequency + first_escape_ + (count_there > 3 ? 1u : 0u);
  }
  const uint32_t here = 2 * frequency * (total + 6);
  const uint32_t there = rest_there + total;
  uint32_t guess = 0;
  if (here < 6 * there) {
    guess = 1 + (here > there ? 1u : 0u) + (here >= 4 * there ? 1u : 0u);
    total += 3;
  } else {
    guess =
        4 + (here >= 9 * there ? 1u : 0u) + (here >= 12 * there ? 1u : 0u) + (here >= 15 * there ? 1u : 0u);
    total += guess;
  }
  State& state = StatesAt(context.states)[count];
  state.symbol = symbol;
  state.frequency = static_cast<uint8_t>(guess);
  state.SetSuccessor(successor);
  context.total = static_cast<uint16_t>(total);
  context.count = static_cast<uint16_t>(count + 1);
  return true;
}

// Makes contexts out of a place in the text: one below each context, from `context` down, in which the byte leads
// there too. Each has one state, the byte that stands at that place. Returns the longest, or 0: out of memory.
//
// shorter  the byte's state in the next shorter context, when it is known.
uint32_t Model::MakeContexts(Context* context, State* found, State* shorter) {
  std::array<State*, kMostContexts> leading;
  uint32_t count = 0;
  const uint8_t symbol = found->symbol;
  const uint32_t place = found->successor();
  if (missing_ != 0) leading[count++] = found;
  uint32_t made = 0;
  while (context->suffix != 0) {
    context = ContextAt(context->suffix);
    State* state = shorter;
    shorter = nullptr;
    if (state == nullptr) {
      if (context->count == 1) {
        state = context->only();
      } else {
        state = StatesAt(context->states);
        const State* const last = state + context->count - 1;
        while (state->symbol != symbol && state != last) ++state;
      }
    }
    if (state->successor() != place) {
      made = state->successor();
      if (made <= units_.text()) return 0;
      context = ContextAt(made);
      break;
    }
    if (count == kMostContexts) return 0;
    leading[count++] = state;
  }
  if (made == 0) made = OffsetOf(context);
  if (count == 0) return made;

  if (place >= units_.text()) return 0;
  const uint8_t next_symbol = *units_.At(place);
  uint32_t frequency = 0;
  if (context->count == 1) {
    frequency = context->only()->frequency;
  } else {
    const State* state = StatesAt(context->states);
    const State* const last = state + context->count - 1;
    while (state->symbol != next_symbol && state != last) ++state;
    const uint32_t times = state->frequency - 1u;
    const uint32_t rest = context->total - context->count - times;
    frequency =
        1 + (2 * times <= rest ? (5 * times > rest ? 1u : 0u) : (2 * times + 3 * rest - 1) / (2 * rest));
  }
  while (count != 0) {
    const uint32_t child = units_.TakeOne();
    if (child == 0) return 0;
    Context& fresh = *ContextAt(child);
    fresh.count = 1;
    fresh.suffix = made;
    State& only = *fresh.only();
    only.symbol = next_symbol;
    only.frequency = static_cast<uint8_t>(frequency);
    only.SetSuccessor(place + 1);
    leading[--count]->SetSuccessor(child);
    made = child;
  }
  return made;
}

}  // namespace brix::ppmd
