// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// main.cpp - the command line of brix, a host program of brixcore.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <sstream>
#include <string_view>
#include <thread>

#include "commands.h"
#include "output.h"
#include "report.h"
#include "system.h"
#include "text.h"

namespace brix::tool {

namespace {

constexpr char kFooter[] =
    "brix FILE... is the same as brix ls FILE...\n\n"
    "Exit codes: 0 everything inspected; 1 something inside was not inspected: damaged,\n"
    "encrypted, unsupported, in another volume, data of no member, or a mail with nothing\n"
    "to show; 2 a limit cut something; 3 a file is not an archive, or of a type that is\n"
    "not read; 4 a file cannot be read or output cannot be written; 64 wrong usage. The\n"
    "highest one wins.";

constexpr std::string_view kCommands[] = {"id", "ls", "x", "cat"};

// Bytes, also as 64K, 10M or 4G. False: not a number from 1 to 4294967295.
bool ParseSize(const std::string& text, uint32_t* value) {
  constexpr uint64_t kMax = UINT32_MAX;
  uint64_t number = 0;
  size_t at = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    number = number * 10 + static_cast<uint64_t>(text[at] - '0');
    if (number > kMax) return false;
  }
  if (at == 0) return false;
  const std::string unit = text.substr(at);
  if (unit == "K" || unit == "k")
    number <<= 10;
  else if (unit == "M" || unit == "m")
    number <<= 20;
  else if (unit == "G" || unit == "g")
    number <<= 30;
  else if (!unit.empty())
    return false;
  *value = static_cast<uint32_t>(number);
  return number >= 1 && number <= kMax;
}

void AddFiles(CLI::App* command, Options* options) {
  command->add_option("FILE", options->files, "Files to look into; - is standard input")->required();
}

void AddLimits(CLI::App* command, Options* options) {
  const CLI::Range positive(uint32_t{1}, UINT32_MAX);
  command
      ->add_option("--max-depth", options->limits.max_depth,
                   "Levels of containers to walk; 1: only the file itself")
      ->check(positive)
      ->capture_default_str();
  command
      ->add_option_function<std::string>(
          "--max-size",
          [options](const std::string& text) {
            if (!ParseSize(text, &options->limits.max_size)) {
              throw CLI::ValidationError("--max-size", "must be 1 to 4294967295 bytes, such as 64K or 50M");
            }
          },
          "Bytes one member may yield, K, M and G allowed")
      ->default_str("50M");
  command
      ->add_option("--max-ratio", options->limits.max_ratio,
                   "Bytes out for each byte of the smallest container")
      ->check(positive)
      ->capture_default_str();
}

void AddJobs(CLI::App* command, Options* options) {
  command->add_option("-j,--jobs", options->jobs, "Files to work on at once; 0: one for each processor")
      ->check(CLI::Range(0u, 1024u));
}

// Which command was meant: another program's word for it, or one edit away. Empty: none that is known.
std::string_view SimilarCommand(std::string_view word) {
  constexpr struct {
    std::string_view word;
    std::string_view command;
  } kOtherWords[] = {{"list", "ls"}, {"l", "ls"},      {"dir", "ls"},   {"tree", "ls"},     {"extract", "x"},
                     {"e", "x"},     {"unpack", "x"},  {"unzip", "x"},  {"identify", "id"}, {"file", "id"},
                     {"type", "id"}, {"print", "cat"}, {"show", "cat"}, {"get", "cat"}};
  for (const auto& other : kOtherWords) {
    if (word == other.word) return other.command;
  }
  const auto is_one_edit = [](std::string_view a, std::string_view b) {  // a is not longer than b
    size_t start = 0;
    while (start < a.size() && a[start] == b[start]) ++start;
    a.remove_prefix(start);
    b.remove_prefix(start);
    if (a.size() < b.size()) return b.substr(1) == a;
    const bool is_swap = a.size() >= 2 && a[0] == b[1] && a[1] == b[0] && a.substr(2) == b.substr(2);
    return is_swap || (!a.empty() && a.substr(1) == b.substr(1));
  };
  for (const std::string_view command : kCommands) {
    if (std::max(word.size(), command.size()) < 2) continue;  // every letter is one edit from "x"
    if (word.size() <= command.size() ? is_one_edit(word, command) : is_one_edit(command, word))
      return command;
  }
  return {};
}

// Puts `ls` before a file that was given in place of a command. False: it is neither a command nor a file.
bool CompleteCommand(std::vector<std::string>* arguments) {
  if (arguments->size() < 2) return true;  // reported with the rest
  const std::string& first = (*arguments)[1];
  if (first.empty() || (first[0] == '-' && first != "-")) return true;
  if (std::find(std::begin(kCommands), std::end(kCommands), first) != std::end(kCommands)) return true;
  std::vector<std::string> files = {first};
  ExpandWildcards(&files);
  if (first == "-" || Exists(files[0])) {
    arguments->insert(arguments->begin() + 1, "ls");
    return true;
  }
  const std::string_view similar = SimilarCommand(first);
  const std::string hint =
      similar.empty() ? ", and no file has that name" : "; did you mean '" + std::string(similar) + "'?";
  std::fprintf(stderr, "brix: unknown command '%s'%s\n", EscapeForTerminal(first).c_str(), hint.c_str());
  return false;
}

int Parse(CLI::App* app, const std::vector<std::string>& arguments) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend() - 1);
  try {
    app->parse(std::move(reversed));
  } catch (const CLI::Success& answer) {  // --help, --version
    std::ostringstream text;
    const int exit_code = app->exit(answer, text, text);
    WriteOutput(text.str());
    return exit_code;
  } catch (const CLI::ParseError& error) {
    // The text quotes arguments, which a shell's pattern may have made from hostile file names.
    std::fprintf(stderr, "brix: %s\nRun with --help for more information.\n",
                 EscapeForTerminal(error.what()).c_str());
    return kExitUsage;
  }
  return -1;
}

int Main(std::vector<std::string> arguments) {
  if (!CompleteCommand(&arguments)) return kExitUsage;
  CLI::App app("Looks inside archives and other containers, at every depth.", "brix");
  Options options;
  app.set_version_flag("--version", "brix " BRIX_VERSION);
  app.require_subcommand(1);
  app.footer(kFooter);

  CLI::App* id = app.add_subcommand("id", "Say what each file is");
  AddFiles(id, &options);
  AddJobs(id, &options);
  id->add_flag("--json", options.json, "One JSON object for each file");

  CLI::App* ls = app.add_subcommand("ls", "List everything inside, at every depth");
  AddFiles(ls, &options);
  AddJobs(ls, &options);
  AddLimits(ls, &options);
  ls->add_flag("--json", options.json, "One JSON object for each member");

  CLI::App* x = app.add_subcommand("x", "Extract everything inside, at every depth");
  AddFiles(x, &options);
  x->add_option("-o,--output", options.target, "Directory to write to; made when missing")->required();
  AddJobs(x, &options);
  AddLimits(x, &options);
  x->add_flag("-v,--verbose", options.verbose, "Name each file written");

  CLI::App* cat = app.add_subcommand("cat", "Write one member to standard output");
  std::string file;
  cat->add_option("FILE", file, "The file; - is standard input")->required();
  cat->add_option("MEMBER", options.member, "Its path as ls shows it, such as inner.zip/a.txt")->required();
  cat->add_option("--nth", options.nth, "Which of the members with that path, as ls orders them")
      ->check(CLI::Range(uint32_t{1}, UINT32_MAX))
      ->capture_default_str();
  AddLimits(cat, &options);

  const int exit_code = Parse(&app, arguments);
  if (exit_code >= 0) return exit_code;
  if (*cat) options.files = {file};
  ExpandWildcards(&options.files);
  if (options.jobs == 0) options.jobs = std::max(1u, std::thread::hardware_concurrency());
  if (*id) return RunId(options);
  if (*ls) return RunList(options);
  if (*x) return RunExtract(options);
  if (options.files.size() == 1) return RunCat(options);
  std::fputs("brix: cat takes one FILE, and the pattern names several\n", stderr);
  return kExitUsage;
}

}  // namespace

}  // namespace brix::tool

int main(int argc, char** argv) {
  brix::tool::OpenOutput();
  int exit_code = brix::tool::kExitCannotRead;
  try {
    exit_code = brix::tool::Main(brix::tool::Arguments(argc, argv));
  } catch (const std::bad_alloc&) {
    std::fputs("brix: out of memory\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "brix: %s\n", error.what());
  }
  return brix::tool::CloseOutput(exit_code);
}
