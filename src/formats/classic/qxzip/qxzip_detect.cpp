// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/classic/qxzip/qxzip_detect.h"

#include <array>

#include "core/field_reader.h"

namespace brix::qxzip {

namespace {
constexpr std::array<uint8_t, 6> kMagic = {'Q', 'X', 'Z', 'I', 'P', 0x04};
}

bool DetectQxZip(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::qxzip
