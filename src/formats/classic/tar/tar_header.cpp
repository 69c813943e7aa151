// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/classic/tar/tar_header.h"

#include <algorithm>
#include <numeric>

#include "core/refuse.h"

namespace brix::tar {

namespace {

// Whether the stored checksum parses and equals the sum of the block's bytes, its own field taken as spaces.
//
// Kept: bytes are added as unsigned values only; a sum of signed bytes, which some old programs stored, is
// not tried.
bool HasValidChecksum(const Block& block) {
  const auto field = std::span(block).subspan(kChecksumAt, kChecksumWidth);
  uint32_t stored = 0;
  if (!ParseOctal(field, &stored)) return false;
  const uint32_t sum = std::accumulate(block.begin(), block.end(), 0u);
  return sum - std::accumulate(field.begin(), field.end(), 0u) + kChecksumWidth * ' ' == stored;
}

}  // namespace

bool ParseOctal(std::span<const uint8_t> field, uint32_t* value) {
  const auto is_digit = [](uint8_t c) { return c >= '0' && c <= '7'; };
  auto at = std::find_if(field.begin(), field.end(), [](uint8_t c) { return c != ' '; });
  if (at == field.end() || !is_digit(*at)) return false;
  uint32_t number = 0;
  for (; at != field.end() && is_digit(*at); ++at) {
    const uint32_t digit = *at - uint32_t{'0'};
    number = number > UINT32_MAX >> 3 ? UINT32_MAX : (number << 3) | digit;
  }
  *value = number;
  return true;
}

bool ParseHeader(const Block& block, Header* header) {
  if (!HasValidChecksum(block)) return Refuse("tar: checksum");
  if (!ParseSize(block, kSizeAt, &header->size)) return Refuse("tar: size is no number");
  header->type = block[kTypeAt];
  return true;
}

bool IsZero(const Block& block) {
  return std::all_of(block.begin(), block.end(), [](uint8_t byte) { return byte == 0; });
}

}  // namespace brix::tar
