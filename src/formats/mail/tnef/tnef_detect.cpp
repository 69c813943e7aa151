// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/mail/tnef/tnef_detect.h"

#include <array>

#include "core/field_reader.h"

namespace brix::tnef {

namespace {
constexpr std::array<uint8_t, 4> kMagic = {0x78, 0x9F, 0x3E, 0x22};
}

bool DetectTnef(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::tnef
