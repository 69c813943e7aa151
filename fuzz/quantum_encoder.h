// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// quantum_encoder.h - writes Quantum units token by token, for the round trip that the fuzz target makes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/deflate_builder.h"  // Token

namespace brix {

class QuantumEncoder {
 public:
  explicit QuantumEncoder(uint32_t window_bits)
      : models_{{7, 0},
                {64, 0},
                {64, 64},
                {64, 128},
                {64, 192},
                {std::min(2 * window_bits, 24u), 0},
                {std::min(2 * window_bits, 36u), 0},
                {2 * window_bits, 0},
                {27, 0}} {}

  std::vector<uint8_t> plain;  // what all units so far decode to

  // One unit. Of the 16 bits that the coder looks ahead at, `end_bits` are there behind the last symbol, or all when
  // others stand behind them.
  std::vector<uint8_t> Unit(const std::vector<Token>& tokens, uint32_t end_bits = 16) {
    low_ = shifted_ = pending_ = 0;
    high_ = 0xFFFF;
    bits_.clear();
    raw_.clear();
    for (const Token& token : tokens) Put(token);
    Emit(1);
    bits_.resize(std::max(shifted_ + end_bits, raw_.empty() ? 0 : raw_.back().first));
    return Merge();
  }

 private:
  struct Model {
    Model(uint32_t count, uint32_t first) : sums(count + 1) {
      for (uint32_t i = 0; i < count; ++i) {
        symbols.push_back(first + i);
        sums[i] = count - i;
      }
    }
    void Rescale() {
      const bool sort = --until_sorted == 0;
      for (size_t i = symbols.size(); i-- != 0 && !sort;) sums[i] = std::max(sums[i] / 2, sums[i + 1] + 1);
      if (!sort) return;
      until_sorted = 50;
      for (size_t i = 0; i < symbols.size(); ++i) sums[i] = (sums[i] - sums[i + 1] + 1) / 2;
      for (size_t i = 0; i < symbols.size(); ++i) {
        for (size_t j = i + 1; j < symbols.size(); ++j) {
          if (sums[i] >= sums[j]) continue;
          std::swap(sums[i], sums[j]);
          std::swap(symbols[i], symbols[j]);
        }
      }
      for (size_t i = symbols.size(); i-- != 0;) sums[i] += sums[i + 1];
    }
    std::vector<uint32_t> symbols, sums;
    int until_sorted = 4;
  };

  void Put(const Token& token) {
    if (token.distance == 0) {
      Code(0, token.length / 64);
      Code(1 + token.length / 64, token.length);
      plain.push_back(static_cast<uint8_t>(token.length));
      return;
    }
    const uint32_t kind = std::min(token.length, 5u) - 3;
    // Slots: six, or four, of one value; then each next four, or two, of twice as many. The last length is alone.
    const auto put_slot = [&](size_t model, uint32_t value, uint32_t same, uint32_t group, uint32_t last) {
      uint32_t slot = 0;
      uint32_t extra_bits = 0;
      while (slot != last && value >> extra_bits != 0) {
        value -= 1u << extra_bits;
        ++slot;
        extra_bits = slot < same ? 0 : (slot - same) / group + 1;
      }
      Code(model, slot);
      if (slot != last) Raw(value, extra_bits);
    };
    Code(0, 4 + kind);
    if (kind == 2) put_slot(8, token.length - 5, 6, 4, 26);
    put_slot(5 + kind, token.distance - 1, 4, 2, 99);
    for (uint32_t i = 0; i < token.length; ++i) {
      plain.push_back(token.distance <= plain.size() ? plain[plain.size() - token.distance] : 0);
    }
  }

  void Code(size_t model_index, uint32_t symbol) {
    Model& model = models_[model_index];
    const auto at = static_cast<size_t>(std::ranges::find(model.symbols, symbol) - model.symbols.begin());
    const uint32_t range = high_ - low_ + 1;
    high_ = low_ + model.sums[at] * range / model.sums[0] - 1;
    low_ += model.sums[at + 1] * range / model.sums[0];
    for (size_t i = 0; i <= at; ++i) model.sums[i] += 8;
    if (model.sums[0] > 3800) model.Rescale();
    for (;; ++shifted_) {
      if (high_ < 0x8000 || low_ >= 0x8000) {
        Emit(low_ >> 15);
      } else if (low_ >= 0x4000 && high_ < 0xC000) {
        ++pending_;
        low_ -= 0x4000;
        high_ -= 0x4000;
      } else {
        return;
      }
      low_ = low_ << 1 & 0xFFFF;
      high_ = (high_ << 1 & 0xFFFF) | 1;
    }
  }

  void Emit(uint32_t bit) {
    bits_.push_back(bit);
    bits_.insert(bits_.end(), std::exchange(pending_, 0), 1 - bit);
  }

  // Bits as they stand: behind the 16 that the coder looks at.
  void Raw(uint32_t value, uint32_t bits) {
    for (uint32_t i = bits; i-- != 0;) raw_.emplace_back(shifted_ + 16, value >> i & 1);
  }

  std::vector<uint8_t> Merge() {
    std::vector<uint8_t> bytes;
    uint32_t used = 0;
    const auto put = [&](uint32_t bit) {
      if (used % 8 == 0) bytes.push_back(0);
      bytes.back() = static_cast<uint8_t>(bytes.back() | bit << (7 - used++ % 8));
    };
    auto raw = raw_.begin();
    for (size_t i = 0; i < bits_.size(); ++i) {
      for (; raw != raw_.end() && raw->first == i; ++raw) put(raw->second);
      put(bits_[i]);
    }
    for (; raw != raw_.end(); ++raw) put(raw->second);
    return bytes;
  }

  std::vector<Model> models_;
  uint32_t low_ = 0, high_ = 0, pending_ = 0;
  uint32_t shifted_ = 0;                            // bits that the decoder has dropped
  std::vector<uint32_t> bits_;                      // the coder's
  std::vector<std::pair<uint32_t, uint32_t>> raw_;  // and where the others stand between them
};

}  // namespace brix
