// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// files.cpp - the file layer on Windows.
//
// Reads and writes name their offset in an OVERLAPPED record; on a handle opened for synchronous use that
// makes them positional and they still return when they are done.
#include <windows.h>

#include "platform/platform.h"
#include "platform/slot_table.h"
#include "platform/windows/path.h"

namespace brix::platform {

namespace {

// Made when the library is loaded, deleted when it is unloaded.
class CriticalSection {
 public:
  CriticalSection() { InitializeCriticalSection(&section_); }
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;
  ~CriticalSection() { DeleteCriticalSection(&section_); }
  void lock() { EnterCriticalSection(&section_); }    // NOLINT(readability-identifier-naming)
  void unlock() { LeaveCriticalSection(&section_); }  // NOLINT(readability-identifier-naming)

 private:
  CRITICAL_SECTION section_;
};

// First to be made and last to go, so that other statics may hold files.
[[gnu::init_priority(101)]] SlotTable<HANDLE, CriticalSection> table;

HANDLE OpenHandle(const wchar_t* path, OpenMode mode) {
  DWORD access = GENERIC_READ | GENERIC_WRITE;
  DWORD share = FILE_SHARE_READ | FILE_SHARE_DELETE;
  DWORD disposition = OPEN_EXISTING;
  switch (mode) {
    case OpenMode::kRead:
      access = GENERIC_READ;
      share |= FILE_SHARE_WRITE;  // a file that its owner still writes may be scanned
      break;
    case OpenMode::kReadWrite:
    case OpenMode::kOwn:  // to make a link needs a privilege there
      break;
    case OpenMode::kCreate:
      disposition = CREATE_ALWAYS;
      break;
    case OpenMode::kCreateNew:
      disposition = CREATE_NEW;
      break;
  }
  // The security flags matter when the path names a pipe: its server must not act in this process's name.
  constexpr DWORD kFlags = FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS;
  return CreateFileW(path, access, share, nullptr, disposition, kFlags, nullptr);
}

template <class Char>
int32_t OpenPath(const Char* name, OpenMode mode) {
  SystemPath path;
  if (!path.Take(name)) return kNoDescriptor;
  HANDLE const handle = OpenHandle(path.text(), mode);
  if (handle == INVALID_HANDLE_VALUE) return kNoDescriptor;
  const int32_t descriptor = GetFileType(handle) == FILE_TYPE_DISK ? table.Put(handle) : kNoDescriptor;
  if (descriptor == kNoDescriptor) {
    CloseHandle(handle);
    if (mode == OpenMode::kCreateNew) DeleteFileW(path.text());  // nobody would know of it
  }
  return descriptor;
}

OVERLAPPED At(uint32_t offset) {
  OVERLAPPED place{};
  place.Offset = offset;
  return place;
}

}  // namespace

int32_t Open(const char* path, OpenMode mode) { return OpenPath(path, mode); }
int32_t Open(const wchar_t* path, OpenMode mode) { return OpenPath(path, mode); }

void Close(int32_t descriptor) { CloseHandle(table.Take(descriptor)); }

bool ReadAt(int32_t descriptor, uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  uint32_t count = 0;
  while (count < size && count <= UINT32_MAX - offset) {  // each turn reads something, or leaves
    OVERLAPPED place = At(offset + count);
    DWORD n = 0;
    if (ReadFile(table.At(descriptor), buf + count, size - count, &n, &place) == 0) {
      if (GetLastError() != ERROR_HANDLE_EOF) return false;
      break;
    }
    if (n == 0) break;
    count += n;
  }
  *got = count;
  return true;
}

bool WriteAt(int32_t descriptor, uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) {
  *written = 0;
  if (size > UINT32_MAX - offset) return false;
  while (*written < size) {  // each turn writes something, or leaves
    OVERLAPPED place = At(offset + *written);
    DWORD n = 0;
    if (WriteFile(table.At(descriptor), buf + *written, size - *written, &n, &place) == 0 || n == 0) {
      return false;
    }
    *written += n;
  }
  return true;
}

bool GetSize(int32_t descriptor, uint32_t* size) {
  LARGE_INTEGER found;
  if (GetFileSizeEx(table.At(descriptor), &found) == 0) return false;
  if (found.QuadPart < 0 || found.QuadPart > LONGLONG{UINT32_MAX}) return false;
  *size = static_cast<uint32_t>(found.QuadPart);
  return true;
}

bool SetSize(int32_t descriptor, uint32_t size) {
  LARGE_INTEGER end;
  end.QuadPart = size;
  HANDLE const handle = table.At(descriptor);
  return SetFilePointerEx(handle, end, nullptr, FILE_BEGIN) != 0 && SetEndOfFile(handle) != 0;
}

bool Remove(const char* name) {
  SystemPath path;
  return path.Take(name) && DeleteFileW(path.text()) != 0;
}

}  // namespace brix::platform
