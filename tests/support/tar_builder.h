// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_builder.h - writes tar headers, sparse maps and members, so that a test can spoil one field.
#pragma once

#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/bytes.h"

namespace brix {

// A number as a tar field holds it: 11 octal digits.
inline std::string Octal(uint64_t value) {
  std::string text(11, '0');
  for (size_t i = text.size(); i-- != 0; value >>= 3) text[i] = static_cast<char>('0' + (value & 7));
  return text;
}

inline Bytes& PutText(Bytes& file, size_t at, std::string_view text) {
  std::ranges::copy(text, file.data.begin() + static_cast<ptrdiff_t>(at));
  return file;
}

// Fills in the checksum of the header block at the start.
inline Bytes Sealed(Bytes file) {
  const auto block = std::span(PutText(file, 148, "        ").data).first(512);
  return PutText(file, 148, Octal(std::accumulate(block.begin(), block.end(), 0u)).substr(5));
}

inline Bytes TarHeader(std::string_view name, std::string_view size, char type = '0') {
  return Sealed(Bytes().Text(name).PadTo(124).Text(size).PadTo(156).Text({&type, 1}).PadTo(512));
}

inline Bytes TarFile(std::string_view name, std::string_view data, char type = '0') {
  return TarHeader(name, Octal(data.size()), type).Text(data).PadTo(512 + (data.size() + 511) / 512 * 512);
}

using SparseChunks = std::vector<std::pair<uint32_t, uint32_t>>;  // offset, length

// Four chunks of the map are in the header, 21 in each extension block.
inline Bytes SparseFile(const SparseChunks& chunks, uint64_t real_size, std::string_view data) {
  Bytes file = TarHeader("sparse", Octal(data.size()), 'S');
  PutText(file, 483, Octal(real_size));
  for (size_t i = 0; i < chunks.size(); ++i) {
    const size_t block = i < 4 ? 0 : 1 + (i - 4) / 21;
    const size_t at = i < 4 ? 386 + 24 * i : 512 * block + 24 * ((i - 4) % 21);
    if (at >= file.size()) file.PatchU8(block == 1 ? 482 : at - 8, 1).PadTo(at + 512);
    PutText(PutText(file, at, Octal(chunks[i].first)), at + 12, Octal(chunks[i].second));
  }
  const size_t size = file.size() + (data.size() + 511) / 512 * 512;
  return Sealed(file).Text(data).PadTo(size);
}

}  // namespace brix
