// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// run_rar.h - what the fuzz targets of the RAR methods do: a member, a part of it, and one that goes on from there.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "core/byte_order.h"
#include "core/memory_stream.h"
#include "decoders/rar/rar_decoder.h"

namespace brix {

struct RarResult {
  bool ok;
  std::vector<uint8_t> data;

  bool operator==(const RarResult&) const = default;
};

inline RarResult RunRarMember(RarDecoder& decoder, rar::Method method, bool solid,
                              std::span<const uint8_t> packed, uint32_t size, uint32_t limit) {
  FixedMemoryStream in(packed);
  MemoryStream out;
  uint32_t produced = limit;
  const bool ok = decoder.Begin(method, solid, size, in) && decoder.Decode(in, out, &produced);
  if (produced > limit || produced != out.bytes().size()) std::abort();
  return {ok, {out.bytes().begin(), out.bytes().end()}};
}

// The first two bytes are the length of the first member's data, the next two a limit; the rest is the second's.
inline void RunRar(rar::Method method, std::span<const uint8_t> input) {
  constexpr uint32_t kMost = 1 << 16;
  constexpr size_t kHeader = 4;
  if (input.size() < kHeader) return;
  const auto packed = input.subspan(kHeader);
  const auto first = packed.first(std::min<size_t>(LoadLe16(input.data()), packed.size()));
  const uint32_t limit = LoadLe16(input.data() + 2);
  const auto promise = [](bool kept, const char* text) {
    if (kept) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
  };
  static RarDecoder one, other;  // kept, so that one input may spoil the next, and for PPMd's memory
  const RarResult whole = RunRarMember(one, method, false, first, kMost, kMost);
  const RarResult part = RunRarMember(other, method, false, first, kMost, limit);
  const size_t shorter = std::min(part.data.size(), whole.data.size());
  promise(part.data.size() == std::min<size_t>(limit, whole.data.size()) &&
              std::equal(part.data.begin(), part.data.begin() + static_cast<ptrdiff_t>(shorter),
                         whole.data.begin()),
          "a lower limit gives the same bytes");
  uint64_t allowances[2] = {1 << 26, 1 << 26};  // more than a few KB of input can use up
  FixedMemoryStream in(first);
  const bool good = one.Finish(in, &allowances[0]);
  promise(other.Finish(in, &allowances[1]) == good, "both come to the same end");
  if (!good) return;
  const auto second = packed.subspan(first.size());
  promise(RunRarMember(one, method, true, second, kMost, kMost) ==
              RunRarMember(other, method, true, second, kMost, kMost),
          "what was decoded in vain makes no difference");
}

}  // namespace brix
