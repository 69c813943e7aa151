// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sfx_detect.cpp - finds the archive that a self-extracting executable carries.
//
// Searched are, for a Windows program, the start of the last section's data and then what follows that data;
// for any other "MZ" program its beginning.
//
// Kept: the search ends at the first signature, even when no archive stands behind it. Libraries (DLLs) are
// not searched.
//
// Cost: at most 15 KiB (Windows) or 100 KiB (other) are read, plus the inner format's own test.
#include "formats/microsoft/sfx/sfx_detect.h"

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "formats/common/pe_sections.h"

namespace brix::sfx {

namespace {

constexpr uint32_t kSearchOther = 102400;      // bytes from the start
constexpr uint32_t kSearchLastSection = 5120;  // bytes from where its data start
constexpr uint32_t kSearchOverlay = 10240;     // bytes from where its data end

bool FindInPe(Stream& in, const PeImage& image, EmbeddedArchive* found) {
  if ((image.characteristics & kPeIsDll) != 0) return Refuse("sfx: a library");
  RawData last;
  if (!ReadLastSection(in, image, &last)) return false;
  if (FindEmbeddedArchive(in, last.at, kSearchLastSection, found)) return true;
  uint32_t end = last.at;
  return CheckedAdd(&end, last.size) && FindEmbeddedArchive(in, end, kSearchOverlay, found);
}

bool FindInExecutable(Stream& in, EmbeddedArchive* found) {
  PeImage image;
  switch (ReadExecutable(in, &image)) {
    case ExecutableKind::kNone:
      return false;
    case ExecutableKind::kOther:
      return FindEmbeddedArchive(in, 0, kSearchOther, found);
    case ExecutableKind::kPe:
      return FindInPe(in, image, found);
  }
  return false;
}

}  // namespace

bool LocateSfx(Stream& in, uint32_t detect_flags, const FormatTable& formats, EmbeddedArchive* found) {
  if (!FindInExecutable(in, found)) return Refuse("sfx: no archive signature");
  const FormatEntry* inner = formats.Find(found->type_id);
  uint32_t size = 0;
  if (inner == nullptr || !in.GetSize(&size) || found->offset >= size) return Refuse("sfx: no inner format");
  RangeStream view(&in, found->offset, size - found->offset);
  return inner->detect(view, detect_flags, formats);
}

bool DetectSfx(Stream& in, uint32_t detect_flags, const FormatTable& formats) {
  EmbeddedArchive found;
  return LocateSfx(in, detect_flags, formats, &found);
}

}  // namespace brix::sfx
