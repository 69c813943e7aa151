// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_detect.cpp - finds and checks the header of a cabinet, which a short prefix may precede.
//
// Kept: the first signature counts; when its header fails the test, no later one is tried. Ten folders more
// than files are tolerated.
#include "formats/microsoft/cabinet/cabinet_detect.h"

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/common/signature_scan.h"
#include "formats/microsoft/cabinet/cabinet_format.h"

namespace brix::cabinet {

bool LocateCabinet(Stream& in, uint32_t* header_at) {
  uint32_t at = 0;
  if (!FindInFirstKilobyte(in, "MSCF", &at)) return Refuse("cabinet: no signature");
  FieldReader header(in, at);
  const uint32_t cabinet_size = header.U32(kCabinetSizeAt);
  const uint32_t first_file = header.U32(kFirstFileAt);
  const uint32_t folders = header.U16(kFolderCountAt);
  const uint32_t files = header.U16(kFileCountAt);
  if (!header.ok()) return Refuse("cabinet: header cut");
  if (cabinet_size == 0 || cabinet_size > kMaxCabinetSize) return Refuse("cabinet: size out of range");
  if (first_file < kHeaderBytes) return Refuse("cabinet: file list inside the header");
  if (folders == 0 || files == 0) return Refuse("cabinet: no folders or no files");
  if (folders > files + kSpareFolders) return Refuse("cabinet: too many folders for its files");
  *header_at = at;
  return true;
}

bool DetectCabinet(Stream& in, uint32_t, const FormatTable&) {
  uint32_t header_at = 0;
  return LocateCabinet(in, &header_at);
}

}  // namespace brix::cabinet
