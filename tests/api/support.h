// support.h - what the tests of the exported functions share: containers built in place, a host stream that
// misbehaves on demand, and a walk that writes down what it saw.
#pragma once

#include <brixcore/brixcore.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/bytes.h"

namespace brix {

// An SZDD file, a container of one member named "unknown", that holds `content` as literals.
Bytes Szdd(std::string_view content);
Bytes Szdd(const Bytes& content);
// One that holds `count` spaces in an eighth of the bytes.
Bytes SzddOfSpaces(uint32_t count);

// A ZIP archive with stored members.
Bytes Zip(const std::vector<std::pair<std::string, Bytes>>& members);

std::string Text(const Bytes& bytes);

// An empty folder for one test, removed with it.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string File(const std::string& name) const { return path_ + "/" + name; }
  std::string Write(const std::string& name, const Bytes& content) const;
  [[nodiscard]] std::vector<std::string> List() const;  // sorted file names

 private:
  std::string path_;
};

Bytes ReadFile(const std::string& path);

// A host's stream in memory. The `fault_at`-th call, counted from 1, and with `keeps_failing` all later ones,
// go wrong in the way of `fault`.
struct HostFile {
  enum Fault { kFail, kPositiveResult, kShort, kTooMany, kNothing };

  Bytes content;
  Fault fault = kFail;
  int fault_at = 0;  // 0: never
  bool keeps_failing = false;
  int calls = 0;
  int closes = 0;

  ArcStream Record();
  // Counts the call; whether this one goes wrong.
  bool Fails();
};

struct Toolkit {
  ArcTk2Toolkit handle = nullptr;
  Toolkit();
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;
  ~Toolkit();
};

struct Archive {
  ArcTk2Archive handle = nullptr;
  int32_t status = 0;  // of opening
  Archive() = default;
  Archive(Toolkit& toolkit, const std::string& path) {
    status = ArcTk2_OpenArchive(&toolkit.handle, path.c_str(), &handle);
  }
  Archive(Toolkit& toolkit, HostFile& file) {
    const ArcStream record = file.Record();
    status = ArcTk2_OpenArchiveStream(&toolkit.handle, &record, &handle);
  }
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
  ~Archive() {
    if (handle != nullptr) (void)ArcTk2_CloseArchive(&handle);
  }

  int32_t Next() { return ArcTk2_GetNextFile(&handle, name, sizeof name); }
  uint32_t Depth() {
    uint32_t depth = 99;
    (void)ArcTk2_GetDepth(&handle, &depth);
    return depth;
  }
  char name[512] = "";
};

enum class Target { kMemory, kMemoryNoCopy, kFile, kTempFile, kStream };
inline constexpr Target kAllTargets[] = {Target::kMemory, Target::kMemoryNoCopy, Target::kFile,
                                         Target::kTempFile, Target::kStream};

// One extraction: its status and what the target holds (nothing after kMemoryNoCopy).
struct Extracted {
  int32_t status;
  std::string content;
  std::string path;  // of a file target
};
Extracted Extract(Archive& archive, Target target, const TempDir& dir);

// Walks to the first status below 0 other than -2 and -14 and extracts every member. A line a step: depth,
// name and the extraction's status, or the status of the step alone.
std::vector<std::string> WalkLines(Archive& archive, Target target, const TempDir& dir);

}  // namespace brix
