// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// open_file.h - opens the files that were named on the command line.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "brixcore/brixcore.h"
#include "commands.h"
#include "report.h"
#include "system.h"
#include "type_names.h"

namespace brix::tool {

struct ToolkitCloser {
  void operator()(ArcTk2Toolkit toolkit) const { ArcTk2_Close(&toolkit); }
};
using ToolkitPtr = std::unique_ptr<ArcTk2ToolkitRecord, ToolkitCloser>;

// A toolkit for any number of files and threads; null when memory is exhausted.
[[nodiscard]] ToolkitPtr MakeToolkit(const Limits& limits);

struct ArchiveCloser {
  void operator()(ArcTk2Archive archive) const { ArcTk2_CloseArchive(&archive); }
};
using ArchivePtr = std::unique_ptr<ArcTk2ArchiveRecord, ArchiveCloser>;

// A stream for the library over memory that stays there.
[[nodiscard]] ArcStream StreamOver(std::span<const uint8_t>* memory);

struct Opened {
  ExitCode code;         // kExitInspected: it is open
  const char* word;      // for JSON
  std::string why;       // for a reader; empty when it is open
  const TypeName* type;  // what it is, also when that is not read; never null
};

// One file opened as an archive: by its path, or from memory when it is no regular file.
class OpenFile {
 public:
  OpenFile(ArcTk2Toolkit toolkit, std::string path)
      : toolkit_(toolkit), path_(std::move(path)), opened_(Open()) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() = default;

  // How it went.
  [[nodiscard]] const Opened& opened() const { return opened_; }
  // One more handle, for a walk of its own; not to outlive this. Null when there is none to be had.
  [[nodiscard]] ArchivePtr OpenAnother();
  // Puts the walk back to its beginning. False, with no archive, when that cannot be done.
  [[nodiscard]] bool OpenAgain() { return (archive_ = OpenAnother()) != nullptr; }

  [[nodiscard]] const std::string& path() const { return path_; }  // as named on the command line
  [[nodiscard]] ArcTk2Archive archive() const { return archive_.get(); }

 private:
  [[nodiscard]] Opened Open();
  [[nodiscard]] int32_t OpenArchive(ArchivePtr* archive);
  [[nodiscard]] const TypeName& Recognise() const;

  ArcTk2Toolkit toolkit_;
  const std::string path_;
  FileKind kind_ = FileKind::kUnreadable;
  std::vector<uint8_t> content_;
  std::span<const uint8_t> memory_;  // the stream's context
  ArcStream stream_ = {};
  ArchivePtr archive_;
  const Opened opened_;  // last: what it comes from is made before
};

// Opens the files of the command line and runs `work` on each that is an archive. The others are reported, with --json
// as an object too. The exit code of all.
[[nodiscard]] int RunArchives(const Options& options,
                              const std::function<void(size_t index, OpenFile&, Report&)>& work);

}  // namespace brix::tool
