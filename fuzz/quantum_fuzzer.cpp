// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Quantum. The first byte gives the window (low half) and whether the rest is two units to decode, cut in the middle,
// or stands for literals and matches that an encoder packs: those must come back whatever their order.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "decoders/quantum/quantum_decoder.h"
#include "quantum_encoder.h"

namespace {

using Data = std::vector<uint8_t>;
using brix::QuantumDecoder;

void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// Exactly as much memory as the decoder may touch.
bool Decode(QuantumDecoder& decoder, const Data& packed, uint32_t size, Data* plain) {
  Data padded = packed;
  padded.resize(packed.size() + QuantumDecoder::kSlack, 0xEE);
  std::span<const uint8_t> out;
  if (!decoder.DecodeBlock(std::span(padded).first(packed.size()), size, &out)) return false;
  Promise(out.size() == size, "the size is what was asked for");
  plain->insert(plain->end(), out.begin(), out.end());
  return true;
}

void DecodeTwo(QuantumDecoder& decoder, const Data& input) {
  const auto middle = input.begin() + static_cast<ptrdiff_t>(input.size() / 2);
  const uint32_t size = std::min(QuantumDecoder::kMostOutput, static_cast<uint32_t>(input.size()) * 16);
  Data once;
  Data again;
  for (Data* plain : {&once, &again}) {
    decoder.Reset();
    if (Decode(decoder, Data(input.begin(), middle), size, plain)) {
      (void)Decode(decoder, Data(middle, input.end()), 1 + input[0], plain);
    }
  }
  Promise(once == again, "a reset decoder gives the same again");
}

constexpr uint32_t kLengths[] = {3, 4, 5, 6, 20, 100, 258, 259};

// Three bytes a literal or match; the input over and over, so that small ones reach far into the models.
void RoundTrip(QuantumDecoder& decoder, uint32_t window_bits, const Data& input) {
  decoder.Reset();
  brix::QuantumEncoder encoder(window_bits);
  Data plain;
  size_t at = 0;
  for (size_t left = input.size() * 3; left != 0;) {
    std::vector<brix::Token> tokens;
    uint32_t size = 0;
    for (; left != 0; --left) {
      const auto next = [&] { return static_cast<uint32_t>(input[at++ % input.size()]); };
      const uint32_t kind = next();
      const uint32_t value = next() | next() << 8 | (kind & 31) << 16;
      const uint32_t length = kLengths[kind / 32];
      if (kind % 2 == 0 || length > QuantumDecoder::kMostOutput - size) {
        tokens.push_back({value & 0xFF, 0});
        ++size;
      } else {
        const uint32_t reach = std::min(window_bits, length == 3   ? 12u
                                                     : length == 4 ? 18u
                                                                   : 21u);  // short matches do not reach far
        tokens.push_back({length, 1 + (value & ((1u << reach) - 1))});
        size += length;
      }
      if (size == QuantumDecoder::kMostOutput) break;
    }
    Promise(Decode(decoder, encoder.Unit(tokens, 2 + input[0] % 15), size, &plain),
            "what was packed decodes");
  }
  Promise(plain == encoder.plain, "what was packed comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > (1 << 16)) return 0;
  const uint32_t window_bits = 10 + data[0] % 12;
  const Data input(data + 1, data + size);
  // One decoder for each window serves all inputs: nothing of a stream may show in the next.
  static std::unique_ptr<QuantumDecoder> decoders[12];
  std::unique_ptr<QuantumDecoder>& decoder = decoders[window_bits - 10];
  if (decoder == nullptr) decoder = std::make_unique<QuantumDecoder>(window_bits);
  if (data[0] >= 128 && size <= 4096) {
    RoundTrip(*decoder, window_bits, input);
  } else {
    DecodeTwo(*decoder, input);
  }
  return 0;
}
