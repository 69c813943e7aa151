// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// signature_scan.cpp - searches for archive signatures that need not stand at the start of the input.
//
// The search inside executables compares nothing but pairs of bytes, many places at once, until one pair is
// the beginning of a signature. Chunks overlap by one byte less than the longest signature, so a signature
// across an edge is seen in the next chunk.
//
// Bounds: a chunk of 4 KiB on the stack; each turn moves on by a chunk less the overlap; ranges are the
// caller's.
#include "formats/common/signature_scan.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "core/byte_order.h"
#include "core/field_reader.h"

namespace brix {

namespace {

struct Signature {
  std::string_view bytes;
  uint32_t type_id;
};

constexpr uint32_t kArj = 1;
constexpr uint32_t kCabinet = 3;
constexpr uint32_t kLha = 8;
constexpr uint32_t kRar = 12;
constexpr uint32_t kZip = 16;

constexpr std::array kSignatures = {
    Signature{"\x60\xEA", kArj},   Signature{"MSCF", kCabinet},
    Signature{"-l", kLha},         Signature{{"Rar!\x1A\x07\x00", 7}, kRar},
    Signature{"PK\x03\x04", kZip},
};
constexpr uint32_t kOverlap = 6;  // the longest signature less one byte
constexpr uint32_t kChunk = 4096;
constexpr uint32_t kMaxArjHeader = 2600;
constexpr uint32_t kLhaMethodAt = 2;  // the method name's place in an LHA header

static_assert(std::ranges::all_of(kSignatures,
                                  [](const Signature& s) { return s.bytes.size() <= kOverlap + 1; }));

using Lanes = uint8_t __attribute__((vector_size(16)));  // compiled to whatever the machine has
constexpr size_t kBlock = 4 * sizeof(Lanes);

// A signature's first two bytes, each in every lane.
struct Pair {
  std::array<uint8_t, sizeof(Lanes)> first, second;
};
constexpr auto kPairs = [] {
  std::array<Pair, kSignatures.size()> pairs{};
  for (size_t i = 0; i < pairs.size(); ++i) {
    pairs[i].first.fill(static_cast<uint8_t>(kSignatures[i].bytes[0]));
    pairs[i].second.fill(static_cast<uint8_t>(kSignatures[i].bytes[1]));
  }
  return pairs;
}();

Lanes LoadLanes(const uint8_t* p) {
  Lanes lanes;
  std::memcpy(&lanes, p, sizeof lanes);
  return lanes;
}

// Whether a signature's first two bytes stand anywhere among the kBlock places from `p`. Reads one byte more
// than a block.
bool MayHoldSignature(const uint8_t* p) {
  auto hits = Lanes{} != Lanes{};
  for (const Pair& pair : kPairs) {
    const Lanes first = LoadLanes(pair.first.data());
    const Lanes second = LoadLanes(pair.second.data());
    for (size_t i = 0; i < kBlock; i += sizeof(Lanes)) {
      hits |= (LoadLanes(p + i) == first) & (LoadLanes(p + i + 1) == second);
    }
  }
  std::array<uint64_t, sizeof(Lanes) / sizeof(uint64_t)> any;
  std::memcpy(any.data(), &hits, sizeof hits);
  return (any[0] | any[1]) != 0;
}

// What a two-byte signature must be followed by. Bytes behind `chunk` count as not there.
bool MeetsCondition(uint32_t type_id, std::span<const uint8_t> chunk, size_t at) {
  const size_t room = chunk.size() - at;
  const uint8_t* p = chunk.data() + at;
  if (type_id == kArj) {
    const uint32_t header_size = room < 4 ? 0 : LoadLe16(p + 2);
    return header_size != 0 && header_size <= kMaxArjHeader;
  }
  if (type_id == kLha) {
    if (room < 5) return false;
    const bool variant = (p[3] >= '0' && p[3] <= '7') || p[3] == 'd' || p[3] == 's';
    return (p[2] == 'h' || p[2] == 'z') && variant && p[4] == '-';
  }
  return true;
}

// The type whose signature stands at `at`; 0 when there is none.
uint32_t TypeAt(std::span<const uint8_t> chunk, size_t at) {
  for (const Signature& s : kSignatures) {
    if (chunk[at] != static_cast<uint8_t>(s.bytes[0]) || s.bytes.size() > chunk.size() - at) continue;
    if (std::memcmp(chunk.data() + at, s.bytes.data(), s.bytes.size()) != 0) continue;
    if (MeetsCondition(s.type_id, chunk, at)) return s.type_id;
  }
  return 0;
}

// `chunk` starts at `chunk_at` of the input, `range_offset` bytes into the range searched.
bool ScanChunk(std::span<const uint8_t> chunk, uint32_t chunk_at, uint32_t range_offset,
               EmbeddedArchive* found) {
  for (size_t at = 0; at < chunk.size();) {
    const size_t left = chunk.size() - at;
    const size_t stop = at + std::min(left, kBlock);
    if (left > kBlock && !MayHoldSignature(chunk.data() + at)) at = stop;
    for (; at < stop; ++at) {
      const uint32_t type_id = TypeAt(chunk, at);
      if (type_id == 0) continue;
      // An LHA archive starts before its method name; it must not start before the range.
      const uint32_t back = type_id == kLha ? kLhaMethodAt : 0;
      if (range_offset + at < back) continue;
      *found = {type_id, chunk_at + static_cast<uint32_t>(at) - back};
      return true;
    }
  }
  return false;
}

}  // namespace

bool FindInFirstKilobyte(Stream& in, std::string_view signature, uint32_t* at) {
  std::array<uint8_t, 1024> bytes;
  uint32_t got = 0;
  if (!in.ReadAt(0, bytes.data(), bytes.size(), &got) || got < signature.size()) return false;
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), got);
  const size_t place = text.starts_with(signature) ? 0 : text.substr(0, got - 1).find(signature, 1);
  if (place == std::string_view::npos) return false;
  *at = static_cast<uint32_t>(place);
  return true;
}

bool FindEmbeddedArchive(Stream& in, uint32_t start, uint32_t length, EmbeddedArchive* found) {
  uint32_t end = start;
  if (length <= kOverlap || !CheckedAdd(&end, length - kOverlap)) return false;
  std::array<uint8_t, kChunk> bytes;
  for (uint32_t at = start;; at += kChunk - kOverlap) {
    const uint32_t wanted = std::min(kChunk, end - at);
    uint32_t got = 0;
    if (!in.ReadAt(at, bytes.data(), wanted, &got)) return false;
    if (ScanChunk(std::span(bytes).first(got), at, at - start, found)) return true;
    if (got < kChunk || wanted == end - at) return false;
  }
}

}  // namespace brix
