// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// extract_command.cpp - `brix x`: writes every member below a directory, those of nested containers too.
//
// The members of a container that was written as "inner.zip" go to the folder "inner.zip.d" beside it. With
// more than one file, each file has a folder of its own, named in the same way.
#include <new>
#include <utility>

#include "open_file.h"
#include "safe_path.h"
#include "target_dir.h"
#include "text.h"
#include "walk.h"

namespace brix::tool {

namespace {

class Extractor : public Visitor {
 public:
  Extractor(const std::string& file, bool verbose, TargetDir* target, Report* report)
      : file_(file), verbose_(verbose), target_(target), report_(report), folders_(1) {}

  Want Choose(std::string_view) override { return Want::kData; }

  bool OnMember(const Member& member) override {
    folders_.resize(size_t{member.depth} + 1);
    written_.clear();
    const std::vector<uint8_t> beginning = std::exchange(beginning_, {});
    const uint8_t* data = member.data != nullptr || beginning.empty() ? member.data : beginning.data();
    if (data == nullptr) return true;  // the walk reports why
    std::string why;
    if (!target_->Write(folders_.back(), member.name, data, member.size, &written_, &why)) {
      report_->Problem(kExitCannotRead, file_, member.path, "cannot be written: " + why);
    } else if (verbose_) {
      report_->Out(EscapeForTerminal(Join(written_)) + "\n");
    }
    return true;
  }

  bool OnData(const void* data, size_t size) noexcept override {
    const auto* const bytes = static_cast<const uint8_t*>(data);
    try {
      beginning_.insert(beginning_.end(), bytes, bytes + size);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return true;
  }

  void OnEnter(uint32_t) override {
    SafePath folder = written_;
    // A container that could not be written still has its members written.
    if (folder.empty()) folder = {"unwritten"};
    folder.back() += ".d";
    folders_.push_back(std::move(folder));
  }

 private:
  const std::string& file_;
  const bool verbose_;
  TargetDir* target_;
  Report* report_;
  std::vector<SafePath> folders_;   // by depth: where that container's members go
  SafePath written_;                // of the member told last; empty: it was not written
  std::vector<uint8_t> beginning_;  // of a damaged member
};

// A folder for each file, numbered here so that it does not depend on which thread comes first.
std::vector<SafePath> FoldersFor(const std::vector<std::string>& files) {
  std::vector<SafePath> out(files.size());
  if (files.size() == 1) return out;
  std::unordered_map<std::string, unsigned> seen;
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string name = files[i] == "-" ? "stdin" : SafeComponents(files[i]).back();
    out[i] = {NumberedName(name, ++seen[name]) + ".d"};
  }
  return out;
}

}  // namespace

int RunExtract(const Options& options) {
  const std::vector<SafePath> folders = FoldersFor(options.files);
  return RunArchives(options, [&](size_t index, OpenFile& input, Report& report) {
    TargetDir target;
    std::string why;
    if (!target.Open(options.target, folders[index], &why)) {
      report.Problem(kExitCannotRead, options.target, {}, "cannot be written to: " + why);
      return;
    }
    Extractor extractor(input.path(), options.verbose, &target, &report);
    WalkArchive(&input, options.limits, &extractor, &report);
  });
}

}  // namespace brix::tool
