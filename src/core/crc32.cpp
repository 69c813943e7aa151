// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/crc32.h"

#include <array>

namespace brix {

namespace {

constexpr std::array<uint32_t, 256> MakeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i;
    for (int bit = 0; bit < 8; ++bit) c = (c >> 1) ^ ((c & 1) != 0 ? 0xEDB88320u : 0u);
    table[i] = c;
  }
  return table;
}

constexpr auto kTable = MakeTable();

}  // namespace

uint32_t Crc32(std::span<const uint8_t> bytes) {
  uint32_t crc = UINT32_MAX;
  for (const uint8_t byte : bytes) crc = kTable[(crc ^ byte) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

}  // namespace brix
