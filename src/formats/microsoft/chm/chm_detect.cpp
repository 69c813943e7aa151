// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_detect.cpp - the headers of a compiled help file.
#include "formats/microsoft/chm/chm_detect.h"

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/chm/chm_format.h"

namespace brix::chm {

bool HasFileHeader(Stream& in) { return FieldReader(in, 0).Is(0, kFileMagic); }

bool ReadHeaders(Stream& in, Headers* headers) {
  if (!HasFileHeader(in)) return Refuse("chm: magic differs");
  FieldReader file(in, 0);
  headers->chunks = file.U32(kFileDirectory);
  headers->content_base = file.U32(kFileContentBase);
  if (!file.ok()) return Refuse("chm: header cut");
  FieldReader directory(in, headers->chunks);
  if (!directory.Is(0, kDirectoryMagic)) return Refuse("chm: no directory");
  headers->chunk_size = directory.U32(kDirectoryChunkSize);
  headers->first_chunk = directory.U32(kDirectoryFirstChunk);
  if (!directory.ok()) return Refuse("chm: directory header cut");
  return CheckedAdd(&headers->chunks, kDirectoryBytes) || Refuse("chm: directory out of range");
}

bool DetectChm(Stream& in, uint32_t, const FormatTable&) { return HasFileHeader(in); }

}  // namespace brix::chm
