// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "io/file_stream.h"

namespace brix {

bool FileStream::Open(const char* path, platform::OpenMode mode) {
  Close();
  descriptor_ = platform::Open(path, mode);
  return is_open();
}

bool FileStream::Open(const wchar_t* path, platform::OpenMode mode) {
  Close();
  descriptor_ = platform::Open(path, mode);
  return is_open();
}

void FileStream::Close() {
  if (is_open()) platform::Close(descriptor_);
  descriptor_ = platform::kNoDescriptor;
}

bool FileStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  return is_open() && platform::ReadAt(descriptor_, offset, buf, size, got);
}

bool FileStream::WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  return is_open() && platform::WriteAt(descriptor_, offset, buf, size, written);
}

bool FileStream::GetSize(uint32_t* size) { return is_open() && platform::GetSize(descriptor_, size); }

bool FileStream::SetSize(uint32_t size) { return is_open() && platform::SetSize(descriptor_, size); }

}  // namespace brix
