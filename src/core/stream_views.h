// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// stream_views.h - streams over other streams: a window on one (RangeStream) and a stream of nothing
// (NullStream).
#pragma once

#include <cstdint>

#include "core/stream.h"

namespace brix {

// A view of the bytes [start, start + length) of a parent stream, which it neither owns nor outlives. Usually
// built on the stack around one member's compressed data.
class RangeStream : public Stream {
 public:
  RangeStream(Stream* parent, uint32_t start, uint32_t length)
      : parent_(parent), start_(start), length_(length) {}

  // Cut at the end of the view; fails only for an offset behind the end.
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;

  // Refused, not cut, when it would cross the end of the view.
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;

  [[nodiscard]] bool GetSize(uint32_t* size) override;

  // Moves the end of the view; succeeds only when the parent already reaches that far.
  [[nodiscard]] bool SetSize(uint32_t size) override;

  // Drops `advance` bytes from the front and moves the end: a format strips a header from its view this way.
  // Both sums may wrap; a view that lies outside its parent only makes reads fail.
  virtual void Reframe(uint32_t advance, uint32_t new_end);

 private:
  Stream* parent_;
  uint32_t start_;   // offset in the parent
  uint32_t length_;  // bytes
};

// Reads as zeros without end, swallows writes, is always 0 bytes long.
class NullStream final : public Stream {
 public:
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  // Kept: `*written` is not touched.
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;
};

}  // namespace brix
