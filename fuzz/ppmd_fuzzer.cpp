// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// PPMd. The first byte gives order and memory, and whether the rest is a stream to decode, in two runs, or bytes that an
// encoder packs: those must come back.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "core/memory_stream.h"
#include "decoders/ppmd/ppmd_decoder.h"
#include "support/ppmd_encoder.h"

namespace {

using Data = std::vector<uint8_t>;
using brix::PpmdDecoder;

constexpr uint32_t kMostDecoded = 1 << 10;
constexpr std::array<uint8_t, 8> kOrders = {2, 3, 4, 5, 8, 16, 40, 64};
constexpr std::array<uint32_t, 8> kMemory = {2048, 2052, 2400, 3000, 4096, 6000, 16384, 1 << 20};

void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// One run until it fails or `most` bytes came: exactly as many bytes of memory as there are.
void Decode(PpmdDecoder& decoder, const Data& packed, uint32_t most, Data* plain) {
  brix::FixedMemoryStream stream(packed);
  brix::InputOver in(stream);
  if (!decoder.StartRange(in)) return;
  plain->resize(plain->size() + most);
  uint8_t* const begin = plain->data() + plain->size() - most;
  uint8_t* at = begin;
  const auto run = decoder.DecodeUntil(packed[0], &at, begin + most);
  Promise((run == PpmdDecoder::Run::kFull) == (at == begin + most), "a full run is full");
  Promise(decoder.started() == (run != PpmdDecoder::Run::kFailed), "a failure stays");
  plain->resize(plain->size() - static_cast<size_t>(begin + most - at));
}

void DecodeTwo(PpmdDecoder& decoder, uint32_t order, uint32_t memory, const Data& input) {
  const Data back(input.begin() + static_cast<ptrdiff_t>(input.size() / 2), input.end());
  std::array<Data, 2> plain;
  for (Data& out : plain) {
    Promise(decoder.Start(order, memory), "a model begins");
    Decode(decoder, input, kMostDecoded, &out);
    Decode(decoder, back, kMostDecoded / 4, &out);
  }
  Promise(plain[0] == plain[1], "a fresh model gives the same again");
}

void RoundTrip(PpmdDecoder& decoder, uint32_t order, uint32_t memory, const Data& input) {
  static const auto encoder = std::make_unique<brix::PpmdEncoder>();
  Promise(encoder->Start(order, memory) && decoder.Start(order, memory), "a model begins");
  for (uint32_t times = 0; times < 2; ++times) {  // the second time contexts are there
    encoder->packed.clear();
    for (const uint8_t byte : input) encoder->Put(byte);
    encoder->Finish();
    brix::FixedMemoryStream stream(encoder->packed);
    brix::InputOver in(stream);
    Promise(decoder.StartRange(in), "a run begins");
    for (const uint8_t byte : input) Promise(decoder.DecodeSymbol() == byte, "what was packed comes back");
    Promise(in.left() == 0, "and nothing else is read");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > (1 << 14)) return 0;
  // One decoder serves all inputs: nothing of a stream may show in the next.
  static PpmdDecoder decoder;
  const uint32_t order = kOrders[data[0] % 8];
  const uint32_t memory = kMemory[data[0] / 8 % 8];
  const Data input(data + 1, data + size);
  if (data[0] >= 128) {
    RoundTrip(decoder, order, memory, input);
  } else {
    DecodeTwo(decoder, order, memory, input);
  }
  return 0;
}
