// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "target_dir.h"

#include <algorithm>
#include <utility>

#include "safe_path.h"

namespace brix::tool {

namespace {

constexpr unsigned kMaxNumber = 1000000;  // then a name counts as unobtainable

}  // namespace

std::string Join(const SafePath& path) {
  std::string out;
  for (const std::string& component : path) {
    if (!out.empty()) out += '/';
    out += component;
  }
  return out;
}

// The folder is the first of the numbered names that is, or can become, a plain one. Counting goes on where it
// stopped for the same folder before: an archive may hold many members that take the names in front of it.
bool TargetDir::Enter(const Folder& parent, const std::string& parent_path, std::string* name, Folder* child,
                      std::string* why) {
  unsigned& number = folder_number_[parent_path + '/' + *name];
  for (number = std::max(number, 1u); number < kMaxNumber; ++number) {
    const std::string candidate = NumberedName(*name, number);
    switch (parent.Enter(candidate, child, why)) {
      case Folder::Outcome::kDone:
        *name = candidate;
        return true;
      case Folder::Outcome::kFailed:
        return false;
      case Folder::Outcome::kTaken:
        break;
    }
  }
  *why = "every name is taken";
  return false;
}

bool TargetDir::Open(const std::string& path, const SafePath& below, std::string* why) {
  if (!root_.OpenRoot(path, why)) return false;
  for (std::string name : below) {
    Folder child;
    if (!Enter(root_, {}, &name, &child, why)) return false;
    root_ = std::move(child);
    folder_number_.clear();  // it counted in the folder above
  }
  return true;
}

bool TargetDir::OpenFolder(SafePath* path, std::string* why) {
  if (has_last_ && *path == last_wanted_) {
    *path = last_path_;
    return true;
  }
  has_last_ = false;
  SafePath wanted = *path;
  Folder opened;
  std::string parent_path;
  bool is_root = true;
  for (std::string& name : *path) {
    Folder child;
    if (!Enter(is_root ? root_ : opened, parent_path, &name, &child, why)) return false;
    opened = std::move(child);
    parent_path += '/' + name;
    is_root = false;
  }
  last_ = std::move(opened);
  last_wanted_ = std::move(wanted);
  last_path_ = *path;
  has_last_ = true;
  return true;
}

bool TargetDir::Write(const SafePath& folder, std::string_view member_name, const uint8_t* data, size_t size,
                      SafePath* written, std::string* why) {
  SafePath path = folder;
  SafePath components = SafeComponents(member_name);
  const std::string name = std::move(components.back());
  components.pop_back();
  path.insert(path.end(), components.begin(), components.end());
  if (!OpenFolder(&path, why)) return false;
  const Folder& place = path.empty() ? root_ : last_;
  unsigned& number = next_number_[Join(path) + '/' + name];
  for (++number; number < kMaxNumber; ++number) {
    const std::string candidate = NumberedName(name, number);
    switch (place.Create(candidate, data, size, why)) {
      case Folder::Outcome::kDone:
        path.push_back(candidate);
        *written = std::move(path);
        return true;
      case Folder::Outcome::kFailed:
        return false;
      case Folder::Outcome::kTaken:
        break;
    }
  }
  *why = "every name is taken";
  return false;
}

}  // namespace brix::tool
