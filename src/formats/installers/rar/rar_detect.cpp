// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/installers/rar/rar_detect.h"

#include <string_view>

#include "formats/common/signature_scan.h"

namespace brix::rar {

namespace {
constexpr std::string_view kSignature("Rar!\x1A\x07\x00", 7);  // its last byte is zero
}  // namespace

bool LocateRar(Stream& in, uint32_t* archive_at) { return FindInFirstKilobyte(in, kSignature, archive_at); }

bool DetectRar(Stream& in, uint32_t, const FormatTable&) {
  uint32_t archive_at = 0;
  return LocateRar(in, &archive_at);
}

}  // namespace brix::rar
