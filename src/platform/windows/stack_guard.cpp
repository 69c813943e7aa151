// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// stack_guard.cpp - the canary of -fstack-protector and what happens when one was overwritten. The compiler's own come
// with a library that needs another DLL for its random numbers.
//
// The value is made of what differs from start to start and, as addresses are random, from process to process. It is no
// secret against who can already read the process's memory; no canary is.
#include <windows.h>

#include <cstdint>

extern "C" {

uintptr_t __stack_chk_guard = 0x595E9FBD94FDA766;

// Ends the process at once; nothing that lies on the stack is trusted any more, handlers of exceptions included.
[[noreturn]] void __stack_chk_fail();
[[noreturn]] void __stack_chk_fail() {
  __asm__ volatile("int $0x29" : : "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
  __builtin_unreachable();
}

}  // extern "C"

namespace {

// Before every other constructor, and itself without a canary, which would change under it.
[[gnu::constructor(101), gnu::no_stack_protector]] void MakeGuard() {
  FILETIME time;
  LARGE_INTEGER counter;
  GetSystemTimeAsFileTime(&time);
  QueryPerformanceCounter(&counter);
  uintptr_t value = reinterpret_cast<uintptr_t>(&value) ^ reinterpret_cast<uintptr_t>(&__stack_chk_guard);
  const uint64_t sources[] = {static_cast<uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime,
                              static_cast<uint64_t>(counter.QuadPart), GetCurrentProcessId(),
                              GetCurrentThreadId()};
  for (const uint64_t source : sources) {
    value = (value ^ source) * 0x9E3779B97F4A7C15;  // odd: nothing is lost
    value ^= value >> 29;
  }
  __stack_chk_guard = value & ~uintptr_t{0xFF};  // a zero byte stops copies of strings
}

}  // namespace
