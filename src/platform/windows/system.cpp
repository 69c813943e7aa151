// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// system.cpp - what is neither opened nor read, on Windows.
#include <windows.h>

#include "platform/platform.h"
#include "platform/windows/path.h"

namespace brix::platform {

bool Exists(const char* name) {
  SystemPath path;
  return path.Take(name) && GetFileAttributesW(path.text()) != INVALID_FILE_ATTRIBUTES;
}

LargePageAdvice GetLargePageAdvice() { return nullptr; }  // those need a privilege there

// Asked of the system: the C run time knows only what was set before it was loaded.
bool ReadEnvironment(const char* name, char* value, uint32_t value_size) {
  const DWORD length = GetEnvironmentVariableA(name, value, value_size);
  return length != 0 && length < value_size;
}

}  // namespace brix::platform
