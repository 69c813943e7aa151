// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The filters of RAR 2.9. The seven programs are declared first, from 1 on; then come declarations, each behind its
// flags and its length, and blocks are filtered as they come.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#define BRIX_FIXTURE_DIR ""
#include "core/byte_order.h"
#include "decoders/rar/rar_filters.h"
#include "support/rar_builder.h"

namespace {

constexpr uint32_t kMostOfABlock = 4096;  // to be quick; longer ones are dropped

bool Declare(brix::rar::Filters& filters, uint32_t flags, std::span<const uint8_t> code, uint64_t position) {
  std::memcpy(filters.code(), code.data(), code.size());
  return filters.Declare(flags, static_cast<uint32_t>(code.size()), position);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using brix::RarFilter;
  static const auto filters = std::make_unique<brix::rar::Filters>();
  static const auto programs = [] {
    std::array<std::vector<uint8_t>, 7> codes;
    for (uint32_t i = 0; i < 7; ++i) codes[i] = RarFilter{0, 0, brix::RarPrograms()[i], i + 1}.Code();
    return codes;
  }();
  filters->Reset();
  for (const auto& code : programs) {
    if (!Declare(*filters, RarFilter().flags(), code, 0)) std::abort();
  }
  uint64_t position = 0;
  for (size_t at = 0; size - at >= 3;) {
    const uint32_t flags = data[at];
    const size_t length = std::min<size_t>(brix::LoadLe16(data + at + 1), size - at - 3);
    (void)Declare(*filters, flags, {data + at + 3, length}, position);
    at += 3 + length;
    const brix::rar::Filters::Pending* const next = filters->next();
    if (next == nullptr) continue;
    if (next->start < position) std::abort();
    if (next->size > kMostOfABlock) {
      filters->DropPending();
      continue;
    }
    if ((flags & 1) != 0) continue;  // one more first
    const uint32_t block = next->size;
    position = next->start + block;
    for (uint32_t i = 0; i < block; ++i) filters->memory()[i] = static_cast<uint8_t>(i * 37 + flags);
    std::span<const uint8_t> result;
    if (!filters->Run(static_cast<uint32_t>(position), &result)) return 0;
    if (result.size() > block) std::abort();
  }
  return 0;
}
