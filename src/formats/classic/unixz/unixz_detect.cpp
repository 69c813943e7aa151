// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/classic/unixz/unixz_detect.h"

#include <array>

#include "core/field_reader.h"

namespace brix::unixz {

namespace {
constexpr std::array<uint8_t, 2> kMagic = {0x1F, 0x9D};
}

bool DetectUnixZ(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::unixz
