// allocation_failure_test.cpp - small walks in which the n-th allocation fails, for every n. Each must end
// with a status, leave no file behind and, which the sanitizers see, no memory.
//
// The rooms are linked in, so that the linker can put the functions below in front of malloc and realloc.
// Memory that the language's run time takes for itself is not counted.
#include "alloc/countdown.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <new>

#include "api/support.h"

#pragma GCC diagnostic ignored "-Wmismatched-new-delete"  // the pairs below do match

long countdown = -1;
bool happened = false;

namespace {

bool Fails() {
  if (countdown < 0 || countdown-- != 0) return false;
  happened = true;
  return true;
}

}  // namespace

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
  const Bytes mail = Bytes().Text(
      "Subject: =?x?q?a?=\nContent-Type: multipart/a; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: "
      "text/html\n\n<\n--b--\n");
  const std::string path = dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000))));
  const std::string mail_path = dir.Write("mail", Szdd(mail));
  const std::string member = dir.File("a member's file, whose name is too long to be kept in place");
  for (const Target target : {Target::kMemory, Target::kTempFile, Target::kFile}) {
    long n = 0;
    do {
      happened = false;
      countdown = n++;
      Walk(path.c_str(), temp.path.c_str(), member.c_str(), target);
      Walk(mail_path.c_str(), temp.path.c_str(), member.c_str(), target);
      for (const char* file :
           {"/nsis/lzma-filtered.exe", "/rar/rar20.rar", "/rar/lz.rar", "/ppmd/solid.rar"}) {
        char fixture[512];
        std::snprintf(fixture, sizeof fixture, "%s%s", BRIX_FIXTURE_DIR, file);
        Walk(fixture, temp.path.c_str(), member.c_str(), target);
      }
      countdown = -1;
      ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
      ASSERT_LT(n, 1000);
    } while (happened);
    EXPECT_GT(n, 10) << static_cast<int>(target);
  }
}

// One archive over a file, each member into memory and, as an interruption, opened from there.
void WalkArc(const ArcStream& file, const ArcStreamFactory&) {
  ArcArchive archive = nullptr;
  if (ArcOpenArchive(&file, &archive) != BRIX_OK) return;
  while (ArcNextMember(archive) == BRIX_OK) {
    ArcStream target{};
    ArcStream* resumed = nullptr;
    if (ArcTkOpenTempMemStream(&target) != BRIX_OK) continue;
    (void)ArcExtractMember(archive, &target);
    if (ArcInterrupt(&archive, &target, nullptr) == BRIX_OK) {
      (void)ArcNextMember(archive);
      EXPECT_EQ(ArcResume(&archive, &resumed, nullptr), BRIX_OK);
    }
    (void)target.close(target.context);
  }
  EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
}

void WalkSession(const ArcStream& file, const ArcStreamFactory& factory) {
  ArcTkSession session = nullptr;
  if (ArcTkOpenModifyArchive(&file, &file, &factory, &session) != BRIX_OK) return;
  ArcStream member{};
  int32_t status = BRIX_OK;
  for (int step = 0; step < 50 && status != BRIX_NO_MORE_MEMBERS; ++step) {
    status = ArcTkExtractNextMember(session, 1, &member);
  }
  EXPECT_EQ(status, BRIX_NO_MORE_MEMBERS);
  EXPECT_EQ(ArcTkCloseArchive(&session), BRIX_OK);
}

TEST(AllocationFailure, AtEveryAllocationOfTheStreamBasedFamilies) {
  const TempDir dir, temp;
  const std::string path = dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000))));
  for (const auto walk : {WalkArc, WalkSession}) {
    for (const bool in_files : {false, true}) {
      long n = 0;
      do {
        happened = false;
        countdown = n++;
        ArcStream file{};
        ArcStreamFactory factory{};
        const bool ok = ArcTkOpenFile(path.c_str(), BRIX_FILE_READ, &file) == BRIX_OK &&
                        (in_files ? ArcTkOpenTempFileStreamFactory(temp.path.c_str(), &factory)
                                  : ArcTkOpenTempMemStreamFactory(&factory)) == BRIX_OK;
        if (ok) walk(file, factory);
        countdown = -1;
        if (factory.destroy != nullptr) (void)ArcTkCloseStreamFactory(&factory);
        if (file.close != nullptr) (void)file.close(file.context);
        ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
        ASSERT_LT(n, 1000);
      } while (happened);
      EXPECT_GT(n, 8);
    }
  }
}

}  // namespace
}  // namespace brix
