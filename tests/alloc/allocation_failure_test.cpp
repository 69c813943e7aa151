// allocation_failure_test.cpp - small walks in which the n-th allocation fails, for every n. Each must end
// with a status, leave no file behind and, which the sanitizers see, no memory.
//
// The rooms are linked in, so that the linker can put the functions below in front of malloc and realloc.
// Memory that the language's run time takes for itself is not counted.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "api/support.h"

#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // the pairs below do match

static long countdown = -1;  // allocations until one fails; negative: none does, or one did
static bool Fails() { return countdown >= 0 && countdown-- == 0; }

extern "C" {
void* __real_malloc(size_t size);                // NOLINT(bugprone-reserved-identifier): the linker's names
void* __real_realloc(void* block, size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __wrap_malloc(size_t size) { return Fails() ? nullptr : __real_malloc(size); }  // NOLINT
void* __wrap_realloc(void* block, size_t size) {
  return Fails() ? nullptr : __real_realloc(block, size);
}  // NOLINT
}

// These reach the wrapped malloc above.
void* operator new(size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return std::malloc(size); }
void* operator new(size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](size_t size) { return operator new(size); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, size_t) noexcept { std::free(block); }
void operator delete[](void* block, size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { std::free(block); }

namespace brix {
namespace {

// Walks `path` with one target and nothing of the test's own that could take memory.
void Walk(const char* path, const char* temp_directory, const char* member, Target target) {
  ArcTk2Toolkit toolkit = nullptr;
  ArcTk2Archive archive = nullptr;
  char text[512];
  if (ArcTk2_Init(&toolkit) != BRIX_OK) return;
  bool ok = ArcTk2_SetTypeEnabled(&toolkit, 1, 1) == BRIX_OK &&
            ArcTk2_SetGlobalTempFileDirectory(&toolkit, temp_directory) == BRIX_OK &&
            ArcTk2_OpenArchive(&toolkit, path, &archive) == BRIX_OK;
  for (int step = 0; ok && step < 50; ++step) {
    const int32_t status = ArcTk2_GetNextFile(&archive, text, sizeof text);
    if (status == BRIX_PART_FAILED) continue;
    ok = status == BRIX_OK;
    if (!ok) break;
    void* data = nullptr;
    uint32_t size = 0;
    if (target == Target::kMemory) (void)ArcTk2_ExtractToMemory(&archive, &data, &size);
    if (target == Target::kTempFile) (void)ArcTk2_ExtractToTempFile(&archive, text, sizeof text);
    if (target == Target::kFile) (void)ArcTk2_ExtractToFile(&archive, member);
    ArcTk2_FreeMemory(data);
  }
  if (archive != nullptr) (void)ArcTk2_CloseArchive(&archive);
  (void)ArcTk2_Close(&toolkit);
}

TEST(AllocationFailure, AtEveryAllocationOfAWalk) {
  const TempDir dir;
  const TempDir temp;
  const std::string path = dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000))));
  const std::string member = dir.File("a member's file, whose name is too long to be kept in place");
  for (const Target target : {Target::kMemory, Target::kTempFile, Target::kFile}) {
    long n = 0;
    bool happened = true;
    for (; happened && n < 1000; ++n) {
      countdown = n;
      Walk(path.c_str(), temp.path.c_str(), member.c_str(), target);
      happened = countdown < 0;
      countdown = -1;
      ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
    }
    EXPECT_FALSE(happened);
    EXPECT_GT(n, 10) << static_cast<int>(target);
  }
}

}  // namespace
}  // namespace brix
