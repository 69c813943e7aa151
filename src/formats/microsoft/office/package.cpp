// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// package.cpp - the three layouts of a package stream, tried in turn.
//
// A packaged file has a label and two paths before its data; a raw object has a header of 40 bytes; any other has
// its size and nothing else. The first is recognised by two bytes that raw data may begin with, so a stream whose
// texts do not end, or whose data reach past its end, is tried as the others. When its size is none of theirs
// either, it is a packaged file whose sizes are wrong: its data end with the stream.
//
// Bounds: each text ends within 512 bytes, and the data lie inside the stream.
#include "formats/microsoft/office/package.h"

#include <algorithm>
#include <array>

#include "core/archive_handler.h"
#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/office/office_format.h"

namespace brix::office {

namespace {

// Reads the text at `*at` and moves behind its terminating zero.
bool ReadText(Stream& in, uint32_t* at, std::array<char, kMostTextBytes>* text) {
  uint32_t got = 0;
  if (!in.ReadAt(*at, reinterpret_cast<uint8_t*>(text->data()), kMostTextBytes, &got)) return false;
  const auto end = text->begin() + std::min(got, kMostTextBytes);
  const auto zero = std::find(text->begin(), end, '\0');
  return zero != end && CheckedAdd(at, static_cast<uint32_t>(zero - text->begin()) + 1);
}

// may_cut  data that are said to reach past the end are cut there; otherwise the stream is none of this layout.
bool ParsePackagedFile(Stream& in, uint32_t stream_size, bool may_cut, Package* package, char* name) {
  std::array<char, kMostTextBytes> label;
  std::array<char, kMostTextBytes> path;
  uint32_t at = kLabel;
  if (!ReadText(in, &at, &label) || !ReadText(in, &at, &path) || !CheckedAdd(&at, kBetweenPaths) ||
      !ReadText(in, &at, &path)) {
    return Refuse("package: label or path without end");
  }
  FieldReader fields(in, at);
  const uint32_t data_size = fields.U32(0);
  if (!fields.ok() || !CheckedAdd(&at, sizeof data_size) || at > stream_size) {
    return Refuse("package: no size of the data");
  }
  const uint32_t left = stream_size - at;
  if (data_size > left && !may_cut) return Refuse("package: data reach past the end");
  *package = {at, std::min(data_size, left)};
  CopyName(label[0] == '\0' ? kUnknownPackage : std::string_view(label.data()), name);
  return true;
}

}  // namespace

bool ParsePackage(Stream& in, Package* package, char* name) {
  uint32_t size = 0;
  std::array<uint8_t, kPackageHead> head;
  if (!in.GetSize(&size) || !ReadExact(in, 0, head.data(), kPackageHead))
    return Refuse("package: shorter than 8 bytes");
  const uint32_t leading_size = LoadLe32(&head[kLeadingSize]);
  const bool is_bare = leading_size == size - sizeof leading_size;  // possibly: a size and its data
  // The raw object's mark can be no size.
  if (leading_size != kRawMark && LoadLe16(&head[kPackageKind]) == kPackagedFile &&
      ParsePackagedFile(in, size, !is_bare, package, name)) {
    return true;
  }
  const uint32_t kind = LoadLe32(&head[kPackageKind]);
  if (leading_size == kRawMark && (kind == 2 || kind == 3) && size >= kRawHeaderBytes) {
    *package = {kRawHeaderBytes, size - kRawHeaderBytes};
  } else if (is_bare) {
    *package = {sizeof leading_size, leading_size};
  } else {
    return Refuse("package: size differs from the stream's");
  }
  CopyName(kUnknownPackage, name);
  return true;
}

}  // namespace brix::office
