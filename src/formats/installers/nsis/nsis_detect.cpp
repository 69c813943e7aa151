// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_detect.cpp - recognises an NSIS installer by the header behind its executable image.
//
// Layout of the first header, little-endian: flags (4), 0xDEADBEEF (4), "NullsoftInst" (12), lengths.
//
// Kept: no search is made; a header that does not stand exactly at the image's end is not seen.
#include "formats/installers/nsis/nsis_detect.h"

#include <array>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/common/pe_sections.h"

namespace brix::nsis {

namespace {
constexpr uint32_t kSignatureAt = 4;
constexpr std::array<uint8_t, 16> kSignature = {0xEF, 0xBE, 0xAD, 0xDE, 'N', 'u', 'l', 'l',
                                                's',  'o',  'f',  't',  'I', 'n', 's', 't'};
}  // namespace

bool LocateNsis(Stream& in, uint32_t* header_at) {
  PeImage image;
  if (ReadExecutable(in, &image) != ExecutableKind::kPe) return Refuse("nsis: no Windows executable");
  uint32_t end = 0;
  if (!ReadImageEnd(in, image, &end)) return false;
  if (!FieldReader(in, end).Is(kSignatureAt, kSignature)) return Refuse("nsis: no header behind the image");
  *header_at = end;
  return true;
}

bool DetectNsis(Stream& in, uint32_t, const FormatTable&) {
  uint32_t header_at = 0;
  return LocateNsis(in, &header_at);
}

}  // namespace brix::nsis
