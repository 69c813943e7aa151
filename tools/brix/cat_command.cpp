// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cat_command.cpp - `brix cat`: one member's bytes to standard output.
//
// Only the containers on the way to the member are extracted. A member is addressed by its path, the names joined by
// '/', as stored; only when no member has that path it is taken for the escaped spelling of the listing. Names repeat,
// so --nth chooses among the members of one path, in the order of `brix ls`. The bytes are written as they are decoded,
// in constant memory: of a damaged member, those before the damage.
#include "open_file.h"
#include "output.h"
#include "text.h"
#include "walk.h"

namespace brix::tool {

namespace {

class Printer : public Visitor {
 public:
  Printer(const Options& options, bool is_escaped)
      : wanted_(options.member), nth_(options.nth), is_escaped_(is_escaped) {}

  Want Choose(std::string_view path) override {
    const std::string shown = is_escaped_ ? EscapeForTerminal(path) : std::string(path);
    if (wanted_.compare(0, shown.size(), shown) != 0) return Want::kSkip;
    if (wanted_.size() != shown.size()) return wanted_[shown.size()] == '/' ? Want::kSize : Want::kSkip;
    return ++seen_ == nth_ ? Want::kStream : Want::kSkip;
  }

  bool OnMember(const Member&) override { return !found(); }

  bool OnData(const void* data, size_t size) noexcept override {
    return WriteOutput({static_cast<const char*>(data), size});
  }

  // How many members with the path there were, up to the one wanted.
  [[nodiscard]] uint32_t seen() const { return seen_; }
  [[nodiscard]] bool found() const { return seen_ == nth_; }

 private:
  const std::string& wanted_;
  const uint32_t nth_;
  const bool is_escaped_;
  uint32_t seen_ = 0;
};

}  // namespace

int RunCat(const Options& options) {
  return RunArchives(options, [&](size_t, OpenFile& input, Report& report) {
    uint32_t seen = 0;
    for (const bool is_escaped : {false, true}) {
      // Without a backslash both spellings are the same.
      if (is_escaped && (options.member.find('\\') == std::string::npos || !input.OpenAgain())) break;
      Printer printer(options, is_escaped);
      WalkArchive(&input, options.limits, &printer, &report);
      seen = printer.seen();
      if (seen != 0) break;
    }
    if (seen == options.nth) return;
    const std::string only = "only " + std::to_string(seen) + " with this path";
    report.Problem(kExitCannotRead, input.path(), options.member, seen == 0 ? "no such member" : only);
  });
}

}  // namespace brix::tool
