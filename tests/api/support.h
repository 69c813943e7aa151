// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// support.h - what the tests of the exported functions share: containers built in place, a host stream that
// misbehaves on demand, and an open archive that writes down what a walk saw.
#pragma once

#include <brixcore/brixcore.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/zip_builder.h"

namespace brix {

inline std::string Text(const Bytes& bytes) { return {bytes.data.begin(), bytes.data.end()}; }

// An SZDD file, a container of one member named "unknown", that holds `content` as literals.
Bytes Szdd(std::string_view content);
inline Bytes Szdd(const Bytes& content) { return Szdd(std::string_view(Text(content))); }
// One that holds `count` spaces in an eighth of the bytes.
Bytes SzddOfSpaces(uint32_t count);
// `levels` of them, one inside the other.
Bytes Nested(int levels);

// A ZIP archive with stored members.
inline Bytes Zip(const std::vector<std::pair<std::string, Bytes>>& contents) {
  std::vector<ZipMember> members;
  for (const auto& [name, content] : contents) members.push_back(StoredMember(name, Text(content)));
  return BuildZip(members).bytes;
}

// A path in UTF-8, of any length, for the functions of std::filesystem.
std::filesystem::path SystemPath(const std::string& path);

// An empty folder for one test, removed with it.
struct TempDir {
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();
  [[nodiscard]] std::string File(const std::string& name) const { return path + "/" + name; }
  std::string Write(const std::string& name, const Bytes& content) const;
  [[nodiscard]] std::set<std::string> List() const;  // file names
  std::string path;
};

std::string ReadFile(const std::string& path);

// A host's stream in memory. The `fault_at`-th call, counted from 1, and with `keeps_failing` all later ones,
// go wrong in the way of `fault`.
struct HostFile {
  enum Fault { kFail, kPositiveResult, kShort, kTooMany, kNothing, kThrow };

  Bytes content;
  Fault fault = kFail;
  int fault_at = 0;  // 0: never
  bool keeps_failing = false;
  int calls = 0;
  int closes = 0;

  ArcStream Record();
  // Counts a call that would answer `*count`, and spoils the answer when it is to go wrong; its result.
  int32_t Answer(uint32_t* count, uint32_t too_many);
};

enum class Target { kMemory, kFile, kTempFile, kMemoryNoCopy, kStream };
inline constexpr Target kAllTargets[] = {Target::kMemory, Target::kFile, Target::kTempFile,
                                         Target::kMemoryNoCopy, Target::kStream};

// One extraction: its status and what the target holds (nothing after kMemoryNoCopy).
struct Extracted {
  int32_t status = BRIX_FAILED;
  std::string content;
  std::string path;  // of a file target
};

struct Caps {
  uint32_t size, ratio, levels;  // of extraction, compression and nesting
};

// A toolkit, an archive over a host stream, and a folder for temporary files and what the host extracts.
struct Session {
  explicit Session(const Bytes& content = {}, const std::optional<Caps>& caps = {});
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session();

  int32_t Open(const char* path = nullptr);  // null: over `file`; an archive open before is closed
  int32_t Close() { return ArcTk2_CloseArchive(&archive); }
  int32_t Next() { return ArcTk2_GetNextFile(&archive, name, sizeof name); }
  uint32_t Depth();
  Extracted Extract(Target target);
  // Walks to the first status below 0 other than -2 and -14 and extracts every member. A line a step: depth,
  // name and the extraction's status, or the status of the step alone.
  std::vector<std::string> WalkLines(Target target);

  TempDir dir;
  HostFile file;
  ArcTk2Toolkit toolkit = nullptr;
  ArcTk2Archive archive = nullptr;
  char name[512] = "";
};

}  // namespace brix
