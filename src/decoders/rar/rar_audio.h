// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_audio.h - the predictor of sampled sound, of 2.0 audio blocks and of the 2.9 audio filter.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>

namespace brix::rar {

// Predicts each byte of a channel from the one before, weighted by the channel's last kTerms differences, and every 32
// bytes moves one weight by one, to where the error would have been least. A 2.0 block has five terms, of which the
// last is the difference that the channel decoded before this one had; the filter has three.
//
// All arithmetic wraps; weights stay within -17 to 16.
template <uint32_t kTerms>
class AudioChannel {
 public:
  // The byte that `error` stands for. `*other`: the neighbour's difference; out: this channel's, for the next.
  uint8_t Decode(uint8_t error, int32_t* other) {
    constexpr uint32_t kOwn = kTerms == 5 ? 4 : 3;
    std::array<int32_t, kTerms> difference;
    difference[0] = last_difference_;
    difference[1] = last_difference_ - before_[0];
    for (uint32_t i = 2; i < kOwn; ++i) difference[i] = before_[i - 1];
    if constexpr (kTerms > kOwn) difference[kOwn] = *other;
    for (uint32_t i = 0; i < kOwn; ++i) before_[i] = difference[i];

    int32_t sum = 8 * last_byte_;
    for (uint32_t i = 0; i < kTerms; ++i) sum += weights_[i] * difference[i];
    const auto byte = static_cast<uint8_t>((sum >> 3) - error);

    const int32_t scaled = Signed(error) * 8;
    costs_[0] += static_cast<uint32_t>(std::abs(scaled));
    for (uint32_t i = 0; i < kTerms; ++i) {
      costs_[1 + 2 * i] += static_cast<uint32_t>(std::abs(scaled - difference[i]));
      costs_[2 + 2 * i] += static_cast<uint32_t>(std::abs(scaled + difference[i]));
    }
    last_difference_ = *other = Signed(byte - last_byte_);
    last_byte_ = byte;
    return byte;
  }

  // To be called behind every 32nd byte of a block, or in front of it, as the method has it.
  void Adapt() {
    uint32_t least = 0;
    for (uint32_t i = 1; i < costs_.size(); ++i) {
      if (costs_[i] < costs_[least]) least = i;
    }
    costs_.fill(0);
    if (least == 0) return;
    int32_t& weight = weights_[(least - 1) / 2];
    if (least % 2 == 1 && weight >= -16) --weight;
    if (least % 2 == 0 && weight < 16) ++weight;
  }

 private:
  // The low eight bits, as a number from -128 on.
  static constexpr int32_t Signed(int32_t value) { return ((value + 128) & 0xFF) - 128; }

  int32_t last_byte_ = 0;
  int32_t last_difference_ = 0;
  std::array<int32_t, kTerms> before_{};  // the differences of the last byte's prediction
  std::array<int32_t, kTerms> weights_{};
  std::array<uint32_t, 1 + 2 * kTerms> costs_{};  // of each weight as it is, and moved down and up
};

}  // namespace brix::rar
