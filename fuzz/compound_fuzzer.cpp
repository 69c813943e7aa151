// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The compound-file reader: every entry once, every stream forwards and backwards.
#include "formats/microsoft/compound/compound_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <span>

#include "core/memory_stream.h"
#include "formats/microsoft/compound/directory_walk.h"
#include "formats/registry.h"

using namespace brix::compound;

namespace {

void ReadThrough(ChainStream& stream, uint32_t size) {
  std::array<uint8_t, 1000> first;
  std::array<uint8_t, 1000> again;
  uint32_t got = 0;
  uint32_t at = 0;
  for (int i = 0; i < 50 && stream.ReadAt(at, first.data(), first.size(), &got) && got != 0; ++i) {
    if (got > first.size() || got > size - at) std::abort();
    // What was read once reads the same from behind it.
    uint32_t got_again = 0;
    if (at >= 500 && !stream.ReadAt(at - 500, again.data(), 1, &got_again)) std::abort();
    if (!stream.ReadAt(at, again.data(), got, &got_again) || got_again != got) std::abort();
    if (!std::equal(again.begin(), again.begin() + got, first.begin())) std::abort();
    at += got;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 1 << 20) return 0;
  brix::FixedMemoryStream in(std::span(data, size));
  (void)brix::Formats().Find(17)->identify(in);
  CompoundFile file;
  if (!file.Open(in)) return 0;
  DirectoryWalk walk;
  walk.Begin(file);
  walk.Enter(file.root());
  uint32_t entries = 0;
  for (Entry entry; walk.Next(&entry);) {
    if (++entries > file.entry_count()) std::abort();
    if (entry.type == kStorage) walk.Enter(entry);
    if (entry.type != kStream || entries > 64) continue;
    for (const ChainMemory memory : {ChainMemory::kCursor, ChainMemory::kAll}) {
      ChainStream stream;
      file.OpenStream(entry, memory, &stream);
      ReadThrough(stream, entry.size);
    }
  }
  return 0;
}
