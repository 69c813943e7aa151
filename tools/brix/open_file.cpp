// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "open_file.h"

#include <algorithm>
#include <cstring>

#include "text.h"

namespace brix::tool {

namespace {

using Memory = std::span<const uint8_t>;

int32_t CloseMemory(void*) { return 0; }

int32_t ReadMemory(void* context, uint32_t offset, void* buffer, uint32_t length, uint32_t* got) {
  const Memory& memory = *static_cast<const Memory*>(context);
  const size_t left = offset < memory.size() ? memory.size() - offset : 0;
  *got = static_cast<uint32_t>(std::min<size_t>(left, length));
  if (*got > 0) std::memcpy(buffer, memory.data() + offset, *got);
  return 0;
}

int32_t WriteMemory(void*, uint32_t, const void*, uint32_t) { return -1; }

int32_t GetMemorySize(void* context, uint32_t* size) {
  *size = static_cast<uint32_t>(static_cast<const Memory*>(context)->size());
  return 0;
}

// The public type of what lies in memory: the library tells that of files only, so its beginning becomes one. That is
// enough for all types that do not open, except for self-extractors with a larger program.
uint32_t PublicTypeOf(Memory memory) {
  constexpr size_t kBeginning = 1 << 20;  // bytes
  uint32_t type = 0;
  const std::string directory = TempDirectory();
  ArcStream file;
  if (directory.empty() || ArcTkOpenTempFile(directory.c_str(), &file) != BRIX_OK) return 0;
  char path[512];
  const auto size = static_cast<uint32_t>(std::min(memory.size(), kBeginning));
  if (file.write(file.context, 0, memory.data(), size) == 0 &&
      file.get_file_name(file.context, path, 0) == 0) {
    (void)GetArcFileType(path, &type);
  }
  file.close(file.context);
  constexpr uint32_t kZip = kTypeNames[BRIX_TYPE_ZIP].public_type;
  return type == kZip ? 0 : type;  // that is recognised by its end: this would be another one inside
}

// The library's number counts one level more than it walks.
uint32_t NestingLevel(const Limits& limits) {
  return limits.max_depth == UINT32_MAX ? UINT32_MAX : limits.max_depth + 1;
}

// The object for a file that is not open.
std::string JsonLine(const std::string& file, const Opened& opened) {
  std::string line = "{";
  AppendJsonText("file", file, &line);
  line += ',';
  AppendJsonText("status", opened.word, &line);
  if (opened.type != &kNoType) {
    line += ',';
    AppendJsonText("type", opened.type->word, &line);
  }
  return line + "}\n";
}

}  // namespace

ToolkitPtr MakeToolkit(const Limits& limits) {
  ArcTk2Toolkit toolkit = nullptr;
  if (ArcTk2_Init(&toolkit) != BRIX_OK) return nullptr;
  ToolkitPtr owner(toolkit);
  const int32_t status =
      ArcTk2_SetToolkitLimits(&toolkit, limits.max_size, limits.max_ratio, NestingLevel(limits));
  return status == BRIX_OK ? std::move(owner) : nullptr;
}

ArcStream StreamOver(Memory* memory) {
  return {memory, CloseMemory, ReadMemory, WriteMemory, GetMemorySize, nullptr, nullptr};
}

int32_t OpenFile::OpenArchive(ArchivePtr* archive) {
  ArcTk2Archive handle = nullptr;
  const int32_t status = kind_ == FileKind::kRegular ? ArcTk2_OpenArchive(&toolkit_, path_.c_str(), &handle)
                                                     : ArcTk2_OpenArchiveStream(&toolkit_, &stream_, &handle);
  archive->reset(handle);
  return status;
}

ArchivePtr OpenFile::OpenAnother() {
  ArchivePtr archive;
  return OpenArchive(&archive) == BRIX_OK ? std::move(archive) : nullptr;
}

// A type that is recognised by its content, though the file did not open.
const TypeName& OpenFile::Recognise() const {
  uint32_t type = 0;
  if (kind_ == FileKind::kSpooled) {
    type = PublicTypeOf(content_);
  } else {
    (void)GetArcFileType(path_.c_str(), &type);
  }
  return NameOfPublicType(type);
}

Opened OpenFile::Open() {
  const auto unreadable = [](std::string why) -> Opened {
    return {kExitCannotRead, "unreadable", std::move(why), &kNoType};
  };
  uint64_t size = 0;
  std::string why;
  kind_ = InspectFile(path_, &content_, &size, &why);
  if (kind_ == FileKind::kUnreadable) return unreadable(why);
  if (kind_ == FileKind::kDirectory) return unreadable("is a directory");
  if (kind_ == FileKind::kTooLarge) return unreadable("4 GiB or larger, cannot be inspected");
  if (size == 0) return {kExitNotArchive, "not-an-archive", "not an archive (empty file)", &kNoType};
  memory_ = content_;
  stream_ = StreamOver(&memory_);
  switch (OpenArchive(&archive_)) {
    case BRIX_OK: {
      uint32_t type = BRIX_TYPE_NONE;
      ArcTk2Archive handle = archive();
      ArcTk2_ArchiveGetTopLevelType(&handle, &type);
      return {kExitInspected, "ok", {}, &NameOfType(type)};
    }
    case BRIX_NOT_AN_ARCHIVE: {
      const TypeName& type = Recognise();
      if (&type == &kNoType) return {kExitNotArchive, "not-an-archive", "not an archive", &type};
      return {kExitNotArchive, "not-read", std::string("recognised as ") + type.word + ", " + type.note,
              &type};
    }
    case BRIX_OUT_OF_MEMORY:
      return unreadable("out of memory");
    default:
      return unreadable("cannot be read");
  }
}

int RunArchives(const Options& options, const std::function<void(size_t index, OpenFile&, Report&)>& work) {
  const ToolkitPtr toolkit = MakeToolkit(options.limits);
  return RunFiles(options.files, options.jobs, [&](size_t index, Report& report) {
    const std::string& file = options.files[index];
    OpenFile input(toolkit.get(), file);
    const Opened& opened = input.opened();
    if (opened.code == kExitInspected) return work(index, input, report);
    if (options.json) report.Out(JsonLine(file, opened));
    report.Problem(opened.code, file, {}, opened.why);
  });
}

}  // namespace brix::tool
