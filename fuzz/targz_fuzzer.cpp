// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The TAR handler over compressed data, and what detection says about them.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <span>

#include "core/memory_stream.h"
#include "formats/registry.h"
#include "walk_all.h"

namespace {

constexpr uint32_t kTar = 13;
constexpr size_t kLookedThrough = 1 << 16;  // compressed bytes that detection reads

// Detection and opening read the same first block: what opens is detected. (What is detected need not open: the block
// may be a skipped member's, with damage behind it.)
void CheckDetection(const uint8_t* data, size_t size) {
  brix::FixedMemoryStream in(std::span(data, size));
  const brix::FormatEntry* row = brix::Formats().Find(kTar);
  const std::unique_ptr<brix::ArchiveHandler> handler(row->create(&in, {kTar, 0, 0, brix::Formats()}));
  if (handler == nullptr) return;
  char name[brix::kNameBufferSize];
  const bool opened = handler->OpenArchive(name);
  if (opened && !row->detect(in, 0, brix::Formats()) && size <= kLookedThrough) {
    std::fprintf(stderr, "broken promise: what opens is detected\n");
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CheckDetection(data, size);
  brix::WalkAll(brix::Formats(), kTar, data, size);
  return 0;
}
