// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// id_command.cpp - `brix id`: what each file is. Nothing is extracted.
#include "open_file.h"
#include "text.h"

namespace brix::tool {

namespace {

std::string JsonLine(const std::string& file, const Opened& opened) {
  std::string line = "{";
  AppendJsonText("file", file, &line);
  line += ',';
  if (opened.code != kExitCannotRead) {
    AppendJsonText("type", opened.type->word, &line);
    line += ',';
  }
  AppendJsonText("status", opened.word, &line);
  return line + "}\n";
}

std::string TextLine(const std::string& file, const Opened& opened) {
  std::string line = EscapeForTerminal(file) + ": " + opened.type->description;
  if (opened.code != kExitInspected && opened.type != &kNoType) {
    line += std::string(" (") + opened.type->word + ", " + opened.type->note + ")";
  }
  return line + "\n";
}

}  // namespace

int RunId(const Options& options) {
  const ToolkitPtr toolkit = MakeToolkit(options.limits);
  return RunFiles(options.files, options.jobs, [&](size_t index, Report& report) {
    const std::string& file = options.files[index];
    const OpenFile input(toolkit.get(), file);
    const Opened& opened = input.opened();
    const bool is_readable = opened.code != kExitCannotRead;
    if (options.json) report.Out(JsonLine(file, opened));
    if (!options.json && is_readable) report.Out(TextLine(file, opened));
    if (is_readable) {
      report.NoteExitCode(opened.code);  // "not an archive" is the answer, not a problem
    } else {
      report.Problem(opened.code, file, {}, opened.why);
    }
  });
}

}  // namespace brix::tool
