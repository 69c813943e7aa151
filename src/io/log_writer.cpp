// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "io/log_writer.h"

#include "io/unique_file.h"

namespace brix {

bool LogWriter::Open(const char* directory) {
  char path[kPathBufferSize];
  if (!UniqueFileName(directory, "log", path)) return false;
  if (file_.Open(path, platform::OpenMode::kOwn)) return true;
  (void)platform::Remove(path);
  return false;
}

void LogWriter::Write(std::string_view text) {
  uint32_t written = 0;
  const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
  if (buffer_.WriteAt(end_, bytes, static_cast<uint32_t>(text.size()), &written)) end_ += written;
}

void LogWriter::Close() {
  (void)buffer_.Flush();
  file_.Close();
}

}  // namespace brix
