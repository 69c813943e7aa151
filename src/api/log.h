// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// log.h - the messages about what the library does: to a host's callbacks and to the process's log file.
//
// The file is there only when ARCLOGPATH named a directory as the library was loaded. Without it, a message costs two
// tests for null and one for the file. Lines from several threads may come in any order, but never inside each other:
// a lock is held while one is written.
#pragma once

#include <cstdint>

#include "brixcore/byname.h"

namespace brix {

// Messages' levels.
inline constexpr uint32_t kLevelTrace = 0;
inline constexpr uint32_t kLevelQuery = 1;
inline constexpr uint32_t kLevelArchive = 6;
inline constexpr uint32_t kLevelMember = 7;

struct LogCallbacks {
  BrixLogLevelCallback with_level = nullptr;
  BrixLogCallback plain = nullptr;
};

// Starts the process's log in `directory` with the line "init". Without success there is no log.
void OpenLog(const char* directory) noexcept;
// Ends it with the line "end"; there is none any more. Does nothing when another thread, which the system ended in
// the middle of it, holds the lock.
void CloseLog() noexcept;

// Writes one line to the log file, when there is one; "Out of memory" when the line cannot be put together.
[[gnu::format(printf, 1, 2)]] void LogLine(const char* format, ...) noexcept;

// Sends one message everywhere. A callback may throw.
template <class... Args>
void Emit(const LogCallbacks& callbacks, uint32_t level, const char* format, Args... args) {
  if (callbacks.with_level != nullptr) callbacks.with_level(level, format, args...);
  if (callbacks.plain != nullptr) callbacks.plain(format, args...);
  LogLine(format, args...);
}

}  // namespace brix
