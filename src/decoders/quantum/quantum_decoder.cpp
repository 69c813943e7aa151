// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// quantum_decoder.cpp - LZ77 under an adaptive arithmetic coder.
//
// A symbol of the selector model comes first. 0 to 3: a literal of that quarter of the byte values, by the
// quarter's model. 4, 5, 6: a match of 3, of 4, or of a coded length of at least 5 bytes, and its distance by a
// model of its own: a slot, then the slot's extra bits. Extra bits stand in the input as they are, behind the 16
// bits that the coder has looked at.
//
// What is odd: the coder keeps 16-bit bounds and drops the bits that both share, and those by which they straddle
// the middle; how many is counted first, and dropped at once. A unit's input may end up to 16 bits before what
// the coder looks at. Some readers want zero bits behind the last symbol; nothing is asked of them here.
//
// Output goes to one linear buffer with the history in front. When a unit has no room behind it, the last window
// moves to the front, which costs two bytes moved for each decoded with the largest windows.
//
// Bounds: after each symbol the coder's range is above 0x4000 and so a symbol's share is never empty, takes at
// most 14 bits and leaves the key below the model's total, whatever the input. A distance is at most the window;
// before the first byte there are zeros. A match that would pass the end of the unit is cut there. Each turn yields
// at least a byte, so a unit ends; the input is zeros behind its end, and what was taken from there is asked once
// a unit.
//
// Cost: a division and four multiplications for each of the two or three symbols of a turn.
#include "decoders/quantum/quantum_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "core/byte_order.h"
#include "core/refuse.h"
#include "decoders/match_copy.h"
#include "decoders/quantum/quantum_model.h"

namespace brix {

namespace {

using quantum::Coded;
using quantum::Model;

constexpr uint32_t kSelectors = 7;
constexpr uint32_t kQuarter = 64;
constexpr uint32_t kLengthSlots = 27;
constexpr uint32_t kShortSlots = 24;   // of distances, at most: for matches of 3 bytes
constexpr uint32_t kMiddleSlots = 36;  // and of 4
constexpr uint32_t kMostSlots = 2 * QuantumDecoder::kMaxWindowBits;
constexpr uint32_t kFirstMatch = 4;  // selector
constexpr uint32_t kShortest = 3;
constexpr uint32_t kLookAhead = 16;  // bits

struct Slot {
  uint32_t base;
  uint32_t extra_bits;
};

constexpr auto kDistances = [] {
  std::array<Slot, kMostSlots> slots{};
  uint32_t base = 1;
  for (uint32_t s = 0; s < kMostSlots; ++s) {
    slots[s] = {base, s < 4 ? 0 : s / 2 - 1};
    base += 1u << slots[s].extra_bits;
  }
  return slots;
}();
static_assert(kDistances[kMostSlots - 1].base + (1u << 19) - 1 == 1u << QuantumDecoder::kMaxWindowBits);

constexpr auto kLengths = [] {
  std::array<Slot, kLengthSlots> slots{};
  uint32_t base = 5;
  for (uint32_t s = 0; s < kLengthSlots; ++s) {
    slots[s] = {base, s < 6 || s == kLengthSlots - 1 ? 0 : (s - 2) / 4};
    base += 1u << slots[s].extra_bits;
  }
  return slots;
}();
static_assert(kLengths[kLengthSlots - 1].base == 259);

// n / d is n * kReciprocals[d] >> kReciprocalShift for n up to 0x10000 * d: the reciprocal is too large by less
// than 1, so the product is by less than 0x10000 * d, which is less than (1 << kReciprocalShift) / d.
constexpr uint32_t kReciprocalShift = 40;
constexpr auto kReciprocals = [] {
  std::array<uint64_t, quantum::kMostSum + 1> reciprocals{};
  for (uint64_t d = 1; d <= quantum::kMostSum; ++d)
    reciprocals[d] = (uint64_t{1} << kReciprocalShift) / d + 1;
  return reciprocals;
}();
static_assert(uint64_t{quantum::kMostSum} * quantum::kMostSum << 16 < uint64_t{1} << kReciprocalShift);

// The coder's bounds, and the bits ahead of it, of which the first 16 are its code. Lives in locals of one function.
class Coder {
 public:
  explicit Coder(std::span<const uint8_t> packed) : bytes_(packed.data()), size_(packed.size()) {}

  // Makes at least 56 bits available, 40 behind the code: zeros behind the end, where the input has slack.
  BRIX_ALWAYS_INLINE void Refill() {
    bits_ |= LoadBe64(bytes_ + std::min(at_, size_)) >> count_;
    at_ += (63 - count_) >> 3;
    count_ |= 56;
  }

  // Takes the n bits behind the code, at most 19, as they stand.
  BRIX_ALWAYS_INLINE uint32_t Take(uint32_t n) {
    const uint64_t behind = bits_ << kLookAhead;
    bits_ = (bits_ & kCodeBits) | (behind << n >> kLookAhead);
    count_ -= n;
    return static_cast<uint32_t>(behind >> 1 >> (63 - n));
  }

  // The next symbol; takes at most 14 bits.
  template <uint32_t kGroup>
  BRIX_ALWAYS_INLINE uint32_t Symbol(Model& model) {
    const uint32_t range = high_ - low_ + 1;
    const uint32_t total = model.total();
    const uint64_t reciprocal = kReciprocals[total];
    const auto code = static_cast<uint32_t>(bits_ >> (64 - kLookAhead));
    const Coded coded = model.Find<kGroup>(((code - low_ + 1) * total - 1) / range);
    const uint32_t high =
        low_ + static_cast<uint32_t>(uint64_t{coded.upper * range} * reciprocal >> kReciprocalShift) - 1;
    const uint32_t low =
        low_ + static_cast<uint32_t>(uint64_t{coded.lower * range} * reciprocal >> kReciprocalShift);
    model.RescaleWhenFull();

    // The leading bits that both bounds share; then come a 0 and a 1; then those that are 1 and 0.
    const auto shared = static_cast<uint32_t>(__builtin_clz(low ^ high)) - 16;
    const auto straddling = static_cast<uint32_t>(__builtin_clz(~((low & ~high) << (17 + shared))));
    const uint32_t dropped = shared + straddling;
    low_ = (low << dropped) & 0x7FFF;
    high_ = ((((high + 1) << dropped) - 1) & 0x7FFF) | 0x8000;
    bits_ = (bits_ << dropped) ^ (uint64_t{straddling != 0} << 63);
    count_ -= dropped;
    return coded.symbol;
  }

  // Whether no symbol depended on bits behind the end of the input.
  [[nodiscard]] bool ok() const { return at_ * 8 - count_ <= size_ * 8; }

 private:
  static constexpr uint64_t kCodeBits = ~uint64_t{0} << (64 - kLookAhead);

  const uint8_t* const bytes_;
  const size_t size_;
  size_t at_ = 0;       // of the first byte not yet in bits_; may pass the end
  uint64_t bits_ = 0;   // the next ones, from the most significant down
  uint32_t count_ = 0;  // of them valid
  uint32_t low_ = 0;    // 16 bits each; low_ <= code <= high_
  uint32_t high_ = 0xFFFF;
};

// A match that begins before the first byte of all, where there are zeros.
void CopyFromBeforeStart(uint8_t* to, uint32_t available, uint32_t distance, uint32_t length) {
  const uint32_t zeros = std::min(distance - available, length);
  std::memset(to, 0, zeros);
  if (zeros != length) CopyMatch(to + zeros, distance, length - zeros);
}

}  // namespace

struct QuantumDecoder::Models {
  void Start(uint32_t window_bits) {
    const uint32_t slots = 2 * window_bits;
    selector.Start(kSelectors, 0);
    for (uint32_t i = 0; i < literals.size(); ++i) literals[i].Start(kQuarter, i * kQuarter);
    distances[0].Start(std::min(slots, kShortSlots), 0);
    distances[1].Start(std::min(slots, kMiddleSlots), 0);
    distances[2].Start(slots, 0);
    length.Start(kLengthSlots, 0);
  }

  Model selector;
  std::array<Model, 4> literals;   // by quarter of the byte values
  std::array<Model, 3> distances;  // for matches of 3 bytes, of 4, of more
  Model length;
};

QuantumDecoder::QuantumDecoder(uint32_t window_bits) : window_bits_(window_bits) {}

QuantumDecoder::~QuantumDecoder() = default;

bool QuantumDecoder::TakeMemory() {
  if (models_ != nullptr) return true;
  const uint32_t window = 1u << window_bits_;
  std::unique_ptr<Models> models(new (std::nothrow) Models);
  if (models == nullptr || !buffer_.TryResize(window + std::max(window / 2, 2 * kMostOutput) + kMatchSlack)) {
    return false;
  }
  models_ = std::move(models);
  Reset();
  return true;
}

void QuantumDecoder::Reset() {
  if (models_ != nullptr) models_->Start(window_bits_);
  position_ = 0;
  failed_ = false;
}

bool QuantumDecoder::DecodeBlock(std::span<uint8_t> packed, uint32_t expected,
                                 std::span<const uint8_t>* out) {
  if (window_bits_ < kMinWindowBits || window_bits_ > kMaxWindowBits) return Refuse("quantum: window size");
  if (failed_ || expected > kMostOutput || !TakeMemory()) return false;
  const uint32_t window = 1u << window_bits_;
  if (expected > buffer_.size() - kMatchSlack - position_) {
    std::memmove(buffer_.data(), buffer_.data() + position_ - window, window);
    position_ = window;
  }
  std::memset(packed.data() + packed.size(), 0, kSlack);
  uint8_t* const to = buffer_.data() + position_;
  failed_ = !DecodeSymbols(packed, to, to + expected);
  if (failed_) return false;
  position_ += expected;
  *out = {to, expected};
  return true;
}

bool QuantumDecoder::DecodeSymbols(std::span<const uint8_t> packed, uint8_t* out, uint8_t* out_end) {
  const uint8_t* const begin = buffer_.data();
  Models& models = *models_;
  Coder in(packed);
  while (out < out_end) {
    in.Refill();  // 40 bits behind the code: two symbols and at most 5 more
    const uint32_t selector = in.Symbol<8>(models.selector);
    if (selector < kFirstMatch) {
      *out++ = static_cast<uint8_t>(in.Symbol<16>(models.literals[selector]));
      continue;
    }
    uint32_t length = selector - kFirstMatch + kShortest;
    if (selector == kSelectors - 1) {
      const Slot slot = kLengths[in.Symbol<16>(models.length)];
      length = slot.base + in.Take(slot.extra_bits);
    }
    in.Refill();
    const Slot slot = kDistances[in.Symbol<16>(models.distances[selector - kFirstMatch])];
    const uint32_t distance = slot.base + in.Take(slot.extra_bits);
    length = std::min(length, static_cast<uint32_t>(out_end - out));
    const auto available = static_cast<uint32_t>(out - begin);
    if (distance > available) [[unlikely]] {
      CopyFromBeforeStart(out, available, distance, length);
    } else {
      CopyMatch(out, distance, length);
    }
    out += length;
  }
  return in.ok() || Refuse("quantum: short input");
}

}  // namespace brix
