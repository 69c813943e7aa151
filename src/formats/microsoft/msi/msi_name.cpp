// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/microsoft/msi/msi_name.h"

namespace brix::msi {

namespace {

constexpr uint32_t kMostUnits = compound::kNameUnits - 1;

// A unit that packs nothing is itself a character, written as UTF-8.
char* WriteCharacter(uint32_t unit, char* to) {
  if (unit < 0x80) {
    *to++ = static_cast<char>(unit);
    return to;
  }
  if (unit < 0x800) {
    *to++ = static_cast<char>(0xC0 | unit >> 6);
  } else {
    *to++ = static_cast<char>(0xE0 | unit >> 12);
    *to++ = static_cast<char>(0x80 | (unit >> 6 & 63));
  }
  *to++ = static_cast<char>(0x80 | (unit & 63));
  return to;
}

}  // namespace

// At most 31 units of 3 bytes each.
void UnpackName(const PackedName& stored, char* name) {
  char* to = name;
  for (uint32_t i = 0; i < kMostUnits && stored[i] != u'\0'; ++i) {
    const uint32_t unit = stored[i];
    if (unit < kPair || unit > kLastUnpacked) {
      to = WriteCharacter(unit, to);
      continue;
    }
    *to++ = kAlphabet[unit & 63];
    if (unit >= kSingle) break;  // Kept: a single character, or the mark of a table, ends the name
    *to++ = kAlphabet[(unit - kPair) >> 6];
  }
  *to = '\0';
}

}  // namespace brix::msi
