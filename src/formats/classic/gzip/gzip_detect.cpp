// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_detect.cpp - recognises a gzip file and finds where its compressed data begin.
//
// Layout, little-endian: 1F 8B 08, flags (1), time (4), extra flags (1), system (1); then, each when its flag
// is set: extra field (length 2, bytes), zero-terminated name, zero-terminated comment, header CRC (2).
//
// Bounds: each text at most 64 KiB, read in pieces.
#include "formats/classic/gzip/gzip_detect.h"

#include <array>
#include <cstring>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/classic/gzip/gzip_format.h"

namespace brix::gzip {

namespace {

constexpr uint32_t kMaxText = 1 << 16;

// Moves `*at` behind the zero-terminated text that starts there.
bool SkipText(Stream& in, uint32_t* at) {
  std::array<uint8_t, 512> piece;
  for (uint32_t skipped = 0; skipped < kMaxText; skipped += piece.size()) {
    uint32_t got = 0;
    if (!in.ReadAt(*at, piece.data(), piece.size(), &got) || got == 0) return false;
    if (const void* zero = std::memchr(piece.data(), 0, got)) {
      return CheckedAdd(at, static_cast<uint32_t>(static_cast<const uint8_t*>(zero) - piece.data()) + 1);
    }
    if (!CheckedAdd(at, got)) return false;
  }
  return false;
}

}  // namespace

bool LocateGzipData(Stream& in, uint32_t* data_at) {
  FieldReader header(in, 0);
  const uint8_t flags = header.U8(kFlagsAt);
  uint32_t at = kFixedHeader;
  if ((flags & kExtra) != 0) at += kExtraLengthBytes + header.U16(kFixedHeader);
  if (!header.ok()) return Refuse("gzip: header cut");
  if ((flags & kName) != 0 && !SkipText(in, &at)) return Refuse("gzip: name without end");
  if ((flags & kComment) != 0 && !SkipText(in, &at)) return Refuse("gzip: comment without end");
  if ((flags & kHeaderCrc) != 0 && !CheckedAdd(&at, kHeaderCrcBytes)) return Refuse("gzip: header too long");
  *data_at = at;
  return true;
}

bool DetectGzip(Stream& in, uint32_t, const FormatTable&) { return FieldReader(in, 0).Is(0, kMagic); }

}  // namespace brix::gzip
