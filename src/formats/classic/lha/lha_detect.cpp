// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lha_detect.cpp - recognises an LHA archive by its first member's header.
//
// Layout: header size n (1), sum of the n bytes that follow (1), then "-lh5-" or the like, sizes, name.
//
// Kept: levels 2 and 3 store other things in the first two bytes and are recognised only by accident.
//
// Bounds: one header, at most 255 bytes on the stack.
#include "formats/classic/lha/lha_detect.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <span>

#include "core/field_reader.h"
#include "core/refuse.h"

namespace brix::lha {

namespace {

constexpr uint32_t kMinHeader = 7;
constexpr uint32_t kMaxHeader = 255;

// "-lh5-", "-lzs-", "-lhd-" and their kin.
bool IsMethod(const uint8_t* id) {
  const bool family = id[2] == 'h' || id[2] == 'z';
  const bool variant = id[3] == 's' || id[3] == 'd' || (id[3] >= '0' && id[3] <= '9');
  return id[0] == '-' && id[1] == 'l' && family && variant && id[4] == '-';
}

}  // namespace

bool DetectLha(Stream& in, uint32_t, const FormatTable&) {
  FieldReader reader(in, 0);
  const uint32_t size = reader.U8(0);
  const uint32_t checksum = reader.U8(1);
  if (!reader.ok() || size < kMinHeader) return Refuse("lha: header size");
  std::array<uint8_t, kMaxHeader> bytes;
  if (!reader.Bytes(2, bytes.data(), size)) return Refuse("lha: header cut");
  const auto header = std::span(bytes).first(size);
  if (!IsMethod(header.data())) return Refuse("lha: no method name");
  if ((std::accumulate(header.begin(), header.end(), 0u) & 0xFF) != checksum) return Refuse("lha: checksum");
  return std::count(header.begin(), header.end(), 0) < static_cast<std::ptrdiff_t>(size) - 1;
}

}  // namespace brix::lha
