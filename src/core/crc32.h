// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// crc32.h - CRC-32 with the reflected polynomial 0xEDB88320, all-ones start and final complement.
#pragma once

#include <cstdint>
#include <span>

namespace brix {

[[nodiscard]] uint32_t Crc32(std::span<const uint8_t> bytes);

}  // namespace brix
