// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mspack_walk.cpp - libmspack over a cabinet or a compiled help file in memory.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "contenders.h"
#ifdef BRIX_PEER_LIBMSPACK
#include <mspack.h>
#endif

namespace bench {

#ifdef BRIX_PEER_LIBMSPACK
namespace {

// What libmspack reads from and writes to. It opens by a name, which here is the address of one of these.
struct Medium {
  ByteSpan in = {};
  Sink* out = nullptr;
  size_t at = 0;
};

Medium& MediumOf(mspack_file* file) { return *reinterpret_cast<Medium*>(file); }

void NoMessage(mspack_file*, const char*, ...) {}

mspack_system MemorySystem() {
  mspack_system system{};
  system.open = [](mspack_system*, const char* name, int) -> mspack_file* {
    return reinterpret_cast<mspack_file*>(new Medium(*reinterpret_cast<const Medium*>(name)));
  };
  system.close = [](mspack_file* file) { delete &MediumOf(file); };
  system.read = [](mspack_file* file, void* buffer, int bytes) {
    Medium& medium = MediumOf(file);
    const size_t size = std::min(static_cast<size_t>(bytes), medium.in.size() - medium.at);
    std::memcpy(buffer, medium.in.data() + medium.at, size);
    medium.at += size;
    return static_cast<int>(size);
  };
  system.write = [](mspack_file* file, void* buffer, int bytes) {
    MediumOf(file).out->Take(buffer, static_cast<size_t>(bytes));
    return bytes;
  };
  system.seek = [](mspack_file* file, off_t offset, int mode) {
    Medium& medium = MediumOf(file);
    const size_t base = mode == MSPACK_SYS_SEEK_START ? 0
                        : mode == MSPACK_SYS_SEEK_CUR ? medium.at
                                                      : medium.in.size();
    const size_t to = base + static_cast<size_t>(offset);  // wraps for a negative offset, as it should
    if (to > medium.in.size()) return -1;
    medium.at = to;
    return 0;
  };
  system.tell = [](mspack_file* file) { return static_cast<off_t>(MediumOf(file).at); };
  system.message = NoMessage;
  system.alloc = [](mspack_system*, size_t size) { return std::malloc(size); };
  system.free = [](void* block) { std::free(block); };
  system.copy = [](void* from, void* to, size_t size) { std::memcpy(to, from, size); };
  return system;
}

// A help file lists its own parts among the pages, by names that no member of our cabinets has.
bool IsOwnPart(const char* name) { return name[0] == '/' && (name[1] == '#' || name[1] == '$'); }

// By a decompressor of cabinets or one of help files: they are called alike.
template <typename Walker, typename Destroy>
bool Walk(Walker* (*create)(mspack_system*), Destroy* destroy, ByteSpan bytes, Sink& sink) {
  static mspack_system system = MemorySystem();
  const Medium in = {bytes}, out = {{}, &sink};
  const std::unique_ptr<Walker, Destroy*> walker(create(&system), destroy);
  auto* const archive = walker->open(walker.get(), reinterpret_cast<const char*>(&in));
  if (archive == nullptr) return false;
  bool ok = true;
  for (auto* file = archive->files; ok && file != nullptr; file = file->next) {
    if (IsOwnPart(file->filename)) continue;
    ok = walker->extract(walker.get(), file, reinterpret_cast<const char*>(&out)) == MSPACK_ERR_OK;
    sink.EndMember();
  }
  walker->close(walker.get(), archive);
  return ok;
}

}  // namespace

bool WalkCabinetWithMspack(ByteSpan bytes, Sink& sink) {
  return Walk(&mspack_create_cab_decompressor, &mspack_destroy_cab_decompressor, bytes, sink);
}
bool WalkHelpWithMspack(ByteSpan bytes, Sink& sink) {
  return Walk(&mspack_create_chm_decompressor, &mspack_destroy_chm_decompressor, bytes, sink);
}
#else
bool WalkCabinetWithMspack(ByteSpan, Sink&) { return false; }
bool WalkHelpWithMspack(ByteSpan, Sink&) { return false; }
#endif

}  // namespace bench
