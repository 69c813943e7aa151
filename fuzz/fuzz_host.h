// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// fuzz_host.h - the host of the fuzz targets that call what the shared library exports: a stream that fails, cuts
// short or lies, with every choice that a host can make taken from the input.
//
// Input: a byte with the count of choice bytes, these bytes, and the archive behind them. Choices are used in
// a circle, so that a short list repeats itself; an empty list means no fault and the first of all choices.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>

#include "brixcore/brixcore.h"

namespace brix {

inline constexpr size_t kMaxHostInput = 1 << 20;  // bytes

inline void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// A folder of this process's own, in the system's place for temporary files; removed at exit, for which its name is
// never destroyed.
inline const std::string& PrivateFolder() {
  static const std::string& path = *new std::string([] {
    const std::string stem = (std::filesystem::temp_directory_path() / "brix_fuzzer_").string();
    for (int n = 0;; ++n) {
      std::string made = stem + std::to_string(n);
      if (!std::filesystem::create_directory(made)) continue;
      std::atexit([] { std::filesystem::remove_all(PrivateFolder()); });
      return made;
    }
  }());
  return path;
}

class Choices {
 public:
  explicit Choices(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  uint32_t Next() { return bytes_.empty() ? 0 : bytes_[at_++ % bytes_.size()]; }

 private:
  std::span<const uint8_t> bytes_;
  size_t at_ = 0;
};

// One call in sixteen goes wrong when the choice says so.
struct Host {
  std::span<const uint8_t> archive;
  Choices choices;

  // The input is not empty.
  explicit Host(std::span<const uint8_t> input)
      : archive(input.subspan(1 + std::min<size_t>(input[0], input.size() - 1))),
        choices(input.subspan(1, input.size() - 1 - archive.size())) {}

  // 0: as it should be; 1 to 4: ways to go wrong.
  uint32_t Fault() {
    const uint32_t choice = choices.Next();
    return choice >= 0xF0 ? 1 + choice % 4 : 0;
  }

  ArcStream Record() { return {this, Close, Read, NoWrite, GetSize, nullptr, nullptr}; }

  static int32_t Close(void*) {
    Promise(false, "the host's stream is not closed by the library");
    return 0;
  }

 private:
  static int32_t Read(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
    Host& host = *static_cast<Host*>(context);
    const uint32_t fault = host.Fault();
    if (fault == 1) return -1;
    const auto size = static_cast<uint32_t>(host.archive.size());
    uint32_t count = offset < size ? std::min(length, size - offset) : 0;
    if (fault == 2) count /= 2;
    if (count != 0) std::memcpy(buffer, host.archive.data() + offset, count);
    *got = fault == 3 ? length + 1 : count;
    return fault == 4 ? 1 : 0;
  }

  static int32_t NoWrite(void*, uint32_t, const void*, uint32_t) {
    Promise(false, "the archive is not written to");
    return -1;
  }

  static int32_t GetSize(void* context, uint32_t* size) {
    Host& host = *static_cast<Host*>(context);
    const uint32_t fault = host.Fault();
    *size = static_cast<uint32_t>(host.archive.size());
    if (fault == 2) *size /= 2;
    if (fault == 3) *size = UINT32_MAX;
    if (fault == 4) *size = 0;
    return fault == 1 ? -1 : 0;
  }
};

}  // namespace brix
