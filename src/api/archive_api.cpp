// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// archive_api.cpp - the exported functions on an archive: arguments are checked here, the work is done in
// archive.cpp and archive_extract.cpp.
#include <cstdlib>
#include <new>

#include "api/archive.h"
#include "api/guarded.h"
#include "api/handles.h"
#include "api/host_stream.h"
#include "io/file_stream.h"

using brix::Guarded;
using brix::IsNull;

namespace {

int32_t Open(const ArcTk2ToolkitRecord& toolkit, std::unique_ptr<brix::Stream> stream, bool mail_hint,
             ArcTk2Archive* archive) {
  auto record = std::make_unique<ArcTk2ArchiveRecord>();
  if (!record->Configure(toolkit, mail_hint)) return BRIX_OUT_OF_MEMORY;
  const int32_t status = record->OpenOutermost(std::move(stream));
  if (status == BRIX_OK) *archive = record.release();
  return status;
}

int32_t TypeOf(brix::ArchiveHandler* handler, uint32_t* type) {
  if (handler == nullptr) return BRIX_FAILED;
  *type = handler->GetTypeId();
  return BRIX_OK;
}

}  // namespace

int32_t ArcTk2_OpenArchive(ArcTk2Toolkit* toolkit, const char* path, ArcTk2Archive* archive) {
  return Guarded([&]() -> int32_t {
    if (archive != nullptr) *archive = nullptr;
    if (archive == nullptr || IsNull(toolkit) || path == nullptr) return BRIX_BAD_ARGUMENT;
    auto file = std::make_unique<brix::FileStream>();
    if (!file->Open(path, brix::platform::OpenMode::kRead)) return BRIX_BAD_ARGUMENT;
    const bool mail_hint = (*toolkit)->aggressive_mode != 0 && brix::HasMailEnding(path);
    return Open(**toolkit, std::move(file), mail_hint, archive);
  });
}

int32_t ArcTk2_OpenArchiveStream(ArcTk2Toolkit* toolkit, const ArcStream* stream, ArcTk2Archive* archive) {
  return Guarded([&]() -> int32_t {
    if (archive != nullptr) *archive = nullptr;
    if (archive == nullptr || IsNull(toolkit) || !brix::IsComplete(stream)) return BRIX_BAD_ARGUMENT;
    return Open(**toolkit, std::make_unique<brix::HostStream>(*stream), false, archive);
  });
}

int32_t ArcTk2_GetNextFile(ArcTk2Archive* archive, char* name, uint32_t name_size) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive)) return BRIX_BAD_ARGUMENT;
    return (*archive)->NextFile(name, name_size);
  });
}

// Kept: the result of success is -1. Hosts rely on it.
int32_t ArcTk2_SetArchiveLimits(ArcTk2Archive* archive, uint32_t max_extract_size) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive)) return BRIX_BAD_ARGUMENT;
    (*archive)->SetMaxExtractSize(max_extract_size);
    return BRIX_FAILED;
  });
}

int32_t ArcTk2_SetArchiveTempFileDirectory(ArcTk2Archive* archive, const char* directory) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || directory == nullptr) return BRIX_BAD_ARGUMENT;
    (*archive)->SetTempDirectory(directory);
    return BRIX_OK;
  });
}

int32_t ArcTk2_GetDepth(ArcTk2Archive* archive, uint32_t* depth) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || depth == nullptr) return BRIX_BAD_ARGUMENT;
    *depth = (*archive)->depth() - 1;  // wraps once no level is open
    return BRIX_OK;
  });
}

int32_t ArcTk2_ArchiveGetTopLevelType(ArcTk2Archive* archive, uint32_t* type) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || type == nullptr) return BRIX_BAD_ARGUMENT;
    return TypeOf((*archive)->OutermostHandler(), type);
  });
}

int32_t ArcTk2_ArchiveGetCurrentType(ArcTk2Archive* archive, uint32_t* type) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || type == nullptr) return BRIX_BAD_ARGUMENT;
    return TypeOf((*archive)->CurrentHandler(), type);
  });
}

int32_t ArcTk2_GetMemberStatus(ArcTk2Archive* archive, uint32_t* member_status) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || member_status == nullptr) return BRIX_BAD_ARGUMENT;
    const uint32_t status = (*archive)->MemberStatus();
    if (status == 0) return BRIX_FAILED;
    *member_status = status;
    return BRIX_OK;
  });
}

int32_t ArcTk2_GetUnseen(ArcTk2Archive* archive, uint32_t* unseen) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || unseen == nullptr) return BRIX_BAD_ARGUMENT;
    *unseen = (*archive)->Unseen();
    return BRIX_OK;
  });
}

int32_t ArcTk2_CloseArchive(ArcTk2Archive* archive) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive)) return BRIX_BAD_ARGUMENT;
    const int32_t status = (*archive)->depth() != 0 ? BRIX_OK : BRIX_FAILED;
    delete *archive;
    *archive = nullptr;
    return status;
  });
}

int32_t ArcTk2_ExtractToMemory(ArcTk2Archive* archive, void** data, uint32_t* size) {
  return Guarded([&]() -> int32_t {
    if (data != nullptr) *data = nullptr;
    if (size != nullptr) *size = 0;
    if (IsNull(archive) || size == nullptr) return BRIX_BAD_ARGUMENT;
    return (*archive)->ExtractToMemory(data, size);
  });
}

void ArcTk2_FreeMemory(void* data) { std::free(data); }

int32_t ArcTk2_ExtractToFile(ArcTk2Archive* archive, const char* path) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || path == nullptr) return BRIX_BAD_ARGUMENT;
    return (*archive)->ExtractToFile(path);
  });
}

int32_t ArcTk2_ExtractToTempFile(ArcTk2Archive* archive, char* path, uint32_t path_size) {
  return Guarded([&]() -> int32_t {
    if (path != nullptr && path_size != 0) path[0] = '\0';
    if (IsNull(archive) || path == nullptr || path_size == 0) return BRIX_BAD_ARGUMENT;
    return (*archive)->ExtractToTempFile(path, path_size);
  });
}

int32_t ArcTk2_ExtractToStream(ArcTk2Archive* archive, const ArcStream* stream) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || !brix::IsComplete(stream)) return BRIX_BAD_ARGUMENT;
    brix::HostStream target(*stream);
    return (*archive)->ExtractToStream(target);
  });
}
