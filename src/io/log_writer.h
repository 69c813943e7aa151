// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// log_writer.h - a text file that grows at its end through a buffer of 4,096 bytes.
#pragma once

#include <cstdint>
#include <string_view>

#include "io/file_stream.h"
#include "io/write_streams.h"

namespace brix {

// A failure to write sticks: the rest of the log is lost and nobody is told.
class LogWriter {
 public:
  LogWriter() : buffer_(&file_) {}

  // Makes a new file arc0000.log, or the next free number, in `directory`. False: none can be made.
  [[nodiscard]] bool Open(const char* directory);

  void Write(std::string_view text);

  // Writes what is buffered.
  void Close();

 private:
  FileStream file_;
  BufferedWriteStream buffer_;
  uint32_t end_ = 0;  // bytes written
};

}  // namespace brix
