// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// pack_quantum.cpp - packs standard input into a cabinet of one member by Quantum, since nothing packaged makes one:
// greedy matches over chains of equal hashes, coded by the encoder of the fuzz target.
#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>
#include <vector>

#include "quantum_encoder.h"
#include "support/cabinet_builder.h"

namespace {

using brix::Token;

constexpr uint32_t kWindowBits = 21, kUnit = 32768, kLongest = 259, kMostTries = 64;
constexpr uint32_t kEndBits = 18;  // 7zz wants two zeros behind the 16 that the coder looks ahead at

class Matcher {
 public:
  explicit Matcher(const std::vector<uint8_t>& data) : data_(data), before_(data.size()) {}

  // What is coded at `at`, in at most `room` bytes.
  Token Next(size_t at, uint32_t room) {
    const uint32_t most = std::min(room, kLongest);
    Token best = {data_[at], 0};
    uint32_t length_of_best = 2, tries = kMostTries;
    for (size_t from = most < 3 ? 0 : heads_[HashAt(at)]; from != 0 && tries-- != 0;
         from = before_[from - 1]) {
      const size_t distance = at - (from - 1);
      if (distance >= size_t{1} << kWindowBits) break;
      const auto here = data_.begin() + static_cast<ptrdiff_t>(at);
      const auto there = data_.begin() + static_cast<ptrdiff_t>(from - 1);
      const auto length = static_cast<uint32_t>(std::mismatch(here, here + most, there).first - here);
      const uint32_t reach = length == 3   ? 12
                             : length == 4 ? 18
                                           : kWindowBits;  // short ones do not reach far
      if (length <= length_of_best || distance >= size_t{1} << reach) continue;
      length_of_best = length;
      best = {length, static_cast<uint32_t>(distance)};
    }
    return best;
  }

  void Enter(size_t at) {
    if (data_.size() - at < 3) return;
    uint32_t& head = heads_[HashAt(at)];
    before_[at] = std::exchange(head, static_cast<uint32_t>(at + 1));
  }

 private:
  [[nodiscard]] size_t HashAt(size_t at) const {
    return (data_[at] | uint32_t{data_[at + 1]} << 8 | uint32_t{data_[at + 2]} << 16) * 2654435761u >> 16;
  }

  const std::vector<uint8_t>& data_;
  std::array<uint32_t, 1 << 16> heads_{};  // positions, each one more; 0 is none
  std::vector<uint32_t> before_;           // the one before with the same hash
};

}  // namespace

int main() {
  std::vector<uint8_t> data;
  std::array<uint8_t, 65536> piece;
  for (size_t got = 0; (got = std::fread(piece.data(), 1, piece.size(), stdin)) != 0;) {
    data.insert(data.end(), piece.begin(), piece.begin() + static_cast<ptrdiff_t>(got));
  }
  Matcher matcher(data);
  brix::QuantumEncoder encoder(kWindowBits);
  brix::Cabinet cabinet;
  cabinet.folders.push_back({2 | kWindowBits << 8, {}, {}});
  cabinet.files.push_back({"quantum.dat", static_cast<uint32_t>(data.size())});
  for (size_t at = 0; at < data.size();) {
    const size_t end = std::min(data.size(), at + kUnit);
    const auto unit_size = static_cast<uint32_t>(end - at);
    std::vector<Token> tokens;
    while (at < end) {
      tokens.push_back(matcher.Next(at, static_cast<uint32_t>(end - at)));
      for (uint32_t left = tokens.back().distance == 0 ? 1 : tokens.back().length; left != 0; --left)
        matcher.Enter(at++);
    }
    cabinet.folders[0].blocks.push_back({brix::Bytes().Raw(encoder.Unit(tokens, kEndBits)), unit_size});
  }
  brix::Bytes out = cabinet.Build();
  out.PatchU32(8, out.size());                                           // the others look at these
  for (const uint32_t block : cabinet.block_at) out.PatchU32(block, 0);  // no checksum
  return encoder.plain == data && std::fwrite(out.data.data(), 1, out.data.size(), stdout) == out.data.size()
             ? 0
             : 1;
}
