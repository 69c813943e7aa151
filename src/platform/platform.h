// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// platform.h - what the library asks of the operating system: files by descriptor, and the environment.
//
// A descriptor is the index of a slot in one process-wide table of 2,048 operating-system handles. One lock
// guards finding a free slot and clearing one; reading or writing an open file takes no lock, because a
// descriptor belongs to whoever opened it.
//
// Paths are zero-terminated bytes, handed to the system as they are; on Windows they are text of its code page or UTF-8
// (windows/path.h). Only regular files are opened: a pipe, a device or a folder that stands where a file is expected is
// refused at once and cannot make a scan hang.
#pragma once

#include <cstddef>
#include <cstdint>

namespace brix::platform {

inline constexpr int32_t kMaxDescriptors = 2048;
inline constexpr int32_t kNoDescriptor = -1;

enum class OpenMode {
  kRead,       // an existing file, for reading
  kReadWrite,  // an existing file, for both
  kOwn,        // the same for a file that the library made under a name of its own: a link there is refused
  kCreate,     // for both; made, or emptied when it exists
  kCreateNew,  // for both; fails when the name exists already, also as a link
};

// The descriptor, kNoDescriptor on failure: also when all slots are taken, after closing the new handle
// again.
[[nodiscard]] int32_t Open(const char* path, OpenMode mode);
// The same for a wide path: UTF-16 on Windows; elsewhere UTF-32, handed to the system as UTF-8.
[[nodiscard]] int32_t Open(const wchar_t* path, OpenMode mode);
void Close(int32_t descriptor);

// Copies up to `size` bytes that start at `offset`; true with `*got < size` means that the end was reached.
[[nodiscard]] bool ReadAt(int32_t descriptor, uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got);

// Stores all of `size` bytes or fails, with `*written` saying how far it came. A file does not grow past
// 4 GiB - 1 bytes.
[[nodiscard]] bool WriteAt(int32_t descriptor, uint32_t offset, const uint8_t* buf, uint32_t size,
                           uint32_t* written);

// Fails for a file of more than 4 GiB - 1 bytes: it cannot be addressed.
[[nodiscard]] bool GetSize(int32_t descriptor, uint32_t* size);
[[nodiscard]] bool SetSize(int32_t descriptor, uint32_t size);

[[nodiscard]] bool Remove(const char* path);

// Whether anything of this name exists, a folder too.
[[nodiscard]] bool Exists(const char* path);

// What tells the system that a large block will be filled from end to end, so that it serves it with few large pages:
// touching fresh memory page by page costs most of what decoding into it does. Null where there is no such thing.
using LargePageAdvice = void (*)(uint8_t* memory, size_t size);
[[nodiscard]] LargePageAdvice GetLargePageAdvice();

// Copies an environment variable with its terminator. False: it is not set, or does not fit.
[[nodiscard]] bool ReadEnvironment(const char* name, char* value, uint32_t value_size);

}  // namespace brix::platform
