// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// pe_sections.cpp - as much of a Windows executable as tells where its sections' raw data lie.
//
// Bounds: at most 65,535 section entries, read 25 at a time; every sum of stored values is checked.
#include "formats/common/pe_sections.h"

#include <algorithm>
#include <array>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"

namespace brix {

namespace {

constexpr std::array<uint8_t, 2> kMz = {'M', 'Z'};
constexpr std::array<uint8_t, 2> kPe = {'P', 'E'};
constexpr uint32_t kNewHeaderAt = 60;

// Of the header that starts with "PE".
constexpr uint32_t kSectionCountAt = 6;
constexpr uint32_t kOptionalSizeAt = 20;
constexpr uint32_t kCharacteristicsAt = 22;
constexpr uint32_t kOptionalHeaderAt = 24;

constexpr uint32_t kEntryBytes = 40;
constexpr uint32_t kRawSizeAt = 16;
constexpr uint32_t kRawDataAt = 20;
constexpr uint32_t kEntryUsed = 24;  // bytes of an entry that must exist

}  // namespace

ExecutableKind ReadExecutable(Stream& in, PeImage* image) {
  FieldReader mz(in, 0);
  if (!mz.Is(0, kMz)) return ExecutableKind::kNone;
  const uint32_t header_at = mz.U32(kNewHeaderAt);
  if (!mz.ok()) return ExecutableKind::kNone;

  // Kept: an offset that lies after the file's end makes it a program that is not PE. DOS programs may have anything
  // there.
  FieldReader pe(in, header_at);
  if (!pe.Is(0, kPe)) return ExecutableKind::kOther;
  image->characteristics = pe.U16(kCharacteristicsAt);
  image->section_count = pe.U16(kSectionCountAt);
  image->section_table_at = header_at;
  const uint32_t optional_size = pe.U16(kOptionalSizeAt);
  const bool fits = CheckedAdd(&image->section_table_at, kOptionalHeaderAt + optional_size);
  return pe.ok() && fits ? ExecutableKind::kPe : ExecutableKind::kNone;
}

bool ReadLastSection(Stream& in, const PeImage& image, RawData* data) {
  uint32_t at = image.section_table_at;
  if (image.section_count == 0 || !CheckedAdd(&at, (image.section_count - 1u) * kEntryBytes)) {
    return Refuse("pe: no last section");
  }
  FieldReader entry(in, at);
  data->size = entry.U32(kRawSizeAt);
  data->at = entry.U32(kRawDataAt);
  return entry.ok();
}

bool ReadImageEnd(Stream& in, const PeImage& image, uint32_t* end) {
  constexpr uint32_t kEntriesAtOnce = 25;
  std::array<uint8_t, kEntriesAtOnce * kEntryBytes> entries;
  uint32_t largest = 0;
  uint32_t at = image.section_table_at;
  uint32_t left = image.section_count;
  if (left == 0) return Refuse("pe: no sections");
  while (left != 0) {
    const uint32_t count = std::min(left, kEntriesAtOnce);
    if (!ReadExact(in, at, entries.data(), (count - 1) * kEntryBytes + kEntryUsed)) {
      return Refuse("pe: section table cut");
    }
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* entry = entries.data() + i * kEntryBytes;
      uint32_t data_end = LoadLe32(entry + kRawDataAt);
      if (!CheckedAdd(&data_end, LoadLe32(entry + kRawSizeAt))) return Refuse("pe: section beyond 4 GiB");
      largest = std::max(largest, data_end);
    }
    left -= count;
    if (left != 0 && !CheckedAdd(&at, count * kEntryBytes)) return Refuse("pe: section table too long");
  }
  *end = largest;
  return true;
}

}  // namespace brix
