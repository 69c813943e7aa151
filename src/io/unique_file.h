// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// unique_file.h - files that the library names itself.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace brix {

// A file name with its terminator fits in this many bytes.
inline constexpr uint32_t kPathBufferSize = 512;

// Makes a new, empty file in `directory` and writes its path: "<directory>/arc<0000 to 9999>.<extension>",
// the first number that is free, or the name alone when the directory is empty. The extension is cut to three
// characters. The file is closed again; that it exists reserves the name.
//
// False: a directory of more than 499 bytes, one where nothing can be created, or all numbers taken. `path`
// is then empty.
[[nodiscard]] bool UniqueFileName(const char* directory, const char* extension,
                                  char (&path)[kPathBufferSize]);

// A file on disk that is deleted together with this object; an empty path is none.
class OwnedFile {
 public:
  OwnedFile() = default;
  explicit OwnedFile(std::string path) : path_(std::move(path)) {}
  OwnedFile(OwnedFile&& other) noexcept { path_.swap(other.path_); }
  OwnedFile& operator=(OwnedFile&& other) noexcept {
    if (this != &other) {
      Delete();
      path_.swap(other.path_);
    }
    return *this;
  }
  ~OwnedFile() { Delete(); }

  [[nodiscard]] const std::string& path() const { return path_; }

  // Deletes the file now. Nobody can be told when the system refuses: it stays behind.
  void Delete();

  // The file stays; this object has none any more.
  void Keep() { path_.clear(); }

 private:
  std::string path_;
};

}  // namespace brix
