// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bytes.h - builds test input field by field, so that a test can spoil one of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace brix {

// A byte string that is written in the order of the format.
struct Bytes {
  std::vector<uint8_t> data;

  Bytes() = default;
  explicit Bytes(std::vector<uint8_t> bytes) : data(std::move(bytes)) {}

  Bytes& U8(uint32_t v) { return Little(v, 1); }
  Bytes& U16(uint32_t v) { return Little(v, 2); }
  Bytes& U32(uint32_t v) { return Little(v, 4); }
  Bytes& Text(std::string_view text) {
    return Raw({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  }
  Bytes& Raw(std::span<const uint8_t> bytes) {
    const size_t at = data.size();  // not insert(): GCC 12 believes that it overflows
    data.resize(at + bytes.size());
    std::copy(bytes.begin(), bytes.end(), data.data() + at);
    return *this;
  }
  Bytes& Raw(const Bytes& bytes) { return Raw(std::span(bytes.data)); }
  Bytes& Fill(size_t count, uint8_t value) {
    data.insert(data.end(), count, value);
    return *this;
  }
  Bytes& PadTo(size_t size) {
    if (data.size() < size) data.resize(size);
    return *this;
  }
  Bytes& PatchU8(size_t at, uint32_t v) { return Patch(at, v, 1); }
  Bytes& PatchU16(size_t at, uint32_t v) { return Patch(at, v, 2); }
  Bytes& PatchU32(size_t at, uint32_t v) { return Patch(at, v, 4); }
  Bytes& CutTo(size_t size) {
    data.resize(size);
    return *this;
  }
  [[nodiscard]] uint32_t size() const { return static_cast<uint32_t>(data.size()); }

 private:
  Bytes& Little(uint32_t v, int width) {
    for (int i = 0; i < width; ++i) data.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
  }
  Bytes& Patch(size_t at, uint32_t v, size_t width) {
    for (size_t i = 0; i < width; ++i) data.at(at + i) = static_cast<uint8_t>(v >> (8 * i));
    return *this;
  }
};

inline std::vector<uint8_t> FileContent(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
  return {text.begin(), text.end()};
}

// The content of a file under tests/fixtures, such as "zip/nested.zip"; empty when it cannot be read.
inline std::vector<uint8_t> Fixture(const std::string& name) {
  return FileContent(std::string(BRIX_FIXTURE_DIR) + "/" + name);
}

}  // namespace brix
