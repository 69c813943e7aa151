// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_fuzzer.cpp - the name-based family over a file, called in any order that its rules allow, with every choice
// that a host can make taken from the input.
//
// Input: a byte with the count of choice bytes, these bytes, and the archive behind them. Each choice is one call. An
// empty list means the intended loop. A list is gone through once and the intended loop follows, so that every input
// comes to an end.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>

#include "brixcore/brixcore.h"
#include "fuzz_host.h"

namespace {

using brix::PrivateFolder;
using brix::Promise;

constexpr uint32_t kMaxSteps = 60;
constexpr uint32_t kMaxNestingLevel = 5;
constexpr size_t kMaxInput = 1 << 18;  // bytes

void WriteFile(const std::string& path, std::span<const uint8_t> bytes) {
  std::FILE* const file = std::fopen(path.c_str(), "wb");
  Promise(file != nullptr, "the input file can be written");
  const size_t written = bytes.empty() ? 0 : std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  Promise(written == bytes.size(), "the input file takes all");
}

class Walk {
 public:
  Walk(BrixDecompression context, BrixNamedArchive archive) : context_(context), archive_(archive) {}

  void Call(uint8_t choice) {
    const uint32_t level = GetArchiveLevel(archive_);
    Promise(level >= 1 && level <= kMaxNestingLevel, "the level stays inside the limit");
    switch (choice % 16) {
      case 0:
        CheckName(GetFirstFileName(archive_));
        break;
      case 1:
      case 2:
      case 3:
        CheckName(GetNextFileName(archive_));
        Promise(GetArchiveLevel(archive_) <= level, "the next name is not deeper");
        break;
      case 4:
      case 5:
      case 6:
        Extract();
        break;
      case 7:
      case 8:
      case 9:
        Remove();
        Promise(GetArchiveLevel(archive_) <= level + 1, "one level down at most");
        break;
      case 10:
        ChangeArchiveRecursionType(archive_, choice / 16);
        break;
      case 11:
        limit_ = uint32_t{choice} / 64 << 20;
        SetArchiveLimits(archive_, kMaxNestingLevel, 1u << (choice / 16), limit_ >> 20);
        break;
      case 12:
        DisableUUandMIME(archive_);
        break;
      case 13:
        EnableUUandMIME(archive_);
        break;
      case 14:
        Promise(std::strlen(GetArchiveName(archive_)) < BRIX_PATH_SIZE, "the archive's name ends");
        break;
      default:
        Promise(EnableArchiveChange(archive_) == 0 && GetErrorValue(context_) == BRIX_ERROR_HANDLER,
                "refused");
        break;
    }
  }

  void Loop() {
    const char* name =
        GetArchiveLevel(archive_) == 1 ? GetFirstFileName(archive_) : GetNextFileName(archive_);
    for (uint32_t step = 0; name != nullptr && step < kMaxSteps; ++step) {
      CheckName(name);
      Extract();
      Remove();
      name = GetNextFileName(archive_);
    }
    if (name == nullptr) Promise(GetArchiveLevel(archive_) == 1, "the walk ends where it began");
    Remove();
  }

 private:
  void CheckName(const char* name) const {
    const uint32_t error = GetErrorValue(context_);
    if (name != nullptr)
      Promise(name[0] != '\0' && std::strlen(name) < 512 && error == 0, "a name, terminated");
    if (name == nullptr) Promise(error == 0 || error == 3 || error == 10, "a stated reason for no name");
  }

  void Extract() {
    if (!held_.empty()) (void)std::remove(held_.c_str());  // it will be forgotten
    held_.clear();
    const char* const path = ExtractCurrentFile(archive_);
    const uint32_t error = GetErrorValue(context_);
    if (path != nullptr) {
      held_ = path;
      Promise(error == 0 && std::filesystem::file_size(held_) < limit_, "a whole member, below the limit");
    } else {
      constexpr uint32_t kReasons[] = {0, 2, 4, 7, 10, 17};
      Promise(std::find(std::begin(kReasons), std::end(kReasons), error) != std::end(kReasons),
              "a stated reason");
    }
  }

  void Remove() {
    const uint32_t level = GetArchiveLevel(archive_);
    RemoveCurrentFile(archive_);
    if (GetArchiveLevel(archive_) == level && !held_.empty()) {
      Promise(!std::filesystem::exists(held_), "a file that is not entered is deleted");
    }
    held_.clear();
  }

  BrixDecompression context_;
  BrixNamedArchive archive_;
  uint32_t limit_ = 1 << 20;
  std::string held_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  const std::span<const uint8_t> input(data + 1, size - 1);
  const auto choices = input.first(std::min<size_t>(data[0] % 64, input.size()));
  const std::string path = PrivateFolder() + (data[0] >= 192 ? "/input.eml" : "/input");
  const std::string files = PrivateFolder() + "/files";
  std::filesystem::create_directory(files);
  WriteFile(path, input.subspan(choices.size()));
  const BrixDecompression context = InitDecompression();
  Promise(context != nullptr, "there is memory for a context");
  SetTemporaryDirectory(context, files.c_str());
  SetThreadArchiveLimits(context, kMaxNestingLevel, 1000, 1);
  SetGatewayMode(context, data[0] & 64);
  const BrixNamedArchive archive = OpenArchiveFileNew(context, path.c_str());
  if (archive != BRIX_NO_ARCHIVE) {
    Walk walk(context, archive);
    for (const uint8_t choice : choices) walk.Call(choice);
    walk.Loop();
    CloseArchiveFile(archive);
  } else {
    const uint32_t error = GetErrorValue(context);
    Promise(error == BRIX_ERROR_NOT_AN_ARCHIVE, "the file can be opened");
  }
  DeInitDecompression(context);
  Promise(std::filesystem::is_empty(files), "no file stays");
  return 0;
}
