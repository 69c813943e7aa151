// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// walk_fuzzer.cpp - the toolkit family's walk over the host of fuzz_host.h, extracting to every kind of target. The
// first of all choices is memory.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "fuzz_host.h"

namespace {

using brix::Host;
using brix::PrivateFolder;
using brix::Promise;

constexpr uint32_t kMaxSteps = 200;
constexpr uint32_t kDefaultExtractSize = 1 << 18;  // bytes

// The host's target: counts what it is given and fails by choice.
struct Sink {
  Host* host;
  uint32_t end = 0;
};

int32_t NoRead(void*, uint32_t, void*, uint32_t, uint32_t*) { return -1; }

int32_t Write(void* context, uint32_t offset, const void*, uint32_t length) {
  Sink& sink = *static_cast<Sink*>(context);
  Promise(length <= UINT32_MAX - offset, "a write ends inside 4 GiB");
  if (sink.host->Fault() != 0) return -1;
  sink.end = std::max(sink.end, offset + length);
  return 0;
}

int32_t SinkSize(void* context, uint32_t* size) {
  *size = static_cast<Sink*>(context)->end;
  return 0;
}

bool IsKept(int32_t status) { return status == BRIX_OK || status == BRIX_SIZE_LIMIT; }

int32_t ExtractMember(ArcTk2Archive* archive, Host& host, uint32_t choice, uint32_t limit) {
  const std::string file = PrivateFolder() + "/member";
  switch (choice % 8) {
    case 5: {
      Sink sink{&host};
      const ArcStream record = {&sink, Host::Close, NoRead, Write, SinkSize, nullptr, nullptr};
      const int32_t status = ArcTk2_ExtractToStream(archive, &record);
      Promise(sink.end <= limit, "a stream gets no more than the limit");
      return status;
    }
    case 6: {
      char path[512];
      const int32_t status = ArcTk2_ExtractToTempFile(archive, path, sizeof path);
      Promise(IsKept(status) == (path[0] != '\0'), "a path comes with success alone");
      if (IsKept(status)) Promise(std::filesystem::file_size(path) <= limit, "a file stays inside the limit");
      return status;
    }
    case 7: {
      const int32_t status = ArcTk2_ExtractToFile(archive, file.c_str());
      Promise(IsKept(status) == std::filesystem::exists(file), "a file stays after success alone");
      return status;
    }
    default: {
      void* data = nullptr;
      uint32_t size = 0;
      const bool wants_copy = choice % 8 != 4;
      const int32_t status = ArcTk2_ExtractToMemory(archive, wants_copy ? &data : nullptr, &size);
      Promise(size <= limit, "memory holds no more than the limit");
      Promise((data != nullptr) == (wants_copy && IsKept(status)), "data come with success alone");
      ArcTk2_FreeMemory(data);
      return status;
    }
  }
}

void Walk(ArcTk2Archive* archive, Host& host, uint32_t limit, uint32_t max_nesting_level) {
  uint32_t last_depth = 0;
  bool may_descend = false;
  for (uint32_t step = 0; step < kMaxSteps; ++step) {
    char name[512];
    std::memset(name, 'x', sizeof name);
    const uint32_t name_size = host.choices.Next() == 0xFF ? 4 : sizeof name;
    const int32_t status = ArcTk2_GetNextFile(archive, name, name_size);
    if (status == BRIX_FAILED || status == BRIX_NO_MORE_MEMBERS) {
      Promise(ArcTk2_GetNextFile(archive, name, sizeof name) == status, "the end of a walk is final");
      return;
    }
    uint32_t depth = 0;
    Promise(ArcTk2_GetDepth(archive, &depth) == BRIX_OK, "the depth can be asked for");
    Promise(depth + 1 < max_nesting_level || depth == 0, "no deeper than the limit allows");
    Promise(depth <= last_depth || (may_descend && depth == last_depth + 1),
            "one level down at most, when allowed");
    last_depth = depth;
    may_descend = false;
    if (status == BRIX_PART_FAILED || status == BRIX_BAD_ARGUMENT) continue;
    Promise(status == BRIX_OK, "no other status");
    Promise(std::memchr(name, '\0', sizeof name) != nullptr && name[0] != '\0', "a name, terminated");
    const uint32_t choice = host.choices.Next();
    if (choice == 0xFE) continue;
    const int32_t extracted = ExtractMember(archive, host, choice, limit);
    may_descend = extracted == BRIX_OK && choice % 8 != 5;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > brix::kMaxHostInput) return 0;
  Host host(std::span(data, size));

  const uint32_t limit = host.choices.Next() % 4 == 3 ? host.choices.Next() * 8 : kDefaultExtractSize;
  const uint32_t ratio = host.choices.Next() % 4 == 3 ? host.choices.Next() : 1000;
  const uint32_t max_nesting_level = host.choices.Next() % 4 == 3 ? host.choices.Next() % 8 : 10;
  ArcTk2Toolkit toolkit = nullptr;
  if (ArcTk2_Init(&toolkit) != BRIX_OK) return 0;
  Promise(ArcTk2_SetToolkitLimits(&toolkit, limit, ratio, max_nesting_level) == BRIX_OK, "limits are taken");
  Promise(ArcTk2_SetGlobalTempFileDirectory(&toolkit, PrivateFolder().c_str()) == BRIX_OK,
          "a folder is taken");
  const ArcStream record = host.Record();
  ArcTk2Archive archive = nullptr;
  const int32_t status = ArcTk2_OpenArchiveStream(&toolkit, &record, &archive);
  Promise((status == BRIX_OK) == (archive != nullptr), "a handle comes with success alone");
  if (status == BRIX_OK) {
    Walk(&archive, host, limit, max_nesting_level);
    (void)ArcTk2_CloseArchive(&archive);
  }
  Promise(ArcTk2_Close(&toolkit) == BRIX_OK, "a toolkit can be closed");
  std::filesystem::remove(PrivateFolder() + "/member");  // the host's own
  Promise(std::filesystem::is_empty(PrivateFolder()), "no temporary file stays behind");
  return 0;
}
