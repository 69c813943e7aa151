// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/log.h"

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "core/memory_block.h"
#include "io/log_writer.h"

namespace brix {

namespace {

// A lock that needs neither making nor taking down. It is held while a line is copied to the buffer and, once in some
// hundred lines, while the buffer is written.
class SpinLock {
 public:
  bool try_lock() {
    return !taken_.test_and_set(std::memory_order_acquire);
  }              // NOLINT(readability-identifier-naming)
  void lock() {  // NOLINT(readability-identifier-naming)
    while (!try_lock()) std::this_thread::yield();
  }
  void unlock() { taken_.clear(std::memory_order_release); }  // NOLINT(readability-identifier-naming)

 private:
  std::atomic_flag taken_;
};

constinit SpinLock lock;
constinit std::atomic<bool> is_open = false;

// The writer lives here, made and taken down by hand: it must outlast the language's own statics, and the heap may
// not be used when the library leaves a process that ends.
alignas(LogWriter) std::byte room[sizeof(LogWriter)];
constinit LogWriter* writer = nullptr;

void Write(std::string_view text) {
  const std::lock_guard guard(lock);
  if (writer != nullptr) writer->Write(text);
}

}  // namespace

void OpenLog(const char* directory) noexcept {
  const std::lock_guard guard(lock);
  if (writer != nullptr) return;
  auto* const made = new (room) LogWriter;
  if (!made->Open(directory)) {
    std::destroy_at(made);
    return;
  }
  made->Write("init\n");
  writer = made;
  is_open = true;
}

void CloseLog() noexcept {
  const std::unique_lock guard(lock, std::try_to_lock);
  if (!guard.owns_lock() || writer == nullptr) return;
  is_open = false;
  writer->Write("end\n");
  writer->Close();
  std::destroy_at(writer);
  writer = nullptr;
}

void LogLine(const char* format, ...) noexcept {
  if (!is_open.load(std::memory_order_relaxed)) return;
  std::va_list args;
  va_start(args, format);
  // The analyser does not see va_start through the checked calls' wrapper.
  const int length = std::vsnprintf(nullptr, 0, format, args);  // NOLINT(clang-analyzer-valist.Uninitialized)
  va_end(args);
  MemoryBlock text;
  const size_t size = length < 0 ? 0 : static_cast<size_t>(length) + 1;
  if (size != 0 && text.TryResize(size)) {
    auto* const line = reinterpret_cast<char*>(text.data());
    va_start(args, format);
    std::vsnprintf(line, size, format, args);  // NOLINT(clang-analyzer-valist.Uninitialized)
    va_end(args);
    line[size - 1] = '\n';  // in the terminator's place
    Write({line, size});
  } else {
    Write("Out of memory\n");
  }
}

}  // namespace brix
