#include "api/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace brix {

namespace {

Bytes SzddHeader(uint32_t length) { return Bytes().Text("SZDD").U32(0x3327F088).U8('A').U8(0).U32(length); }

}  // namespace

Bytes Szdd(std::string_view content) {
  Bytes file = SzddHeader(static_cast<uint32_t>(content.size()));
  for (size_t at = 0; at < content.size(); at += 8) file.U8(0xFF).Text(content.substr(at, 8));
  return file;
}

Bytes Szdd(const Bytes& content) { return Szdd(std::string_view(Text(content))); }

Bytes SzddOfSpaces(uint32_t count) {
  Bytes file = SzddHeader(count);  // the window starts as spaces, so every match is one
  for (uint32_t done = 0; done < count; done += 8 * 18) {
    file.U8(0);
    for (int i = 0; i < 8; ++i) file.U8(0).U8(0x0F);
  }
  return file;
}

Bytes Zip(const std::vector<std::pair<std::string, Bytes>>& members) {
  Bytes file;
  Bytes directory;
  for (const auto& [name, content] : members) {
    uint32_t crc = ~0U;
    for (const uint8_t byte : content.data) {
      crc ^= byte;
      for (int i = 0; i < 8; ++i) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
    Bytes fields;  // from the flags to the length of the extra field, alike in both headers
    fields.U16(0).U16(0).U32(0).U32(~crc).U32(content.size()).U32(content.size());
    fields.U16(static_cast<uint32_t>(name.size())).U16(0);
    directory.U32(0x02014B50)
        .U16(20)
        .U16(20)
        .Raw(fields)
        .U16(0)
        .U16(0)
        .U16(0)
        .U32(0)
        .U32(file.size())
        .Text(name);
    file.U32(0x04034B50).U16(20).Raw(fields).Text(name).Raw(content);
  }
  const uint32_t directory_at = file.size();
  const auto count = static_cast<uint32_t>(members.size());
  file.Raw(directory).U32(0x06054B50).U16(0).U16(0).U16(count).U16(count);
  return file.U32(directory.size()).U32(directory_at).U16(0);
}

std::string Text(const Bytes& bytes) { return {bytes.data.begin(), bytes.data.end()}; }

TempDir::TempDir() {
  for (int n = 0;; ++n) {
    path_ = "api_test_" + std::to_string(n);
    if (std::filesystem::create_directory(path_)) return;
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::Write(const std::string& name, const Bytes& content) const {
  std::ofstream out(File(name), std::ios::binary);
  out << Text(content);
  return File(name);
}

std::vector<std::string> TempDir::List() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Bytes ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> text{std::istreambuf_iterator<char>(in), {}};
  return Bytes({text.begin(), text.end()});
}

bool HostFile::Fails() {
  ++calls;
  return fault_at != 0 && (calls == fault_at || (keeps_failing && calls > fault_at));
}

ArcStream HostFile::Record() {
  ArcStream record{};
  record.context = this;
  record.close = [](void* self) -> int32_t {
    ++static_cast<HostFile*>(self)->closes;
    return 0;
  };
  record.read = [](void* self, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) -> int32_t {
    auto& file = *static_cast<HostFile*>(self);
    const bool fails = file.Fails();
    if (fails && file.fault == kFail) return -1;
    uint32_t count = offset < file.content.size() ? std::min(length, file.content.size() - offset) : 0;
    if (fails && file.fault == kShort) count /= 2;
    if (fails && file.fault == kNothing) count = 0;
    if (count != 0) std::memcpy(buffer, file.content.data.data() + offset, count);
    *got = fails && file.fault == kTooMany ? length + 1 : count;
    return fails && file.fault == kPositiveResult ? 1 : 0;
  };
  record.write = [](void* self, uint32_t offset, const void* buffer, uint32_t length) -> int32_t {
    auto& file = *static_cast<HostFile*>(self);
    if (file.Fails()) return file.fault == kPositiveResult ? 1 : -1;
    file.content.PadTo(offset + length);
    std::memcpy(file.content.data.data() + offset, buffer, length);
    return 0;
  };
  record.get_size = [](void* self, uint32_t* size) -> int32_t {
    auto& file = *static_cast<HostFile*>(self);
    const bool fails = file.Fails();
    if (fails && file.fault == kFail) return -1;
    *size = fails && file.fault == kNothing ? 0 : file.content.size();
    if (fails && file.fault == kTooMany) *size = UINT32_MAX;
    if (fails && file.fault == kShort) *size /= 2;
    return fails && file.fault == kPositiveResult ? 1 : 0;
  };
  return record;
}

Toolkit::Toolkit() { EXPECT_EQ(ArcTk2_Init(&handle), BRIX_OK); }
Toolkit::~Toolkit() {
  if (handle != nullptr) (void)ArcTk2_Close(&handle);
}

Extracted Extract(Archive& archive, Target target, const TempDir& dir) {
  Extracted result{BRIX_FAILED, {}, {}};
  switch (target) {
    case Target::kMemory: {
      void* data = &result;
      uint32_t size = 77;
      result.status = ArcTk2_ExtractToMemory(&archive.handle, &data, &size);
      const bool kept = result.status == BRIX_OK || result.status == BRIX_SIZE_LIMIT;
      EXPECT_EQ(data != nullptr, kept);
      if (kept) result.content.assign(static_cast<char*>(data), size);
      if (!kept) {
        EXPECT_EQ(size, 0u);
      }
      ArcTk2_FreeMemory(data);
      break;
    }
    case Target::kMemoryNoCopy: {
      uint32_t size = 0;
      result.status = ArcTk2_ExtractToMemory(&archive.handle, nullptr, &size);
      break;
    }
    case Target::kFile:
      result.path = dir.File("member" + std::to_string(archive.Depth()) + ".out");  // parents are being read
      result.status = ArcTk2_ExtractToFile(&archive.handle, result.path.c_str());
      result.content = Text(ReadFile(result.path));
      break;
    case Target::kTempFile: {
      char path[512] = "untouched";
      result.status = ArcTk2_ExtractToTempFile(&archive.handle, path, sizeof path);
      result.path = path;
      if (path[0] != '\0') result.content = Text(ReadFile(path));
      break;
    }
    case Target::kStream: {
      HostFile out;
      const ArcStream record = out.Record();
      result.status = ArcTk2_ExtractToStream(&archive.handle, &record);
      EXPECT_EQ(out.closes, 0);
      result.content = Text(out.content);
      break;
    }
  }
  return result;
}

std::vector<std::string> WalkLines(Archive& archive, Target target, const TempDir& dir) {
  constexpr size_t kMaxSteps = 1000;
  std::vector<std::string> lines;
  while (lines.size() < kMaxSteps) {
    const int32_t status = archive.Next();
    if (status == BRIX_OK) {
      lines.push_back(std::to_string(archive.Depth()) + " " + archive.name + " " +
                      std::to_string(Extract(archive, target, dir).status));
      continue;
    }
    lines.push_back(std::to_string(status));
    if (status != BRIX_BAD_ARGUMENT && status != BRIX_PART_FAILED) return lines;
  }
  ADD_FAILURE() << "walk without end";
  return lines;
}

}  // namespace brix
