// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_change_api.cpp - the exported functions that would change and create archives. No handler can write, so each
// fails and leaves everything but the error value as it was.
#include "api/byname_handles.h"

using brix::ContextOf;
using brix::Traced;

namespace {

uint32_t Refuse(BrixNamedArchive archive, const char* function) {
  BrixDecompressionRecord* const context = ContextOf(archive);
  return Traced(context, function, uint32_t{0}, [&] {
    if (context != nullptr) context->error = BRIX_ERROR_HANDLER;
    return uint32_t{0};
  });
}

// For calls without a context to tell.
template <class Result>
Result RefuseNew(const char* function) {
  return Traced(nullptr, function, Result{}, [] { return Result{}; });
}

}  // namespace

uint32_t EnableArchiveChange(BrixNamedArchive archive) { return Refuse(archive, __func__); }
uint32_t AbortArchiveChange(BrixNamedArchive archive) { return Refuse(archive, __func__); }
uint32_t FinishArchiveChange(BrixNamedArchive archive) { return Refuse(archive, __func__); }
uint32_t AddFileToArchive(BrixNamedArchive archive, const char*, const char*) {
  return Refuse(archive, __func__);
}
uint32_t DeleteCurrentFileInArchive(BrixNamedArchive archive) { return Refuse(archive, __func__); }
uint32_t ReplaceCurrentFileInArchive(BrixNamedArchive archive, const char*) {
  return Refuse(archive, __func__);
}
uint32_t CheckDeletePending(BrixNamedArchive archive) { return Refuse(archive, __func__); }

BrixCompression InitCompression() { return RefuseNew<BrixCompression>(__func__); }
void DeInitCompression(BrixCompression) { (void)RefuseNew<uint32_t>(__func__); }
BrixNewArchive CreateArchiveFileNew(BrixCompression, const char*, uint32_t) {
  return RefuseNew<BrixNewArchive>(__func__);
}
uint32_t AddFileToCompressedArchive(BrixNewArchive, const char*, const char*) {
  return RefuseNew<uint32_t>(__func__);
}
uint32_t CloseNewArchiveFile(BrixNewArchive) { return RefuseNew<uint32_t>(__func__); }
