// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// list_command.cpp - `brix ls`: the whole tree inside each file, as indented text or as JSON lines.
//
// The text is the same on a terminal and in a pipe. A line is held back until the next member shows whether
// the walk went into this one, because its type stands at the end of its line.
#include "open_file.h"
#include "output.h"
#include "text.h"
#include "walk.h"

namespace brix::tool {

namespace {

constexpr size_t kSizeWidth = 12;  // columns, for 10 digits

class Lister : public Visitor {
 public:
  Lister(const std::string& file, bool json, Report* report) : file_(file), json_(json), report_(report) {}

  bool OnMember(const Member& member) override {
    Flush();
    held_ = true;
    depth_ = member.depth;
    container_ = member.container;
    size_ = member.size;
    name_ = member.name;
    path_ = member.path;
    result_ = member.result;
    type_ = BRIX_TYPE_NONE;
    // A problem is reported right after this call; its line belongs after the member's.
    if (result_ != MemberResult::kOk) Flush();
    return !OutputFailed();
  }

  void OnEnter(uint32_t type) override {
    type_ = type;
    Flush();
  }

  void OnBrokenContainer(std::string_view path, uint32_t depth, bool is_encrypted) override {
    Flush();
    if (!json_) return;
    std::string line = "{";
    AppendJsonText("file", file_, &line);
    if (!path.empty()) {
      line += ",\"depth\":" + std::to_string(depth) + ',';
      AppendJsonText("path", path, &line);
    }
    line += is_encrypted ? ",\"status\":\"encrypted-list\"}\n" : ",\"status\":\"damaged-list\"}\n";
    report_->Out(line);
  }

  void OnUnseen(const UnseenText& text) override {
    Flush();
    if (!json_) return;
    std::string line = "{";
    AppendJsonText("file", file_, &line);
    line += ',';
    AppendJsonText("status", text.word, &line);
    report_->Out(line + "}\n");
  }

  void Flush() {
    if (!held_) return;
    held_ = false;
    report_->Out(json_ ? JsonLine() : TextLine());
  }

 private:
  [[nodiscard]] bool HasSize() const {
    return result_ == MemberResult::kOk || result_ == MemberResult::kSizeLimit ||
           result_ == MemberResult::kDepthLimit;
  }

  [[nodiscard]] std::string TextLine() const {
    const std::string size = HasSize() ? std::to_string(size_) : "-";
    std::string line(kSizeWidth - size.size(), ' ');
    line += size;
    line.append(2 + size_t{2} * depth_, ' ');
    line += EscapeForTerminal(name_);
    if (type_ != BRIX_TYPE_NONE) line += std::string("  [") + NameOfType(type_).word + "]";
    if (result_ != MemberResult::kOk) line += std::string("  (") + TextOf(result_).word + ")";
    return line + "\n";
  }

  [[nodiscard]] std::string JsonLine() const {
    std::string line = "{";
    AppendJsonText("file", file_, &line);
    line += ",\"depth\":" + std::to_string(depth_) + ',';
    AppendJsonText("container", NameOfType(container_).word, &line);
    line += ',';
    AppendJsonText("name", name_, &line);
    line += ',';
    AppendJsonText("path", path_, &line);
    line += ",\"size\":" + (HasSize() ? std::to_string(size_) : "null") + ',';
    AppendJsonText("status", TextOf(result_).word, &line);
    if (type_ != BRIX_TYPE_NONE) {
      line += ',';
      AppendJsonText("type", NameOfType(type_).word, &line);
    }
    return line + "}\n";
  }

  const std::string& file_;
  const bool json_;
  Report* report_;
  // The member whose line is held back.
  bool held_ = false;
  uint32_t depth_ = 0;
  uint32_t container_ = 0;
  uint32_t size_ = 0;
  uint32_t type_ = 0;
  std::string name_;
  std::string path_;
  MemberResult result_ = MemberResult::kOk;
};

}  // namespace

int RunList(const Options& options) {
  return RunArchives(options, [&](size_t, OpenFile& input, Report& report) {
    const std::string& file = input.path();
    if (!options.json) report.Out(EscapeForTerminal(file) + "  [" + input.opened().type->word + "]\n");
    Lister lister(file, options.json, &report);
    WalkArchive(&input, options.limits, &lister, &report);
    lister.Flush();
  });
}

}  // namespace brix::tool
