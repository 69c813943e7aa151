// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// arc_api.cpp - the exported functions on one archive: arguments are checked here, the work is done in
// arc_archive.cpp.
#include <cstddef>
#include <cstring>

#include "api/arc_archive.h"
#include "api/failing_stream.h"
#include "api/guarded.h"
#include "api/handles.h"

using brix::Guarded;
using brix::IsNull;

// Hosts in any language lay this record out by hand.
static_assert(sizeof(ArcMemberProp) == 32 + sizeof(void*) + 2 * sizeof(uint32_t));
static_assert(offsetof(ArcMemberProp, name) == 0);
static_assert(offsetof(ArcMemberProp, buffer) == 32);
static_assert(offsetof(ArcMemberProp, size) == 32 + sizeof(void*));
static_assert(offsetof(ArcMemberProp, result_size) == 32 + sizeof(void*) + sizeof(uint32_t));

namespace {

int32_t Open(const ArcStream* stream, const ArcStream* output, uint32_t flags, ArcArchive* archive) {
  std::unique_ptr<ArcArchiveRecord> opened;
  const int32_t status = ArcArchiveRecord::Open(stream, output, flags, &opened);
  if (status == BRIX_OK) *archive = opened.release();
  return status;
}

}  // namespace

int32_t ArcOpenArchive(const ArcStream* stream, ArcArchive* archive) {
  return ArcOpenArchiveEx(stream, archive, 0);
}

int32_t ArcOpenArchiveEx(const ArcStream* stream, ArcArchive* archive, uint32_t flags) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr) return BRIX_BAD_ARGUMENT;
    *archive = nullptr;
    return Open(stream, nullptr, flags, archive);
  });
}

int32_t ArcOpenModifyArchive(const ArcStream* stream, const ArcStream* output, ArcArchive* archive,
                             uint32_t flags) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr) return BRIX_BAD_ARGUMENT;
    *archive = nullptr;
    if (output == nullptr) return BRIX_BAD_ARGUMENT;
    return Open(stream, output, flags, archive);
  });
}

int32_t ArcCloseArchive(ArcArchive archive) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr) return BRIX_BAD_ARGUMENT;
    const int32_t status = archive->Finish();
    delete archive;
    return status;
  });
}

int32_t ArcNextMember(ArcArchive archive) {
  return Guarded([&]() -> int32_t { return archive == nullptr ? BRIX_BAD_ARGUMENT : archive->NextMember(); });
}

int32_t ArcGetMemberName(ArcArchive archive, char* name, uint32_t* size) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr || size == nullptr) return BRIX_BAD_ARGUMENT;
    return archive->CopyName(name, size);
  });
}

int32_t ArcExtractMember(ArcArchive archive, const ArcStream* output) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr || !brix::IsComplete(output)) return BRIX_BAD_ARGUMENT;
    return archive->ExtractMember(*output);
  });
}

int32_t ArcGetNamedMemberProp(ArcArchive archive, ArcMemberProp* record) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr || record == nullptr) return BRIX_BAD_ARGUMENT;
    return archive->NamedProperty(record);
  });
}

int32_t ArcGetMemberProp(ArcArchive archive, const char* name, void* buffer, uint32_t* size) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr || name == nullptr || size == nullptr) return BRIX_BAD_ARGUMENT;
    ArcMemberProp record{};
    const size_t length = std::strlen(name);
    if (length >= sizeof record.name) return BRIX_BAD_ARGUMENT;
    std::memcpy(record.name, name, length + 1);
    record.buffer = buffer;
    record.size = *size;
    const int32_t status = archive->NamedProperty(&record);
    *size = record.result_size;
    return status;
  });
}

int32_t ArcGetIndexedMemberProp(ArcArchive archive, uint32_t index, ArcMemberProp* record) {
  return Guarded([&]() -> int32_t {
    if (archive == nullptr || record == nullptr) return BRIX_BAD_ARGUMENT;
    return archive->IndexedProperty(index, record);
  });
}

int32_t ArcInterrupt(ArcArchive* archive, ArcStream* stream, void* user_value) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive)) return BRIX_BAD_ARGUMENT;
    ArcArchive interrupting = nullptr;
    const int32_t status = Open(stream, nullptr, 0, &interrupting);
    if (status != BRIX_OK) return status;
    interrupting->Interrupts(*archive, stream, user_value);
    *archive = interrupting;
    return BRIX_OK;
  });
}

int32_t ArcResume(ArcArchive* archive, ArcStream** stream, void** user_value) {
  return Guarded([&]() -> int32_t {
    if (IsNull(archive) || stream == nullptr) return BRIX_BAD_ARGUMENT;
    ArcArchive const suspended = (*archive)->Resume(stream, user_value);
    if (suspended == nullptr) return BRIX_NO_CURRENT;
    delete *archive;
    *archive = suspended;
    return BRIX_OK;
  });
}

int32_t ArcDeleteMember(ArcArchive archive) { return archive == nullptr ? BRIX_BAD_ARGUMENT : BRIX_FAILED; }

int32_t ArcAddMember(ArcArchive archive, const ArcStream* data, const ArcMemberProp* props, uint32_t count) {
  if (archive == nullptr || !brix::IsComplete(data)) return BRIX_BAD_ARGUMENT;
  return props == nullptr && count != 0 ? BRIX_BAD_ARGUMENT : BRIX_FAILED;
}

int32_t ArcSetMemberProp(ArcArchive, const ArcMemberProp*) { return BRIX_FAILED; }

int32_t ArcCreateMember(ArcArchive, const ArcMemberProp*, uint32_t) { return BRIX_FAILED; }

int32_t ArcVersion(uint32_t version[4]) {
  constexpr uint32_t kVersion[4] = {8, 2, 4, 0};
  if (version == nullptr) return BRIX_BAD_ARGUMENT;
  std::memcpy(version, kVersion, sizeof kVersion);
  return BRIX_OK;
}

int32_t ArcInitStream(ArcStream* stream) {
  if (stream == nullptr) return BRIX_BAD_ARGUMENT;
  *stream = brix::kFailingStream;
  return BRIX_OK;
}
