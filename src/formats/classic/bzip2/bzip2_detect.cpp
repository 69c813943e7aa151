// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/classic/bzip2/bzip2_detect.h"

#include <array>

#include "core/field_reader.h"

namespace brix::bzip2 {

namespace {
constexpr std::array<uint8_t, 3> kMagic = {'B', 'Z', 'h'};
}

bool DetectBzip2(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::bzip2
