// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// arj_detect.cpp - finds the main header of an ARJ archive.
//
// Layout, little-endian: 60 EA, basic header size (2), that many header bytes, their CRC-32 (4).
//
// A basic header of size 0 is the archive's end mark, never its main header. The mark is common by chance: 60 EA 00 00
// and four zero bytes are also the size of a file of 60,000 bytes and its offset, as a cabinet's first file has them.
//
// Kept: only the first marker counts; when its header is refused, no later one is tried.
//
// Bounds: 64 offsets, a header of at most 2,600 bytes on the stack.
#include "formats/classic/arj/arj_detect.h"

#include <algorithm>
#include <array>

#include "core/byte_order.h"
#include "core/crc32.h"
#include "core/field_reader.h"
#include "core/refuse.h"

namespace brix::arj {

namespace {

constexpr std::array<uint8_t, 2> kMarker = {0x60, 0xEA};
constexpr uint32_t kOffsets = 64;
constexpr uint32_t kMaxBasicHeader = 2600;  // bytes
constexpr uint32_t kCrcBytes = 4;

}  // namespace

bool LocateArj(Stream& in, uint32_t* header_at) {
  std::array<uint8_t, kOffsets + 1> start;
  uint32_t got = 0;
  if (!in.ReadAt(0, start.data(), start.size(), &got)) return Refuse("arj: no data");
  const auto end = start.begin() + got;
  const auto marker = std::search(start.begin(), end, kMarker.begin(), kMarker.end());
  if (marker == end) return Refuse("arj: no marker");
  const auto at = static_cast<uint32_t>(marker - start.begin());

  FieldReader header(in, at);
  const uint32_t size = header.U16(2);
  if (!header.ok() || size == 0 || size > kMaxBasicHeader) return Refuse("arj: header size");
  std::array<uint8_t, kMaxBasicHeader + kCrcBytes> basic;
  if (!header.Bytes(4, basic.data(), size + kCrcBytes)) return Refuse("arj: header cut");
  if (Crc32(std::span(basic).first(size)) != LoadLe32(basic.data() + size)) return Refuse("arj: header CRC");
  *header_at = at;
  return true;
}

bool DetectArj(Stream& in, uint32_t, const FormatTable&) {
  uint32_t header_at = 0;
  return LocateArj(in, &header_at);
}

}  // namespace brix::arj
