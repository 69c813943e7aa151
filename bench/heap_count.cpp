// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// heap_count.cpp - counts what is taken from the heap, in every library of the process, between two calls.
//
// Linked into a program of its own, so that the timed one has the plain functions.
#include <malloc.h>

#include <cstddef>
#include <cstdint>

extern "C" {
void* __libc_malloc(size_t size);  // NOLINT(bugprone-reserved-identifier): the C library's names
void* __libc_calloc(size_t count, size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(size_t alignment, size_t size);  // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* block);                         // NOLINT(bugprone-reserved-identifier)
}

namespace {

// The contenders that are counted have one thread. Blocks from before that are freed meanwhile count as negative.
bool counting = false;
uint64_t allocations = 0;
int64_t live = 0;
int64_t peak = 0;

void* Taken(void* block) {
  if (!counting || block == nullptr) return block;
  ++allocations;
  live += static_cast<int64_t>(malloc_usable_size(block));
  if (live > peak) peak = live;
  return block;
}

void Given(void* block) {
  if (counting && block != nullptr) live -= static_cast<int64_t>(malloc_usable_size(block));
}

}  // namespace

extern "C" {

#define BRIX_BENCH_HOOK __attribute__((visibility("default")))

BRIX_BENCH_HOOK void* malloc(size_t size) { return Taken(__libc_malloc(size)); }
BRIX_BENCH_HOOK void* calloc(size_t count, size_t size) { return Taken(__libc_calloc(count, size)); }
BRIX_BENCH_HOOK void* memalign(size_t alignment, size_t size) {
  return Taken(__libc_memalign(alignment, size));
}
BRIX_BENCH_HOOK void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
BRIX_BENCH_HOOK int posix_memalign(void** block, size_t alignment, size_t size) {
  *block = memalign(alignment, size);
  return *block == nullptr ? 12 : 0;  // ENOMEM
}
BRIX_BENCH_HOOK void* realloc(void* block, size_t size) {
  Given(block);
  return Taken(__libc_realloc(block, size));
}
BRIX_BENCH_HOOK void free(void* block) {
  Given(block);
  __libc_free(block);
}

void BeginHeapCount() {
  allocations = 0;
  live = peak = 0;
  counting = true;
}

void EndHeapCount(uint64_t* count, uint64_t* peak_bytes) {
  counting = false;
  *count = allocations;
  *peak_bytes = static_cast<uint64_t>(peak);
}

}  // extern "C"
