// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

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

// Walks `path` with one target and nothing of the test's own that could take memory. What was cut off by a failure is
// told by it; after -3 the walk goes on.
Seen Walk(const char* path, const char* temp_directory, const char* member, Target target) {
  ArcTk2Toolkit toolkit = nullptr;
  ArcTk2Archive archive = nullptr;
  Seen seen;
  char text[512];
  bool ok = ArcTk2_Init(&toolkit) == BRIX_OK && ArcTk2_SetTypeEnabled(&toolkit, 1, 1) == BRIX_OK &&
            ArcTk2_SetGlobalTempFileDirectory(&toolkit, temp_directory) == BRIX_OK &&
            ArcTk2_OpenArchive(&toolkit, path, &archive) == BRIX_OK;
  seen.trouble = !ok;
  for (int step = 0; ok && step < 50; ++step) {
    const int32_t status = ArcTk2_GetNextFile(&archive, text, sizeof text);
    ok = status == BRIX_OK || status == BRIX_PART_FAILED || status == BRIX_OUT_OF_MEMORY;
    if (status != BRIX_OK) {
      seen.trouble = seen.trouble || status != BRIX_NO_MORE_MEMBERS;
      continue;
    }
    uint32_t depth = 0;
    (void)ArcTk2_GetDepth(&archive, &depth);
    seen.Member(depth, text);
    void* data = nullptr;
    uint32_t size = 0;
    int32_t extracted = BRIX_OK;
    if (target == Target::kMemory) extracted = ArcTk2_ExtractToMemory(&archive, &data, &size);
    if (target == Target::kTempFile) extracted = ArcTk2_ExtractToTempFile(&archive, text, sizeof text);
    if (target == Target::kFile) {  // one for each level, as the parents are being read
      std::snprintf(text, sizeof text, "%s%u", member, static_cast<unsigned>(depth));
      extracted = ArcTk2_ExtractToFile(&archive, text);
    }
    seen.trouble = seen.trouble || extracted != BRIX_OK;
    ArcTk2_FreeMemory(data);
  }
  if (archive != nullptr) (void)ArcTk2_CloseArchive(&archive);
  (void)ArcTk2_Close(&toolkit);
  return seen;
}

const Bytes& Mail() {
  static const Bytes mail = Bytes().Text(
      "Subject: =?x?q?a?=\nContent-Type: multipart/a; boundary=b\n\n--b\n\ntext\n--b\nContent-Type: "
      "text/html\n\n<\n--b--\n");
  return mail;
}

TEST(AllocationFailure, AtEveryAllocationOfAWalkHidesNothing) {
  const TempDir dir;
  const TempDir temp;
  const std::string fixtures = BRIX_FIXTURE_DIR;
  const std::string paths[] = {
      dir.Write("nested", Szdd(Szdd(SzddOfSpaces(20000)))),
      dir.Write("mail", Szdd(Mail())),
      fixtures + "/nested/setup.exe",
      fixtures + "/office/objects.ppt",
      fixtures + "/nsis/lzma-filtered.exe",
      fixtures + "/rar/rar20.rar",
      fixtures + "/rar/lz.rar",
      fixtures + "/ppmd/solid.rar",
  };
  const std::string member = dir.File("a member's file, whose name is too long to be kept in place");
  for (const std::string& path : paths) {
    for (const Target target : {Target::kMemory, Target::kTempFile, Target::kFile}) {
      const Seen undisturbed = Walk(path.c_str(), temp.path.c_str(), member.c_str(), target);
      ASSERT_FALSE(undisturbed.trouble) << path;
      long n = 0;
      do {
        happened = false;
        countdown = n++;
        const Seen seen = Walk(path.c_str(), temp.path.c_str(), member.c_str(), target);
        countdown = -1;
        EXPECT_TRUE(seen.IsHonest(undisturbed))
            << path << ", target " << static_cast<int>(target) << ", allocation " << n;
        ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
        ASSERT_LT(n, 1000);
      } while (happened);
      EXPECT_GT(n, 10) << static_cast<int>(target);
    }
  }
}

TEST(AllocationFailure, OfANestedHandlerIsToldOnceAndCostsItsSubtreeAlone) {
  for (const Target target : {Target::kMemory, Target::kTempFile}) {
    int told = 0;
    long n = 0;
    do {
      Session s(Zip({{"in", Szdd("x")}, {"last", Bytes().Text("end")}}));
      ASSERT_EQ(s.Next(), BRIX_OK);
      void* data = nullptr;
      uint32_t size = 0;
      char path[512];
      happened = false;
      countdown = n++;
      const int32_t extracted = target == Target::kMemory
                                    ? ArcTk2_ExtractToMemory(&s.archive, &data, &size)
                                    : ArcTk2_ExtractToTempFile(&s.archive, path, sizeof path);
      const int32_t next = s.Next();
      countdown = -1;
      EXPECT_EQ(data != nullptr, target == Target::kMemory && extracted == BRIX_OK);
      ArcTk2_FreeMemory(data);
      if (next != BRIX_OUT_OF_MEMORY) continue;
      ++told;
      EXPECT_EQ(extracted, BRIX_OK) << "the host has the member";
      EXPECT_EQ(s.Next(), BRIX_OK);
      EXPECT_STREQ(s.name, "last");
      EXPECT_EQ(s.Next(), BRIX_NO_MORE_MEMBERS);
    } while (happened);
    EXPECT_GT(told, 1) << "handler, level";
  }
}

// One archive over a file, each member into memory and, as an interruption, opened from there.
Seen WalkArc(const ArcStream& file, const ArcStreamFactory&) {
  ArcArchive archive = nullptr;
  Seen seen;
  seen.trouble = ArcOpenArchive(&file, &archive) != BRIX_OK;
  if (seen.trouble) return seen;
  int32_t status = BRIX_OK;
  while ((status = ArcNextMember(archive)) == BRIX_OK) {
    ArcStream target{};
    ArcStream* resumed = nullptr;
    if (ArcTkOpenTempMemStream(&target) != BRIX_OK) {
      seen.trouble = true;
      continue;
    }
    const int32_t extracted = ArcExtractMember(archive, &target);
    const int32_t opened = ArcInterrupt(&archive, &target, nullptr);
    if (opened == BRIX_OK) {
      const int32_t next = ArcNextMember(archive);
      seen.Member(1, next == BRIX_OK ? "member" : "none");
      seen.trouble = seen.trouble || next == BRIX_FAILED || next == BRIX_OUT_OF_MEMORY;
      EXPECT_EQ(ArcResume(&archive, &resumed, nullptr), BRIX_OK);
    }
    seen.trouble = seen.trouble || extracted != BRIX_OK || opened == BRIX_OUT_OF_MEMORY;
    (void)target.close(target.context);
  }
  seen.trouble = seen.trouble || status != BRIX_NO_MORE_MEMBERS;
  EXPECT_EQ(ArcCloseArchive(archive), BRIX_OK);
  return seen;
}

Seen WalkSession(const ArcStream& file, const ArcStreamFactory& factory) {
  ArcTkSession session = nullptr;
  Seen seen;
  seen.trouble = ArcTkOpenModifyArchive(&file, &file, &factory, &session) != BRIX_OK;
  if (seen.trouble) return seen;
  ArcStream member{};
  int32_t status = BRIX_OK;
  for (int step = 0; step < 50 && status != BRIX_NO_MORE_MEMBERS; ++step) {
    status = ArcTkExtractNextMember(session, 1, &member);
    char name[512] = "";
    ArcMemberProp record{"filename", name, sizeof name, 0};
    if (status == BRIX_OK && ArcTkGetNamedMemberProp(session, &record) == BRIX_OK) {
      seen.Member(ArcTkGetDepth(session), name);
    }
    seen.trouble = seen.trouble || (status != BRIX_OK && status != BRIX_NO_MORE_MEMBERS);
  }
  EXPECT_EQ(status, BRIX_NO_MORE_MEMBERS);
  EXPECT_EQ(ArcTkCloseArchive(&session), BRIX_OK);
  return seen;
}

TEST(AllocationFailure, AtEveryAllocationOfTheStreamBasedFamiliesHidesNothing) {
  const TempDir dir, temp;
  const std::string paths[] = {dir.Write("nested", Szdd(Szdd(SzddOfSpaces(900)))),
                               BRIX_FIXTURE_DIR "/nested/setup.exe"};
  for (const std::string& path : paths) {
    for (const auto walk : {WalkArc, WalkSession}) {
      for (const bool in_files : {false, true}) {
        Seen undisturbed;
        long n = -1;  // the first time, no allocation fails
        do {
          happened = false;
          countdown = n;
          ArcStream file{};
          ArcStreamFactory factory{};
          const bool ok = ArcTkOpenFile(path.c_str(), BRIX_FILE_READ, &file) == BRIX_OK &&
                          (in_files ? ArcTkOpenTempFileStreamFactory(temp.path.c_str(), &factory)
                                    : ArcTkOpenTempMemStreamFactory(&factory)) == BRIX_OK;
          const Seen seen = ok ? walk(file, factory) : undisturbed;
          countdown = -1;
          if (n < 0) undisturbed = seen;
          EXPECT_FALSE(undisturbed.trouble) << path;
          EXPECT_TRUE(seen.IsHonest(undisturbed)) << path << ", allocation " << n;
          if (factory.destroy != nullptr) (void)ArcTkCloseStreamFactory(&factory);
          if (file.close != nullptr) (void)file.close(file.context);
          ASSERT_TRUE(temp.List().empty()) << "allocation " << n;
          ASSERT_LT(n, 1000);
        } while (++n == 0 || happened);
        EXPECT_GT(n, 8);
      }
    }
  }
}

TEST(AllocationFailure, KeepsAPlainFailureForFilesAndMemoryStreams) {
  const TempDir dir;
  const std::string path = dir.Write("file", Bytes());
  ArcStream stream{};
  const auto without_memory = [&](auto open) {
    countdown = 0;
    const int32_t status = open();
    countdown = -1;
    return status;
  };
  EXPECT_EQ(without_memory([&] { return ArcTkOpenFile(path.c_str(), BRIX_FILE_READ, &stream); }),
            BRIX_FAILED);
  EXPECT_EQ(without_memory([&] { return ArcTkOpenTempMemStream(&stream); }), BRIX_FAILED);
  EXPECT_EQ(without_memory([&] { return ArcTkOpenFixedMemStream(&stream, "x", 1); }), BRIX_OUT_OF_MEMORY);
  EXPECT_EQ(without_memory([&] { return ArcTkOpenTempFile(dir.path.c_str(), &stream); }), BRIX_OUT_OF_MEMORY);
  EXPECT_EQ(stream.close, nullptr) << "unchanged";
}

}  // namespace
}  // namespace brix
