// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// Type detection, with and without the hint that the file is mail. A detector must say the same when it is
// asked again and whether or not a cache stands in front of the input.
#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/cached_read_stream.h"
#include "core/memory_stream.h"
#include "formats/registry.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kMaxInput = 1 << 20;
  if (size > kMaxInput) return 0;
  brix::FixedMemoryStream in(std::span(data, size));
  for (const uint32_t flags : {uint32_t{0}, brix::kDetectMailHint}) {
    brix::CachedReadStream cache;
    cache.SetInner(&in, 0);
    const uint32_t type_id = brix::Formats().DetectArchiveType(cache, flags);
    if (type_id > brix::kTypeCount || type_id != brix::Formats().DetectArchiveType(in, flags)) {
      std::fprintf(stderr, "broken promise: the cache does not change the answer\n");
      std::abort();
    }
  }
  return 0;
}
