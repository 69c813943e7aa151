// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// file_stream.h - a stream over a file on disk.
#pragma once

#include <cstdint>

#include "core/stream.h"
#include "platform/platform.h"

namespace brix {

// Holds a descriptor from a successful Open to its destruction. An object that is not open fails every
// operation.
class FileStream final : public Stream {
 public:
  FileStream() = default;
  ~FileStream() override { Close(); }

  // Closes what was open before. False: no such file, no right to it, not a regular file, too many open.
  [[nodiscard]] bool Open(const char* path, platform::OpenMode mode);
  [[nodiscard]] bool Open(const wchar_t* path, platform::OpenMode mode);
  void Close();

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  [[nodiscard]] bool is_open() const { return descriptor_ != platform::kNoDescriptor; }

  int32_t descriptor_ = platform::kNoDescriptor;
};

}  // namespace brix
