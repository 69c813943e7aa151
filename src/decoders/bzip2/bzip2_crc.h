// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_crc.h - CRC-32 with the polynomial 0x04C11DB7, highest bit first, without the start and the complement.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/byte_order.h"

namespace brix::bzip2 {

// Table k: what a byte does to the sum k bytes later.
constexpr std::array<std::array<uint32_t, 256>, 8> MakeCrcTables() {
  std::array<std::array<uint32_t, 256>, 8> tables{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t c = i << 24;
    for (int bit = 0; bit < 8; ++bit) c = (c << 1) ^ ((c >> 31) != 0 ? 0x04C11DB7u : 0u);
    tables[0][i] = c;
  }
  for (uint32_t k = 1; k < 8; ++k) {
    for (uint32_t i = 0; i < 256; ++i) {
      const uint32_t c = tables[k - 1][i];
      tables[k][i] = (c << 8) ^ tables[0][c >> 24];
    }
  }
  return tables;
}

inline constexpr auto kCrcTables = MakeCrcTables();

// The sum of some bytes and those before them, whose sum is `crc`. Eight bytes a step.
[[nodiscard]] inline uint32_t AddToCrc(uint32_t crc, std::span<const uint8_t> bytes) {
  const auto& t = kCrcTables;
  const uint8_t* p = bytes.data();
  const uint8_t* const end = p + bytes.size();
  for (; end - p >= 8; p += 8) {
    const uint32_t a = crc ^ LoadBe32(p);
    const uint32_t b = LoadBe32(p + 4);
    crc = t[7][a >> 24] ^ t[6][a >> 16 & 0xFF] ^ t[5][a >> 8 & 0xFF] ^ t[4][a & 0xFF] ^  //
          t[3][b >> 24] ^ t[2][b >> 16 & 0xFF] ^ t[1][b >> 8 & 0xFF] ^ t[0][b & 0xFF];
  }
  for (; p != end; ++p) crc = (crc << 8) ^ t[0][(crc >> 24) ^ *p];
  return crc;
}

}  // namespace brix::bzip2
