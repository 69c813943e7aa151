// tar_builder.h - writes tar headers, sparse maps and whole archives, so that a test can spoil one field.
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

// Fills in the checksum of the header block that stands at `at`.
inline Bytes Sealed(Bytes file, size_t at = 0) {
  std::fill_n(file.data.begin() + static_cast<ptrdiff_t>(at) + 148, 8, uint8_t{' '});
  const auto block = std::span(file.data).subspan(at, 512);
  const std::string sum = Octal(std::accumulate(block.begin(), block.end(), 0u)).substr(5);
  std::copy(sum.begin(), sum.end(), file.data.begin() + static_cast<ptrdiff_t>(at) + 148);
  return file.PatchU8(at + 154, 0);
}

inline Bytes TarHeader(std::string_view name, std::string_view size, char type = '0') {
  return Sealed(Bytes().Text(name).PadTo(124).Text(size).PadTo(156).Text({&type, 1}).PadTo(512));
}

// Pads to a whole block, as data are.
inline Bytes Padded(Bytes data) { return data.PadTo((data.size() + 511) / 512 * 512); }

inline Bytes TarFile(std::string_view name, std::string_view data, char type = '0') {
  return TarHeader(name, Octal(data.size()), type).Raw(Padded(Bytes().Text(data)));
}

using SparseChunks = std::vector<std::pair<uint32_t, uint32_t>>;  // offset, length

// A sparse member with as many extension blocks as its chunks need.
inline Bytes SparseFile(const SparseChunks& chunks, uint64_t real_size, std::string_view data) {
  Bytes file = TarHeader("sparse", Octal(data.size()), 'S');
  const auto put = [&file](size_t at, uint64_t value) {
    const std::string text = Octal(value);
    std::copy(text.begin(), text.end(), file.data.begin() + static_cast<ptrdiff_t>(at));
  };
  put(483, real_size);
  size_t at = 386;
  size_t room = 4;
  size_t extended_at = 482;
  for (const auto& [offset, length] : chunks) {
    if (room == 0) {
      file.PatchU8(extended_at, 1);
      at = file.size();
      room = 21;
      extended_at = at + 504;
      file.PadTo(at + 512);
    }
    put(at, offset);
    put(at + 12, length);
    at += 24;
    --room;
  }
  return Sealed(file).Raw(Padded(Bytes().Text(data)));
}

}  // namespace brix
