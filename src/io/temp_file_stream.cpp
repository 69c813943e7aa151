// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "io/temp_file_stream.h"

#include "platform/platform.h"

namespace brix {

TempFileStream::~TempFileStream() {
  file_.Close();  // first: some systems keep an open file's name
  if (path_[0] != '\0') (void)platform::Remove(path_);
}

bool TempFileStream::Create(const char* directory) {
  return UniqueFileName(directory, "tmp", path_) && file_.Open(path_, platform::OpenMode::kOwn);
}

bool TempFileStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  return file_.ReadAt(offset, buf, size, got);
}

bool TempFileStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  return file_.WriteAt(offset, buf, size, written);
}

bool TempFileStream::GetSize(uint32_t* size) { return file_.GetSize(size); }

bool TempFileStream::SetSize(uint32_t size) { return file_.SetSize(size); }

}  // namespace brix
