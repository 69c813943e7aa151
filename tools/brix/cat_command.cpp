// cat_command.cpp - `brix cat`: one member's bytes to standard output.
//
// Only the containers on the way to the member are extracted. A member is addressed by the path that `brix
// ls` shows in its tree, the names joined by '/'; both the stored bytes and the escaped spelling of the
// listing are understood. With several members of one path the first is taken. Its bytes are written as they are
// decoded, in constant memory: of a damaged member, those before the damage.
#include "commands.h"
#include "output.h"
#include "text.h"

namespace brix::tool {

namespace {

class Printer : public Visitor {
 public:
  explicit Printer(const std::string& wanted) : wanted_(wanted) {}

  Want Choose(std::string_view path) override {
    if (Leads(path) || Leads(EscapeForTerminal(path))) return is_exact_ ? Want::kStream : Want::kSize;
    return Want::kSkip;
  }

  bool OnMember(const Member&) override {
    found_ = is_exact_;
    return !found_;
  }

  bool OnData(const void* data, size_t size) override {
    return WriteOutput({static_cast<const char*>(data), size});
  }

  [[nodiscard]] bool found() const { return found_; }

 private:
  // Whether the wanted path is this one or goes on below it.
  bool Leads(std::string_view path) {
    if (wanted_.compare(0, path.size(), path) != 0) return false;
    is_exact_ = wanted_.size() == path.size();
    return is_exact_ || wanted_[path.size()] == '/';
  }

  const std::string& wanted_;
  bool is_exact_ = false;  // of the path asked about last
  bool found_ = false;
};

}  // namespace

int RunCat(const Options& options) {
  const ToolkitPtr toolkit = MakeToolkit(options.limits);
  return RunFiles(options.files, 1, [&](size_t index, Report& report) {
    const std::string& file = options.files[index];
    OpenFile input;
    if (input.Open(toolkit.get(), file, &report) != kExitInspected) return;
    Printer printer(options.member);
    WalkArchive(input.archive(), file, options.limits, &printer, &report);
    if (!printer.found()) report.Problem(kExitCannotRead, file, options.member, "no such member");
  });
}

}  // namespace brix::tool
