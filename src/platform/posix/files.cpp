// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// files.cpp - the file layer on POSIX systems.
//
// Files are opened with O_NONBLOCK, so that opening a pipe without a writer returns, and then refused when
// they are not regular; on a regular file the flag means nothing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>

#include "platform/platform.h"
#include "platform/slot_table.h"

namespace brix::platform {

namespace {

constinit SlotTable<int, std::mutex> table;

constexpr mode_t kShared = 0666;   // a file that the host named: its umask decides
constexpr mode_t kPrivate = 0600;  // a file that the library named, with a member's content

int OpenHandle(const char* path, OpenMode mode) {
  constexpr int kAlways = O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  int handle = -1;
  do {
    switch (mode) {
      case OpenMode::kRead:
        handle = open(path, O_RDONLY | kAlways);
        break;
      case OpenMode::kReadWrite:
        handle = open(path, O_RDWR | kAlways);
        break;
      case OpenMode::kOwn:
        // The name can be guessed, and its directory may be anyone's: a link there now was put by someone else.
        handle = open(path, O_RDWR | O_NOFOLLOW | kAlways);
        break;
      case OpenMode::kCreate:
        handle = open(path, O_RDWR | O_CREAT | O_TRUNC | kAlways, kShared);
        break;
      case OpenMode::kCreateNew:
        handle = open(path, O_RDWR | O_CREAT | O_EXCL | kAlways, kPrivate);
        break;
    }
  } while (handle < 0 && errno == EINTR);
  return handle;
}

constexpr size_t kMaxPath = 4096;  // bytes with the terminator; the system takes no longer one

// Writes `wide` as UTF-8. False: too long, or not a character.
bool ToUtf8(const wchar_t* wide, char (&path)[kMaxPath]) {
  constexpr size_t kLongest = 4;  // bytes a character
  size_t used = 0;
  for (; *wide != L'\0'; ++wide) {                   // each turn takes a byte of the path
    const auto code = static_cast<uint32_t>(*wide);  // NOLINT(bugprone-signed-char-misuse): 32 bits wide here
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) || used >= kMaxPath - kLongest) return false;
    if (code < 0x80) {
      path[used++] = static_cast<char>(code);
      continue;
    }
    const int tail = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;  // bytes behind the first
    constexpr uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    path[used++] = static_cast<char>(kLead[tail] | code >> (6 * tail));
    for (int i = tail - 1; i >= 0; --i) path[used++] = static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
  }
  path[used] = '\0';
  return true;
}

bool IsRegular(int handle) {
  struct stat info;
  return fstat(handle, &info) == 0 && S_ISREG(info.st_mode);
}

}  // namespace

int32_t Open(const char* path, OpenMode mode) {
  const int handle = OpenHandle(path, mode);
  if (handle < 0) return kNoDescriptor;
  const int32_t descriptor = IsRegular(handle) ? table.Put(handle) : kNoDescriptor;
  if (descriptor == kNoDescriptor) {
    close(handle);
    if (mode == OpenMode::kCreateNew) unlink(path);  // nobody would know of it
  }
  return descriptor;
}

int32_t Open(const wchar_t* path, OpenMode mode) {
  char utf8[kMaxPath];
  return ToUtf8(path, utf8) ? Open(utf8, mode) : kNoDescriptor;
}

// Not repeated after EINTR: the handle is gone by then, and its number may already be another file's.
void Close(int32_t descriptor) { close(table.Take(descriptor)); }

bool ReadAt(int32_t descriptor, uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  const int handle = table.At(descriptor);
  uint32_t count = 0;
  while (count < size) {  // each turn reads something, or leaves
    const ssize_t n = pread(handle, buf + count, size - count, static_cast<off_t>(offset) + count);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;
    count += static_cast<uint32_t>(n);
  }
  *got = count;
  return true;
}

bool WriteAt(int32_t descriptor, uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (size > UINT32_MAX - offset) return false;
  const int handle = table.At(descriptor);
  while (*written < size) {  // each turn writes something, or leaves
    const ssize_t n = pwrite(handle, buf + *written, size - *written, static_cast<off_t>(offset) + *written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    *written += static_cast<uint32_t>(n);
  }
  return true;
}

bool GetSize(int32_t descriptor, uint32_t* size) {
  struct stat info;
  if (fstat(table.At(descriptor), &info) != 0 || info.st_size < 0 || info.st_size > off_t{UINT32_MAX}) {
    return false;
  }
  *size = static_cast<uint32_t>(info.st_size);
  return true;
}

bool SetSize(int32_t descriptor, uint32_t size) {
  int result = 0;
  do {
    result = ftruncate(table.At(descriptor), static_cast<off_t>(size));
  } while (result != 0 && errno == EINTR);
  return result == 0;
}

bool Remove(const char* path) { return unlink(path) == 0; }

}  // namespace brix::platform
