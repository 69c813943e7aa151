// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// LZX: the first byte chooses the window, the pairing of the first unit and whether the decoder is reset between
// units; then come units, each behind its output's and its input's size.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "core/byte_order.h"
#include "decoders/lzx/lzx_decoder.h"

namespace {

constexpr int kMostUnits = 64;

struct Result {
  std::vector<bool> ok;
  std::vector<uint8_t> data;
};

Result Decode(std::span<const uint8_t> input, uint8_t slack) {
  const uint32_t choice = input[0];
  brix::LzxDecoder decoder(14 + choice % 8, choice >> 3 & 1);  // 14 is refused
  Result result;
  std::vector<uint8_t> unit;
  size_t at = 1;
  for (int i = 0; i < kMostUnits && input.size() - at >= 4; ++i) {
    const uint32_t expected = brix::LoadLe16(&input[at]);
    const size_t size = std::min<size_t>(brix::LoadLe16(&input[at + 2]), input.size() - at - 4);
    unit.assign(input.begin() + static_cast<ptrdiff_t>(at + 4),
                input.begin() + static_cast<ptrdiff_t>(at + 4 + size));
    unit.resize(size + brix::LzxDecoder::kSlack, slack);
    at += 4 + size;
    std::span<const uint8_t> out;
    result.ok.push_back(decoder.DecodeBlock({unit.data(), size}, (choice >> 4 & 1) != 0, expected, &out));
    if (out.size() != (result.ok.back() ? expected : 0)) std::abort();
    result.data.insert(result.data.end(), out.begin(), out.end());
    if ((choice >> 5 & 1) != 0 && decoder.Reset() != ((choice >> 3 & 1) != 0)) std::abort();
  }
  return result;
}

}  // namespace

// What stands behind the input, and in fresh memory, must not show in the output.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > (1 << 18)) return 0;
  const Result once = Decode({data, size}, 0xA5);
  const Result again = Decode({data, size}, 0x5A);
  if (once.ok != again.ok || once.data != again.data) std::abort();
  return 0;
}
