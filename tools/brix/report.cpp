// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "report.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <new>
#include <system_error>
#include <thread>

#include "output.h"
#include "system.h"
#include "text.h"

namespace brix::tool {

namespace {

constexpr size_t kFlushBytes = 1 << 16;
constexpr int kProgressColumns = 78;
constexpr size_t kFilesAhead = 16;  // for each job: how far work may run ahead of the file printed next

}  // namespace

Progress::Progress() : on_(IsTerminal(stderr)), next_(Clock::now() + std::chrono::milliseconds(500)) {}

void Progress::Tick(std::string_view file, uint32_t bytes) {
  if (!on_) return;
  ++members_;
  bytes_ += bytes;
  const std::unique_lock lock(mutex_, std::try_to_lock);
  if (!lock.owns_lock() || Clock::now() < next_) return;
  next_ = Clock::now() + std::chrono::milliseconds(200);
  shown_ = true;
  char line[kProgressColumns + 1];
  std::snprintf(line, sizeof line, "%llu members, %.1f MiB, in %s", static_cast<unsigned long long>(members_),
                static_cast<double>(bytes_) / 1048576.0, EscapeForTerminal(file).c_str());
  std::fprintf(stderr, "\r%-*s", kProgressColumns, line);
}

void Progress::Clear() {
  if (!on_) return;
  const std::lock_guard lock(mutex_);
  if (shown_) std::fprintf(stderr, "\r%*s\r", kProgressColumns, "");
  shown_ = false;
}

void Report::Out(std::string_view text) {
  static const size_t flush_at = OutputIsTerminal() ? 0 : kFlushBytes;
  if (pieces_.empty() || pieces_.back().is_error) pieces_.push_back({false, {}});
  pieces_.back().text += text;
  if (live_ && pieces_.back().text.size() > flush_at) Print();
}

void Report::Problem(ExitCode code, std::string_view file, std::string_view member, std::string_view why) {
  NoteExitCode(code);
  std::string line = "brix: ";
  if (!file.empty()) line += EscapeForTerminal(file) + ": ";
  if (!member.empty()) line += EscapeForTerminal(member) + ": ";
  line += why;
  line += '\n';
  pieces_.push_back({true, std::move(line)});
  if (live_) Print();
}

void Report::Print() {
  if (!pieces_.empty()) progress_->Clear();
  for (const Piece& piece : pieces_) {
    if (piece.is_error) {
      FlushOutput();  // so that both streams, where they are one, keep their order
      std::fwrite(piece.text.data(), 1, piece.text.size(),
                  stderr);  // a closed one leaves the exit code to tell
    } else {
      WriteOutput(piece.text);
      FlushOutput();
    }
  }
  pieces_.clear();
}

namespace {

// Hands file numbers to the threads and their reports back in order.
class Queue {
 public:
  Queue(size_t count, size_t ahead) : count_(count), ahead_(ahead), done_(count) {}

  // The next file to work on; count when there is none left.
  size_t Take() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return taken_ == count_ || taken_ < printed_ + ahead_; });
    return taken_ == count_ ? count_ : taken_++;
  }

  void Finish(size_t index, std::unique_ptr<Report> report) {
    const std::lock_guard lock(mutex_);
    done_[index] = std::move(report);
    changed_.notify_all();
  }

  // Waits for the file to be printed next.
  std::unique_ptr<Report> Next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return done_[printed_] != nullptr; });
    std::unique_ptr<Report> report = std::move(done_[printed_++]);
    changed_.notify_all();
    return report;
  }

 private:
  const size_t count_;
  const size_t ahead_;
  std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  std::vector<std::unique_ptr<Report>> done_;
  size_t taken_ = 0;
  size_t printed_ = 0;
};

// One file must not end the work on the others.
void RunOne(const std::vector<std::string>& files, size_t index,
            const std::function<void(size_t index, Report&)>& work, Report* report) {
  try {
    work(index, *report);
  } catch (const std::bad_alloc&) {
    report->Problem(kExitCannotRead, files[index], {}, "out of memory");
  }
}

}  // namespace

int RunFiles(const std::vector<std::string>& files, unsigned jobs,
             const std::function<void(size_t index, Report&)>& work) {
  Progress progress;
  int exit_code = kExitInspected;
  if (jobs <= 1 || files.size() <= 1) {
    for (size_t i = 0; i < files.size(); ++i) {
      Report report(true, &progress);
      RunOne(files, i, work, &report);
      report.Print();
      exit_code = std::max(exit_code, report.exit_code());
    }
  } else {
    Queue queue(files.size(), jobs * kFilesAhead);
    std::vector<std::jthread> threads;
    const auto take_files = [&] {
      for (size_t i = queue.Take(); i < files.size(); i = queue.Take()) {
        auto report = std::make_unique<Report>(false, &progress);
        RunOne(files, i, work, report.get());
        queue.Finish(i, std::move(report));
      }
    };
    for (size_t j = 0; j < std::min<size_t>(jobs, files.size()); ++j) {
      try {
        threads.emplace_back(take_files);
      } catch (const std::system_error&) {
        if (threads.empty()) return RunFiles(files, 1, work);
        break;  // the system gives no more: those there are do the work
      }
    }
    for (size_t i = 0; i < files.size(); ++i) {
      const std::unique_ptr<Report> report = queue.Next();
      report->Print();
      exit_code = std::max(exit_code, report->exit_code());
    }
  }
  progress.Clear();
  return exit_code;
}

}  // namespace brix::tool
