// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// session_api.cpp - the exported functions on a session: arguments are checked here, the work is done in
// session.cpp.
#include <new>

#include "api/guarded.h"
#include "api/handles.h"
#include "api/session.h"
#include "brixcore/archive.h"

using brix::Guarded;
using brix::IsNull;

int32_t ArcTkOpenArchive(const ArcStream* stream, const ArcStreamFactory* factory, ArcTkSession* session) {
  return ArcTkOpenModifyArchive(stream, nullptr, factory, session);
}

int32_t ArcTkOpenModifyArchive(const ArcStream* stream, const ArcStream* output,
                               const ArcStreamFactory* factory, ArcTkSession* session) {
  return Guarded([&]() -> int32_t {
    if (session == nullptr) return BRIX_BAD_ARGUMENT;
    *session = nullptr;
    if (!brix::IsComplete(stream) || (output != nullptr && !brix::IsComplete(output))) {
      return BRIX_BAD_ARGUMENT;
    }
    if (factory == nullptr || factory->create == nullptr) return BRIX_BAD_ARGUMENT;
    std::unique_ptr<ArcTkSessionRecord> made(new (std::nothrow) ArcTkSessionRecord(*factory));
    if (!made) return BRIX_OUT_OF_MEMORY;
    const int32_t status = made->OpenOutermost(*stream, output);
    // Kept: the inner reason, such as that it is no archive, is not told.
    if (status != BRIX_OK) return status == BRIX_OUT_OF_MEMORY ? status : BRIX_FAILED;
    *session = made.release();
    return BRIX_OK;
  });
}

int32_t ArcTkCloseArchive(ArcTkSession* session) {
  return Guarded([&]() -> int32_t {
    if (IsNull(session)) return BRIX_BAD_ARGUMENT;
    delete *session;
    *session = nullptr;
    return BRIX_OK;
  });
}

int32_t ArcTkSetMaxNestedLevel(ArcTkSession session, uint32_t levels) {
  if (session == nullptr) return BRIX_BAD_ARGUMENT;
  session->limits.max_nesting_level = levels;
  return BRIX_OK;
}

int32_t ArcTkSetMaxCompressRatio(ArcTkSession session, uint32_t ratio) {
  if (session == nullptr) return BRIX_BAD_ARGUMENT;
  session->limits.max_ratio = ratio;
  return BRIX_OK;
}

int32_t ArcTkSetMaxExtractSize(ArcTkSession session, uint32_t bytes) {
  if (session == nullptr) return BRIX_BAD_ARGUMENT;
  session->limits.max_extract_size = bytes;
  return BRIX_OK;
}

namespace {

// Kept: all bits set is no limit and is not shifted; other values wrap.
constexpr uint32_t BytesOf(uint32_t mebibytes) {
  return mebibytes == UINT32_MAX ? mebibytes : mebibytes << 20;
}
static_assert(BytesOf(UINT32_MAX) == UINT32_MAX && BytesOf(4096) == 0 && BytesOf(50) == 52'428'800);

}  // namespace

int32_t ArcTkSetMaxCompressSize(ArcTkSession session, uint32_t mebibytes) {
  return ArcTkSetMaxExtractSize(session, BytesOf(mebibytes));
}

int32_t ArcTkExtractNextMember(ArcTkSession session, uint32_t descend, ArcStream* stream) {
  return Guarded([&]() -> int32_t {
    if (session == nullptr || stream == nullptr) return BRIX_BAD_ARGUMENT;
    return session->ExtractNextMember(descend != 0, stream);
  });
}

uint32_t ArcTkGetDepth(ArcTkSession session) { return session == nullptr ? 0 : session->depth(); }

namespace {

// Runs `call` on the archive being walked.
template <class Call>
int32_t OnCurrent(ArcTkSession session, Call&& call) {
  if (session == nullptr) return BRIX_BAD_ARGUMENT;
  ArcArchive const archive = session->CurrentArchive();
  return archive == nullptr ? BRIX_FAILED : call(archive);
}

}  // namespace

int32_t ArcTkGetNamedMemberProp(ArcTkSession session, ArcMemberProp* record) {
  return OnCurrent(session, [&](ArcArchive archive) { return ArcGetNamedMemberProp(archive, record); });
}

int32_t ArcTkGetIndexedMemberProp(ArcTkSession session, uint32_t index, ArcMemberProp* record) {
  return OnCurrent(session,
                   [&](ArcArchive archive) { return ArcGetIndexedMemberProp(archive, index, record); });
}

int32_t ArcTkDeleteMember(ArcTkSession session) { return OnCurrent(session, ArcDeleteMember); }

int32_t ArcTkAddMember(ArcTkSession session, const ArcStream* data, const ArcMemberProp* props,
                       uint32_t count) {
  return OnCurrent(session, [&](ArcArchive archive) { return ArcAddMember(archive, data, props, count); });
}

int32_t ArcTkReplaceMember(ArcTkSession session, const ArcStream* data, const ArcMemberProp* props,
                           uint32_t count) {
  const int32_t status = ArcTkDeleteMember(session);
  return status == BRIX_OK ? ArcTkAddMember(session, data, props, count) : status;
}
