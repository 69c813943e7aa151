// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace brix {

static Bytes Header(uint32_t length) {
  return Bytes().Text("SZDD").U32(0x3327F088).U8('A').U8(0).U32(length);
}

Bytes Szdd(std::string_view content) {
  Bytes file = Header(static_cast<uint32_t>(content.size()));
  for (size_t at = 0; at < content.size(); at += 8) file.U8(0xFF).Text(content.substr(at, 8));
  return file;
}

Bytes SzddOfSpaces(uint32_t count) {
  Bytes file = Header(count);  // the window starts as spaces, so every match is one
  for (uint32_t done = 0; done < count; done += 8 * 18) {
    file.U8(0);
    for (int i = 0; i < 8; ++i) file.U8(0).U8(0x0F);
  }
  return file;
}

Bytes Nested(int levels) {
  Bytes file = Bytes().Text("x");
  for (int i = 0; i < levels; ++i) file = Szdd(file);
  return file;
}

std::filesystem::path SystemPath(const std::string& path) {
  std::filesystem::path made(std::u8string(path.begin(), path.end()));
#ifdef _WIN32  // in a form whose length is not bounded
  if (!path.empty()) made = L"\\\\?\\" + std::filesystem::absolute(made).make_preferred().wstring();
#endif
  return made;
}

TempDir::TempDir() {
  int n = 0;
  do path = "api_test_" + std::to_string(n++);
  while (!std::filesystem::create_directory(path));
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(SystemPath(path), ignored);
}

std::string TempDir::Write(const std::string& name, const Bytes& content) const {
  std::ofstream(SystemPath(File(name)), std::ios::binary) << Text(content);
  return File(name);
}

std::set<std::string> TempDir::List() const {
  std::set<std::string> names;
  for (const auto& at : std::filesystem::directory_iterator(SystemPath(path))) {
    const std::u8string name = at.path().filename().u8string();
    names.emplace(name.begin(), name.end());
  }
  return names;
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(SystemPath(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

int32_t HostFile::Answer(uint32_t* count, uint32_t too_many) {
  ++calls;
  if (fault_at == 0 || calls < fault_at || (calls > fault_at && !keeps_failing)) return 0;
  if (fault == kThrow) throw std::runtime_error("host");
  if (fault == kFail) *count = 0;
  if (fault == kShort) *count /= 2;
  if (fault == kTooMany) *count = too_many;
  if (fault == kNothing) *count = 0;
  return fault == kFail ? -1 : fault == kPositiveResult ? 1 : 0;
}

ArcStream HostFile::Record() {
  ArcStream record{};
  record.context = this;
  record.close = [](void* self) -> int32_t { return ++static_cast<HostFile*>(self)->closes, 0; };
  record.read = [](void* self, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) -> int32_t {
    auto& file = *static_cast<HostFile*>(self);
    const uint32_t there = offset < file.content.size() ? std::min(length, file.content.size() - offset) : 0;
    *got = there;
    const int32_t result = file.Answer(got, length + 1);
    if (there != 0) std::memcpy(buffer, file.content.data.data() + offset, std::min(*got, there));
    return result;
  };
  record.write = [](void* self, uint32_t offset, const void* buffer, uint32_t length) -> int32_t {
    auto& file = *static_cast<HostFile*>(self);
    uint32_t unused = 0;
    const int32_t result = file.Answer(&unused, 0);
    if (result != 0) return result;
    file.content.PadTo(offset + length);
    std::memcpy(file.content.data.data() + offset, buffer, length);
    return 0;
  };
  record.get_size = [](void* self, uint32_t* size) -> int32_t {
    *size = static_cast<HostFile*>(self)->content.size();
    return static_cast<HostFile*>(self)->Answer(size, UINT32_MAX);
  };
  return record;
}

Session::Session(const Bytes& content, const std::optional<Caps>& caps) {
  EXPECT_EQ(ArcTk2_Init(&toolkit), BRIX_OK);
  EXPECT_EQ(ArcTk2_SetGlobalTempFileDirectory(&toolkit, dir.path.c_str()), BRIX_OK);
  if (caps) {
    EXPECT_EQ(ArcTk2_SetToolkitLimits(&toolkit, caps->size, caps->ratio, caps->levels), BRIX_OK);
  }
  file.content = content;
  if (content.size() != 0) (void)Open();
}

Session::~Session() {
  if (archive != nullptr) (void)Close();
  (void)ArcTk2_Close(&toolkit);
}

int32_t Session::Open(const char* path) {
  if (archive != nullptr) (void)Close();
  const ArcStream record = file.Record();
  return path != nullptr ? ArcTk2_OpenArchive(&toolkit, path, &archive)
                         : ArcTk2_OpenArchiveStream(&toolkit, &record, &archive);
}

uint32_t Session::Depth() {
  uint32_t depth = 99;
  EXPECT_EQ(ArcTk2_GetDepth(&archive, &depth), BRIX_OK);
  return depth;
}

Extracted Session::Extract(Target target) {
  Extracted result;
  if (target == Target::kMemory || target == Target::kMemoryNoCopy) {
    void* data = &result;
    void** const wanted = target == Target::kMemory ? &data : nullptr;
    uint32_t size = 77;
    result.status = ArcTk2_ExtractToMemory(&archive, wanted, &size);
    const bool is_kept = result.status == BRIX_OK || result.status == BRIX_SIZE_LIMIT;
    EXPECT_TRUE(data != nullptr ? is_kept || wanted == nullptr : size == 0);
    if (wanted == nullptr) return result;
    if (data != nullptr) result.content.assign(static_cast<char*>(data), size);
    ArcTk2_FreeMemory(data);
  } else if (target == Target::kStream) {
    HostFile out;
    const ArcStream record = out.Record();
    result.status = ArcTk2_ExtractToStream(&archive, &record);
    EXPECT_EQ(out.closes, 0);
    result.content = Text(out.content);
  } else {
    char path[512] = "untouched";
    if (target == Target::kFile) {  // a name for each level, as the parents are being read
      result.path = dir.File("member" + std::to_string(Depth()) + ".out");
      result.status = ArcTk2_ExtractToFile(&archive, result.path.c_str());
    } else {
      result.status = ArcTk2_ExtractToTempFile(&archive, path, sizeof path);
      result.path = path;
    }
    result.content = ReadFile(result.path);
  }
  return result;
}

std::vector<std::string> Session::WalkLines(Target target) {
  std::vector<std::string> lines;
  while (lines.size() < 1000) {
    const int32_t step = Next();
    lines.push_back(std::to_string(step));
    if (step == BRIX_OK) {
      lines.back() = std::to_string(Depth()) + " " + name + " " + std::to_string(Extract(target).status);
    } else if (step != BRIX_BAD_ARGUMENT && step != BRIX_PART_FAILED) {
      return lines;
    }
  }
  ADD_FAILURE() << "walk without end";
  return lines;
}

}  // namespace brix
