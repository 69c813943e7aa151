// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// field_reader.h - reads the fields of a record so that an unchecked read cannot be written.
#pragma once

#include <array>
#include <cstdint>

#include "core/byte_order.h"
#include "core/stream.h"

namespace brix {

// True when [offset, offset + length) lies inside `size` bytes. Written with a subtraction because
// offset + length may wrap.
constexpr bool Fits(uint32_t offset, uint32_t length, uint32_t size) {
  return offset <= size && length <= size - offset;
}

// `*sum` += `more`. False, with `*sum` unchanged, when that would wrap.
[[nodiscard]] constexpr bool CheckedAdd(uint32_t* sum, uint32_t more) {
  if (more > UINT32_MAX - *sum) return false;
  *sum += more;
  return true;
}

// Reads the little-endian fields of one record that starts at `base`.
//
// Field offsets are relative to the record, as format documents print them. The first failed, short or
// wrapping read sticks: it and every later read give 0 and ok() stays false, so a header is read top to
// bottom and checked once. Nothing read may be used before ok() was asked.
class FieldReader {
 public:
  FieldReader(Stream& in, uint32_t base) : in_(in), base_(base) {}

  [[nodiscard]] bool ok() const { return ok_; }
  uint8_t U8(uint32_t at) { return Load<1>(at)[0]; }
  uint16_t U16(uint32_t at) { return LoadLe16(Load<2>(at).data()); }
  uint32_t U32(uint32_t at) { return LoadLe32(Load<4>(at).data()); }

  // True when the N bytes at `at` could be read and equal `expected`. A mismatch does not spoil ok().
  template <size_t N>
  bool Is(uint32_t at, const std::array<uint8_t, N>& expected) {
    const auto found = Load<N>(at);
    return ok_ && found == expected;
  }

  // Copies `size` bytes.
  bool Bytes(uint32_t at, uint8_t* buf, uint32_t size) {
    ok_ = ok_ && at <= UINT32_MAX - base_ && ReadExact(in_, base_ + at, buf, size);
    return ok_;
  }

 private:
  template <size_t N>
  std::array<uint8_t, N> Load(uint32_t at) {
    std::array<uint8_t, N> b{};
    if (!Bytes(at, b.data(), N)) b.fill(0);  // a short read may have left a prefix behind
    return b;
  }

  Stream& in_;
  uint32_t base_;
  bool ok_ = true;
};

}  // namespace brix
