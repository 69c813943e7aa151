// id_command.cpp - `brix id`: what each file is. Nothing is extracted.
#include "commands.h"
#include "text.h"
#include "type_names.h"

namespace brix::tool {

namespace {

void Print(const Options& options, const std::string& file, const TypeName& name, Report* report) {
  std::string line;
  if (options.json) {
    line = "{";
    AppendJsonText("file", file, &line);
    line += ',';
    AppendJsonText("type", name.word, &line);
    line += "}\n";
  } else {
    line = EscapeForTerminal(file) + ": " + name.description + "\n";
  }
  report->Out(line);
}

}  // namespace

int RunId(const Options& options) {
  const ToolkitPtr toolkit = MakeToolkit(options.limits);
  return RunFiles(options.files, options.jobs, [&](size_t index, Report& report) {
    const std::string& file = options.files[index];
    OpenFile input;
    std::string why;
    const ExitCode code = input.TryOpen(toolkit.get(), file, &why);
    if (code != kExitInspected && code != kExitNotArchive) {
      report.Problem(code, file, {}, why);
      return;
    }
    report.NoteExitCode(code);  // "not an archive" is the answer, not a problem
    uint32_t type = BRIX_TYPE_NONE;
    if (code == kExitInspected) {
      ArcTk2Archive archive = input.archive();
      ArcTk2_ArchiveGetTopLevelType(&archive, &type);
    }
    Print(options, file, NameOfType(type), &report);
  });
}

}  // namespace brix::tool
