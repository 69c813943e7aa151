// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// recording_stream.h - a stream in memory that writes down what reaches it and fails on demand.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "core/memory_stream.h"

namespace brix {

struct RecordingStream final : Stream {
  explicit RecordingStream(bool* deleted = nullptr) : deleted_flag(deleted) {}
  ~RecordingStream() override {
    if (deleted_flag != nullptr) *deleted_flag = true;
  }
  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    reads.emplace_back(offset, size);
    return !fails && memory.ReadAt(offset, buf, size, got);
  }
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    writes.push_back(size);
    return !fails && memory.WriteAt(offset, buf, size, written);
  }
  [[nodiscard]] bool GetSize(uint32_t* size) override { return memory.GetSize(size); }
  [[nodiscard]] bool SetSize(uint32_t size) override { return memory.SetSize(size); }

  MemoryStream memory;
  std::vector<std::pair<uint32_t, uint32_t>> reads;  // offsets and sizes
  std::vector<uint32_t> writes;                      // sizes
  bool fails = false;
  bool* deleted_flag;
};

}  // namespace brix
