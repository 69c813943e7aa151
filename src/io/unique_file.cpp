// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "io/unique_file.h"

#include <cstdio>
#include <cstring>

#include "platform/platform.h"

namespace brix {

namespace {

constexpr int kNumbers = 10000;
constexpr size_t kNameBytes = 13;  // "/arc0000.tmp" and the terminator

}  // namespace

bool UniqueFileName(const char* directory, const char* extension, char (&path)[kPathBufferSize]) {
  path[0] = '\0';
  if (std::strlen(directory) > kPathBufferSize - kNameBytes) return false;
  for (int n = 0; n < kNumbers; ++n) {
    if (directory[0] == '\0') {
      std::snprintf(path, sizeof path, "arc%04d.%.3s", n, extension);
    } else {
      std::snprintf(path, sizeof path, "%s/arc%04d.%.3s", directory, n, extension);
    }
    const int32_t descriptor = platform::Open(path, platform::OpenMode::kCreateNew);
    if (descriptor != platform::kNoDescriptor) {
      platform::Close(descriptor);
      return true;
    }
  }
  path[0] = '\0';
  return false;
}

void OwnedFile::Delete() {
  if (!path_.empty()) (void)platform::Remove(path_.c_str());
  path_.clear();
}

}  // namespace brix
