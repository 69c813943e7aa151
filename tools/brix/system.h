// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// system.h - what the program asks of the operating system; one implementation each in system_posix.cpp and
// system_windows.cpp. Paths are UTF-8 on Windows and plain bytes elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace brix::tool {

// The command line's arguments, the program's name first.
[[nodiscard]] std::vector<std::string> Arguments(int argc, char** argv);

// Puts the files that it matches in place of each path with a wildcard in its last part, where the shell leaves that to
// the program. A path that matches none stays.
void ExpandWildcards(std::vector<std::string>* paths);

// A stream of bytes to what standard output was, which is standard error from now on. Null: there was none.
[[nodiscard]] FILE* TakeStandardOutput();
[[nodiscard]] bool IsTerminal(FILE* stream);

// Where temporary files go, as the library takes paths; empty: nowhere.
[[nodiscard]] std::string TempDirectory();

// Whether anything has this name. Opens nothing.
[[nodiscard]] bool Exists(const std::string& path);

enum class FileKind {
  kRegular,  // the library may open it by its path
  kSpooled,  // a pipe, a device, standard input: its content is in memory now
  kDirectory,
  kTooLarge,  // 4 GiB or more
  kUnreadable
};

// Finds out how a file can be presented. "-" is standard input. `content` is filled for kSpooled, `why` with
// the system's reason for kUnreadable, `size` (bytes) for kRegular and kSpooled.
[[nodiscard]] FileKind InspectFile(const std::string& path, std::vector<uint8_t>* content, uint64_t* size,
                                   std::string* why);

// A directory into which files are written. Nothing is ever followed or overwritten on the way: a link that
// stands where a directory or a file is wanted counts as a name that is taken.
class Folder {
 public:
  enum class Outcome { kDone, kTaken, kFailed };

  Folder() = default;
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  Folder(Folder&& other) noexcept;
  Folder& operator=(Folder&& other) noexcept;
  ~Folder();

  // Opens the folder that the user named, making it and its parents when they are missing. Links are followed
  // here: the user chose it.
  [[nodiscard]] bool OpenRoot(const std::string& path, std::string* why);

  // Opens the folder `name` in this one, making it when it is missing. `name` is one safe component.
  [[nodiscard]] Outcome Enter(const std::string& name, Folder* child, std::string* why) const;

  // Writes a new file. A file that could not be written whole is removed again.
  [[nodiscard]] Outcome Create(const std::string& name, const uint8_t* data, size_t size,
                               std::string* why) const;

 private:
#ifdef _WIN32
  std::wstring path_;
#else
  int fd_ = -1;
#endif
};

}  // namespace brix::tool
