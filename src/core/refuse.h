// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// refuse.h - says why a parser turned its input down.
#pragma once

namespace brix {

// `return Refuse("zip: no end record");` is `return false;` in a release build. With BRIX_TRACE_REFUSALS
// (debug and fuzz builds) the last reason on this thread is kept for a debugger or a test to look at.
#ifdef BRIX_TRACE_REFUSALS
extern thread_local const char* last_refusal;
[[nodiscard]] inline bool Refuse(const char* reason) {
  last_refusal = reason;
  return false;
}
#else
[[nodiscard]] inline bool Refuse(const char*) { return false; }
#endif

}  // namespace brix
