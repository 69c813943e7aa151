#include "target_dir.h"

#include <utility>

#include "safe_path.h"

namespace brix::tool {

namespace {

constexpr unsigned kMaxNumber = 1000000;  // then a name counts as unobtainable

// Enters `name` or the first numbered name after it that is, or can become, a plain folder.
bool EnterNumbered(const Folder& parent, std::string* name, Folder* child, std::string* why) {
  for (unsigned n = 1; n < kMaxNumber; ++n) {
    const std::string candidate = NumberedName(*name, n);
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

}  // namespace

std::string Join(const SafePath& path) {
  std::string out;
  for (const std::string& component : path) {
    if (!out.empty()) out += '/';
    out += component;
  }
  return out;
}

bool TargetDir::Open(const std::string& path, const SafePath& below, std::string* why) {
  if (!root_.OpenRoot(path, why)) return false;
  for (std::string name : below) {
    Folder child;
    if (!EnterNumbered(root_, &name, &child, why)) return false;
    root_ = std::move(child);
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
  bool is_root = true;
  for (std::string& name : *path) {
    Folder child;
    if (!EnterNumbered(is_root ? root_ : opened, &name, &child, why)) return false;
    opened = std::move(child);
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
