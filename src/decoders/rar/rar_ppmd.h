// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_ppmd.h - the PPMd model of a solid chain.
#pragma once

#include <cstdint>

#include "decoders/ppmd/ppmd_decoder.h"

namespace brix::rar {

inline constexpr uint8_t kFirstEscape = 2;

struct Ppmd {
  PpmdDecoder decoder;
  bool has_model = false;  // of this chain of members
};

}  // namespace brix::rar
