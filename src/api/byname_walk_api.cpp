// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_walk_api.cpp - the exported functions that open, walk and extract; byname_archive.cpp does the work.
#include <cstring>
#include <memory>
#include <new>

#include "api/byname_archive.h"
#include "api/byname_handles.h"
#include "formats/registry.h"
#include "platform/platform.h"

using brix::ContextOf;
using brix::Traced;

namespace {

constexpr uint32_t kCompressedFile = 10;  // the type of the single Microsoft compressed file

// Runs `body` on an archive between the trace messages; `none` for a handle that is refused.
template <class Result, class Body>
Result WithArchive(BrixNamedArchive archive, const char* function, Result none, Body&& body) {
  BrixDecompressionRecord* const context = ContextOf(archive);
  return Traced(context, function, none, [&] { return context != nullptr ? body(*archive) : none; });
}

// An open archive; null with the error value set.
std::unique_ptr<BrixNamedArchiveRecord> Open(BrixDecompressionRecord& context, const char* path) {
  std::unique_ptr<BrixNamedArchiveRecord> record(new (std::nothrow) BrixNamedArchiveRecord(context));
  if (!record) {
    context.error = BRIX_ERROR_MEMORY;
  } else if (!record->OpenOutermost(path)) {
    record.reset();
  }
  return record;
}

// The error value of looking whether a file is a Microsoft compressed one.
uint32_t CheckCompressedFile(const char* path) {
  uint32_t error = BRIX_ERROR_SOURCE;  // also when memory runs out
  (void)brix::Guarded([&]() -> int32_t {
    brix::FileStream file;
    if (!file.Open(path, brix::platform::OpenMode::kRead)) return BRIX_FAILED;
    brix::CachedReadStream cache;
    cache.SetInner(&file, 0);
    const bool is_one = brix::Formats().DetectArchiveType(cache, 0) == kCompressedFile;
    error = is_one ? BRIX_ERROR_NONE : BRIX_ERROR_NOT_AN_ARCHIVE;
    return BRIX_OK;
  });
  return error;
}

// Unpacks a file that was checked; sets the error value.
bool Decompress(BrixDecompressionRecord& context, const char* path, char* out_path) {
  const auto archive = Open(context, path);
  if (!archive) {
    if (context.error != BRIX_ERROR_NOT_AN_ARCHIVE) context.error = BRIX_ERROR_SOURCE;
    return false;
  }
  if (archive->FirstName() == nullptr) return false;
  const char* const made = archive->Extract();
  if (made == nullptr) return false;
  std::memcpy(out_path, made, std::strlen(made) + 1);
  return true;
}

}  // namespace

BrixNamedArchive OpenArchiveFileNew(BrixDecompression context, const char* path) {
  return Traced(context, __func__, context != nullptr ? BRIX_NO_ARCHIVE : nullptr, [&]() -> BrixNamedArchive {
    if (context == nullptr) return nullptr;
    if (path == nullptr) {
      context->error = BRIX_ERROR_NULL_ARGUMENT;
      return BRIX_NO_ARCHIVE;
    }
    auto record = Open(*context, path);
    return record ? record.release() : BRIX_NO_ARCHIVE;
  });
}

void CloseArchiveFile(BrixNamedArchive archive) {
  WithArchive(archive, __func__, 0, [](BrixNamedArchiveRecord& record) {
    record.context().error = BRIX_ERROR_NONE;
    delete &record;
    return 0;
  });
}

const char* GetFirstFileName(BrixNamedArchive archive) {
  constexpr const char* kNone = nullptr;
  return WithArchive(archive, __func__, kNone,
                     [](BrixNamedArchiveRecord& record) { return record.FirstName(); });
}

const char* GetNextFileName(BrixNamedArchive archive) {
  constexpr const char* kNone = nullptr;
  return WithArchive(archive, __func__, kNone,
                     [](BrixNamedArchiveRecord& record) { return record.NextName(); });
}

const char* ExtractCurrentFile(BrixNamedArchive archive) {
  constexpr const char* kNone = nullptr;
  return WithArchive(archive, __func__, kNone,
                     [](BrixNamedArchiveRecord& record) { return record.Extract(); });
}

void RemoveCurrentFile(BrixNamedArchive archive) {
  WithArchive(archive, __func__, 0, [](BrixNamedArchiveRecord& record) {
    record.Remove();
    return 0;
  });
}

const char* GetArchiveName(BrixNamedArchive archive) {
  constexpr const char* kNone = nullptr;
  return WithArchive(archive, __func__, kNone, [](BrixNamedArchiveRecord& record) {
    record.context().error = BRIX_ERROR_NONE;
    return record.base_name();
  });
}

uint32_t GetArchiveLevel(BrixNamedArchive archive) {
  return WithArchive(archive, __func__, uint32_t{0}, [](BrixNamedArchiveRecord& record) {
    record.context().error = BRIX_ERROR_NONE;
    return record.level_number();
  });
}

uint32_t DecompressMSCompressedFile(BrixDecompression context, const char* path, char* out_path,
                                    uint32_t delete_source) {
  return Traced(context, __func__, uint32_t{0}, [&]() -> uint32_t {
    if (context == nullptr) return 0;
    if (path == nullptr || out_path == nullptr) {
      context->error = BRIX_ERROR_NULL_ARGUMENT;
      return 0;
    }
    context->error = CheckCompressedFile(path);
    if (context->error != BRIX_ERROR_NONE || !Decompress(*context, path, out_path)) return 0;
    if (delete_source != 0) (void)brix::platform::Remove(path);  // closed by now
    return 1;
  });
}
