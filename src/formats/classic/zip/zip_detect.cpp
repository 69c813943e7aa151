// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_detect.cpp - finds a ZIP archive's directory from the end of the file.
//
// The directory stands right in front of the end record, wherever the archive was moved to by data put before
// it: its place is computed from the end record's, and the difference to the stored place is the prefix.
//
// Kept: the first member's local header is looked for at its stored offset, without the prefix. An archive
// whose offsets do not count the data in front of it is therefore not a ZIP here, but may be a
// self-extractor.
//
// Bounds: the search covers the last 66,000 bytes, read backwards in pieces from the stack. Nearly every file
// that is not a ZIP pays for it, so pieces are large and searched 64 bytes at a time.
#include "formats/classic/zip/zip_detect.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/classic/zip/zip_format.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define BRIX_ZIP_SSE2 1
#endif

namespace brix::zip {

namespace {

constexpr uint32_t kPiece = 16384;
constexpr uint32_t kOverlap = sizeof(Signature) - 1;  // a signature may straddle two pieces
constexpr uint32_t kNotFound = UINT32_MAX;

bool IsEndSignature(const uint8_t* p) { return std::memcmp(p, kEndSignature.data(), sizeof(Signature)) == 0; }

// The place of the last end signature that lies wholly in `bytes`.
uint32_t FindLastSignature(const uint8_t* bytes, uint32_t size) {
  if (size < sizeof(Signature)) return kNotFound;
  uint32_t end = size - kOverlap;  // places from here on are searched
#ifdef BRIX_ZIP_SSE2
  // 64 places a turn: whether any may hold the signature is all that is asked of most.
  constexpr uint32_t kStep = 64;
  const __m128i first = _mm_set1_epi8(static_cast<char>(kEndSignature[0]));
  const __m128i third = _mm_set1_epi8(static_cast<char>(kEndSignature[2]));
  const auto may_begin = [&](const uint8_t* p) {
    // Reaches 2 bytes further, less than the 3 that stand behind the last place.
    const __m128i at0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i at2 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
    return _mm_and_si128(_mm_cmpeq_epi8(at0, first), _mm_cmpeq_epi8(at2, third));
  };
  while (end >= kStep) {
    const uint8_t* const p = bytes + end - kStep;
    const __m128i any = _mm_or_si128(_mm_or_si128(may_begin(p), may_begin(p + 16)),
                                     _mm_or_si128(may_begin(p + 32), may_begin(p + 48)));
    if (_mm_movemask_epi8(any) != 0) {
      for (uint32_t place = kStep; place-- != 0;) {
        if (IsEndSignature(p + place)) return end - kStep + place;
      }
    }
    end -= kStep;
  }
#endif
  while (end != 0) {
    if (IsEndSignature(bytes + --end)) return end;
  }
  return kNotFound;
}

// The offset of the end record.
bool FindEndRecord(Stream& in, uint32_t* end_at) {
  uint32_t size = 0;
  if (!in.GetSize(&size) || size < kEndBytes) return Refuse("zip: shorter than an end record");
  Signature signature;
  const uint32_t last_place = size - kEndBytes;
  if (!ReadExact(in, last_place, signature.data(), sizeof signature)) return Refuse("zip: no end record");
  if (signature == kEndSignature) {
    *end_at = last_place;
    return true;
  }
  const uint32_t lowest = size - std::min(size, kEndSearchBytes);
  std::array<uint8_t, kPiece> piece;
  // Ends by `high`, which comes down by at least a piece less the overlap.
  for (uint32_t high = last_place + sizeof(Signature);;) {
    const uint32_t low = high - std::min(high - lowest, kPiece);
    if (!ReadExact(in, low, piece.data(), high - low)) return Refuse("zip: the tail cannot be read");
    const uint32_t place = FindLastSignature(piece.data(), high - low);
    if (place != kNotFound) {
      *end_at = low + place;
      return true;
    }
    if (low == lowest) return Refuse("zip: no end record");
    high = low + kOverlap;
  }
}

}  // namespace

bool LocateDirectory(Stream& in, Directory* found) {
  uint32_t end_at = 0;
  if (!FindEndRecord(in, &end_at)) return false;
  FieldReader end(in, end_at);
  const uint32_t size = end.U32(kEndDirectorySize);
  const uint32_t stored_offset = end.U32(kEndDirectoryOffset);
  if (!end.ok() || size > end_at) return Refuse("zip: the directory does not fit in front of its end");
  const uint32_t position = end_at - size;
  FieldReader record(in, position);
  if (!record.Is(0, kDirectorySignature)) return Refuse("zip: no directory where its end puts it");
  const uint32_t local_at = record.U32(kRecordLocalOffset);
  if (!record.ok()) return Refuse("zip: the first record is cut");
  if (!FieldReader(in, local_at).Is(0, kLocalSignature)) return Refuse("zip: no first local header");
  found->position = position;
  found->prefix_length = position > stored_offset ? position - stored_offset : 0;
  return true;
}

bool DetectZip(Stream& in, uint32_t, const FormatTable&) {
  Directory found;
  return LocateDirectory(in, &found);
}

}  // namespace brix::zip
