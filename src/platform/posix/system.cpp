// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// system.cpp - what is neither opened nor read, on POSIX systems.
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace brix::platform {

bool Exists(const char* path) {
  struct stat info;
  return stat(path, &info) == 0;
}

LargePageAdvice GetLargePageAdvice() {
#ifdef MADV_HUGEPAGE
  return [](uint8_t* memory, size_t size) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t skip = (page - reinterpret_cast<uintptr_t>(memory) % page) % page;
    // Where the system has no large page at hand, small ones do.
    if (skip < size) (void)madvise(memory + skip, (size - skip) / page * page, MADV_HUGEPAGE);
  };
#else
  return nullptr;
#endif
}

bool ReadEnvironment(const char* name, char* value, uint32_t value_size) {
  const char* const text = std::getenv(name);
  if (text == nullptr) return false;
  const size_t length = std::strlen(text);
  if (length >= value_size) return false;
  std::memcpy(value, text, length + 1);
  return true;
}

}  // namespace brix::platform
