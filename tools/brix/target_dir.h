// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// target_dir.h - writes members below one directory, whatever they are called.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "system.h"

namespace brix::tool {

// A path below the directory, as safe components.
using SafePath = std::vector<std::string>;

class TargetDir {
 public:
  // Opens (or makes) the directory the user named, and in it the folder `below` when that is not empty.
  [[nodiscard]] bool Open(const std::string& path, const SafePath& below, std::string* why);

  // Writes a member of the container whose folder is `folder`. A taken name, whether by a file, a link or
  // anything else, is numbered, so nothing is overwritten or followed. `written` receives the member's path.
  [[nodiscard]] bool Write(const SafePath& folder, std::string_view member_name, const uint8_t* data,
                           size_t size, SafePath* written, std::string* why);

 private:
  // Opens `path`, writing back the names that were used. The folder opened last is kept, as neighbours follow
  // each other.
  [[nodiscard]] bool OpenFolder(SafePath* path, std::string* why);

  // Opens the folder `*name` in `parent`, writing back the numbered name that was used.
  [[nodiscard]] bool Enter(const Folder& parent, const std::string& parent_path, std::string* name,
                           Folder* child, std::string* why);

  Folder root_;
  Folder last_;
  SafePath last_wanted_;
  SafePath last_path_;
  bool has_last_ = false;
  std::unordered_map<std::string, unsigned> next_number_;    // by wanted path: where to go on counting
  std::unordered_map<std::string, unsigned> folder_number_;  // the same for folders
};

// For messages: the components joined by '/'.
[[nodiscard]] std::string Join(const SafePath& path);

}  // namespace brix::tool
