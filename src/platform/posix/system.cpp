// system.cpp - what is neither opened nor read, on POSIX systems.
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace brix::platform {

bool Exists(const char* path) {
  struct stat info;
  return stat(path, &info) == 0;
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
