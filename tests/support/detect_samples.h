// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// detect_samples.h - the smallest inputs that each detector accepts.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <span>
#include <string_view>

#include "core/crc32.h"
#include "core/memory_stream.h"
#include "support/bytes.h"
#include "support/tar_builder.h"

namespace brix {

// What a locate function of a format answers; -1 when it finds nothing.
template <bool (*kLocate)(Stream& in, uint32_t* at)>
int64_t PlaceOf(const Bytes& file) {
  FixedMemoryStream in(file.data);
  uint32_t at = 0;
  return kLocate(in, &at) ? int64_t{at} : -1;
}

inline Bytes ArjSample(uint32_t header_size = 30) {
  Bytes header;
  header.U8(30).Fill(header_size - 1, 0x5A);
  return Bytes().U8(0x60).U8(0xEA).U16(header_size).Raw(header).U32(Crc32(header.data));
}

inline Bytes LhaSample(std::string_view method = "-lh5-", uint32_t size = 30) {
  Bytes header;
  header.Text(method).Fill(size - method.size(), 1);
  const uint32_t sum = std::accumulate(header.data.begin(), header.data.end(), 0u);
  return Bytes().U8(size).U8(sum & 0xFF).Raw(header);
}

inline Bytes TarSample(std::string_view size = "00000000144", std::string_view name = "hello.txt") {
  return TarHeader(name, size);
}

// A gzip file of stored blocks. `fields` follow the fixed header, as `flags` say.
inline Bytes GzipSample(const Bytes& content, uint32_t flags = 0, const Bytes& fields = Bytes()) {
  Bytes file = Bytes().U8(0x1F).U8(0x8B).U8(8).U8(flags).Fill(6, 0).Raw(fields);
  for (std::span<const uint8_t> rest = content.data;;) {
    const auto block = rest.first(std::min<size_t>(rest.size(), 0xFFFF));
    rest = rest.subspan(block.size());
    const auto size = static_cast<uint32_t>(block.size());
    file.U8(rest.empty() ? 1 : 0).U16(size).U16(~size & 0xFFFF).Raw(block);
    if (rest.empty()) break;
  }
  return file.U32(Crc32(content.data)).U32(content.size());
}

inline Bytes CabinetSample() {
  return Bytes().Text("MSCF").U32(0).U32(200).U32(0).U32(44).U32(0).U8(3).U8(1).U16(1).U16(1).Fill(6, 0);
}

inline Bytes RarSample() { return Bytes().Text("Rar!\x1A\x07").U8(0).Fill(8, 0x73); }

}  // namespace brix
