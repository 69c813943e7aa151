// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_settings_api.cpp - the exported functions on a decompression context, and the settings of an archive.
#include <cstring>
#include <new>

#include "api/byname_archive.h"
#include "api/byname_handles.h"
#include "platform/platform.h"

using brix::ContextOf;
using brix::Traced;

namespace {

constexpr uint32_t kMebibyteBits = 20;

// Runs a setter between its trace messages; its success is the outcome.
template <class Body>
void Set(BrixDecompressionRecord* context, const char* function, Body&& body) {
  Traced(context, function, 0, [&] {
    if (context == nullptr) return 0;
    body();
    context->error = BRIX_ERROR_NONE;
    return 0;
  });
}

template <class Body>
void SetArchive(BrixNamedArchive archive, const char* function, Body&& body) {
  Set(ContextOf(archive), function, [&] { body(*archive); });
}

// Kept: MiB are shifted without a look at what falls out of 32 bits.
brix::Limits LimitsOf(uint32_t max_nesting_level, uint32_t max_ratio, uint32_t max_extract_size_mib) {
  return {max_extract_size_mib << kMebibyteBits, max_ratio, max_nesting_level};
}

// The outcome of storing a temporary directory.
uint32_t StoreDirectory(BrixDecompressionRecord& context, const char* path) {
  if (path == nullptr || path[0] == '\0') return BRIX_ERROR_NULL_ARGUMENT;
  size_t length = std::strlen(path);
  if (length >= sizeof context.temp_directory) return BRIX_ERROR_DIRECTORY_TOO_LONG;
  if (path[length - 1] == '/' || path[length - 1] == '\\') --length;
  char* const directory = context.temp_directory;
  std::memmove(directory, path, length);
  directory[length] = '\0';
  if (brix::platform::Exists(directory)) return BRIX_ERROR_NONE;
  directory[0] = '\0';
  return BRIX_ERROR_NO_DIRECTORY;
}

}  // namespace

BrixDecompression InitDecompression() {
  return Traced(nullptr, __func__, BrixDecompression{},
                [] { return new (std::nothrow) BrixDecompressionRecord; });
}

void DeInitDecompression(BrixDecompression context) {
  Traced(context, __func__, 0, [&] {
    delete context;
    return 0;
  });
}

BrixDecompression InitDecompressionWithExistingBuffer() {
  return Traced(nullptr, __func__, BrixDecompression{}, [] { return BrixDecompression{}; });
}

uint32_t GetErrorValue(BrixDecompression context) {
  const uint32_t error = context != nullptr ? context->error : uint32_t{BRIX_ERROR_NULL_ARGUMENT};
  return Traced(context, __func__, error, [&] { return error; });
}

void SetTemporaryDirectory(BrixDecompression context, const char* path) {
  Traced(context, __func__, 0, [&] {
    if (context != nullptr) context->error = StoreDirectory(*context, path);
    return 0;
  });
}

void SetThreadArchiveLimits(BrixDecompression context, uint32_t max_nesting_level, uint32_t max_ratio,
                            uint32_t max_extract_size_mib) {
  Set(context, __func__,
      [&] { context->limits = LimitsOf(max_nesting_level, max_ratio, max_extract_size_mib); });
}

void SetGatewayMode(BrixDecompression context, uint32_t mode) {
  Set(context, __func__, [&] { context->gateway_mode = mode; });
}

uint32_t GetGatewayMode(BrixDecompression context) {
  uint32_t mode = 0;
  Set(context, __func__, [&] { mode = context->gateway_mode; });
  return mode;
}

void SetExtensionList(BrixDecompression context, ...) {
  Set(context, __func__, [] {});
}

void RegisterDebugLogCallbackFunction(BrixDecompression context, BrixLogLevelCallback callback) {
  Set(context, __func__, [&] { context->callbacks.with_level = callback; });
}

void RegisterDebugLogCallbackFunctionNoLevel(BrixDecompression context, BrixLogCallback callback) {
  Set(context, __func__, [&] { context->callbacks.plain = callback; });
}

void SetArchiveLimits(BrixNamedArchive archive, uint32_t max_nesting_level, uint32_t max_ratio,
                      uint32_t max_extract_size_mib) {
  const brix::Limits limits = LimitsOf(max_nesting_level, max_ratio, max_extract_size_mib);
  SetArchive(archive, __func__, [&](BrixNamedArchiveRecord& record) { record.SetLimits(limits); });
}

void ChangeArchiveRecursionType(BrixNamedArchive archive, uint32_t type) {
  SetArchive(archive, __func__, [&](BrixNamedArchiveRecord& record) { record.SetRecursionType(type); });
}

void EnableUUandMIME(BrixNamedArchive archive) {
  SetArchive(archive, __func__, [](BrixNamedArchiveRecord& record) { record.SetMailEnabled(true); });
}

void DisableUUandMIME(BrixNamedArchive archive) {
  SetArchive(archive, __func__, [](BrixNamedArchiveRecord& record) { record.SetMailEnabled(false); });
}
