// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byte_order.h - the only place where bytes become numbers, and numbers bytes.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace brix {

static_assert(std::endian::native == std::endian::little, "the loads below rely on a little-endian machine");

inline uint16_t LoadLe16(const uint8_t* p) {
  uint16_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline uint32_t LoadLe32(const uint8_t* p) {
  uint32_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline uint64_t LoadLe64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

inline void StoreLe32(uint8_t* p, uint32_t v) { std::memcpy(p, &v, sizeof v); }

inline uint32_t LoadBe32(const uint8_t* p) { return __builtin_bswap32(LoadLe32(p)); }

inline uint64_t LoadBe64(const uint8_t* p) { return __builtin_bswap64(LoadLe64(p)); }

}  // namespace brix
