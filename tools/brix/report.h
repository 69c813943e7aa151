// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// report.h - what the work on one file says, and its exit code; printed in input order also when files are
// worked on by several threads.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace brix::tool {

// With several reasons the highest number wins.
enum ExitCode : int {
  kExitInspected = 0,
  kExitMember = 1,      // something inside was not inspected: damaged, encrypted, unsupported, passed over
  kExitLimit = 2,       // a limit cut something
  kExitNotArchive = 3,  // a file is no known container, or one of a type that is not read
  kExitCannotRead = 4,  // a file cannot be read, a member is not there, or output cannot be written
  kExitUsage = 64
};

// A line on the terminal that shows that long work is alive. Any thread.
class Progress {
 public:
  Progress();
  // One more member was inspected. Shows at most five lines a second, the first after half a second.
  void Tick(std::string_view file, uint32_t bytes);
  // Takes the line away, for other text.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  const bool on_;
  std::atomic<uint64_t> members_ = 0;
  std::atomic<uint64_t> bytes_ = 0;
  std::mutex mutex_;  // guards the two below and the terminal's line
  Clock::time_point next_;
  bool shown_ = false;
};

class Report {
 public:
  // A live report prints as it goes; another one keeps everything for Print().
  Report(bool live, Progress* progress) : live_(live), progress_(progress) {}

  // Text for standard output.
  void Out(std::string_view text);

  // One line for standard error, "brix: file: member: why". The member may be empty.
  void Problem(ExitCode code, std::string_view file, std::string_view member, std::string_view why);

  // Raises the exit code without a line.
  void NoteExitCode(ExitCode code) { exit_code_ = exit_code_ > code ? exit_code_ : code; }

  void Tick(std::string_view file, uint32_t bytes) { progress_->Tick(file, bytes); }

  // Prints what is kept.
  void Print();

  [[nodiscard]] int exit_code() const { return exit_code_; }

 private:
  struct Piece {
    bool is_error;
    std::string text;
  };

  bool live_;
  Progress* progress_;
  std::vector<Piece> pieces_;
  int exit_code_ = kExitInspected;
};

// Runs `work` for each file, `jobs` at a time, and prints the reports in input order. The exit code of all.
[[nodiscard]] int RunFiles(const std::vector<std::string>& files, unsigned jobs,
                           const std::function<void(size_t index, Report&)>& work);

}  // namespace brix::tool
