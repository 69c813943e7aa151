// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// temp_file_stream.h - a stream over a new file that the library names itself and deletes with the stream.
#pragma once

#include <cstdint>

#include "core/stream.h"
#include "io/file_stream.h"
#include "io/unique_file.h"

namespace brix {

// Allocates nothing: the path stands in the object, so that no failure can leave a file behind that nobody owns.
class TempFileStream final : public Stream {
 public:
  TempFileStream() = default;
  ~TempFileStream() override;

  // Called once. False: no name could be made, or the file cannot be opened; none stays.
  [[nodiscard]] bool Create(const char* directory);

  // Empty before Create.
  [[nodiscard]] const char* path() const { return path_; }

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  FileStream file_;
  char path_[kPathBufferSize] = "";
};

}  // namespace brix
