// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// toolkit_api.cpp - the exported functions on a toolkit: settings, no work.
#include <new>

#include "api/guarded.h"
#include "api/handles.h"
#include "api/toolkit.h"

using brix::Guarded;
using brix::IsNull;

int32_t ArcTk2_Init(ArcTk2Toolkit* toolkit) {
  return Guarded([&]() -> int32_t {
    if (toolkit == nullptr) return BRIX_BAD_ARGUMENT;
    *toolkit = new (std::nothrow) ArcTk2ToolkitRecord;
    return *toolkit == nullptr ? BRIX_OUT_OF_MEMORY : BRIX_OK;
  });
}

int32_t ArcTk2_Close(ArcTk2Toolkit* toolkit) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit)) return BRIX_BAD_ARGUMENT;
    delete *toolkit;
    *toolkit = nullptr;
    return BRIX_OK;
  });
}

int32_t ArcTk2_SetToolkitLimits(ArcTk2Toolkit* toolkit, uint32_t max_extract_size, uint32_t max_ratio,
                                uint32_t max_nesting_level) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit)) return BRIX_BAD_ARGUMENT;
    (*toolkit)->limits = {max_extract_size, max_ratio, max_nesting_level};
    return BRIX_OK;
  });
}

int32_t ArcTk2_EnableAggressiveMode(ArcTk2Toolkit* toolkit, uint32_t on) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit)) return BRIX_BAD_ARGUMENT;
    (*toolkit)->aggressive_mode = on;
    return BRIX_OK;
  });
}

int32_t ArcTk2_SetTypeEnabled(ArcTk2Toolkit* toolkit, uint32_t type, uint32_t enabled) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit) || type == brix::kTypeNone || type > brix::kTypeCount) return BRIX_BAD_ARGUMENT;
    auto& flags = (*toolkit)->type_flags;
    if (!flags) {
      flags.reset(new (std::nothrow) brix::TypeFlags);
      if (!flags) return BRIX_OUT_OF_MEMORY;
      flags->fill(1);
    }
    (*flags)[type - 1] = enabled;
    return BRIX_OK;
  });
}

int32_t ArcTk2_GetTypeEnabled(ArcTk2Toolkit* toolkit, uint32_t type, uint32_t* enabled) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit) || enabled == nullptr) return BRIX_BAD_ARGUMENT;
    if (type == brix::kTypeNone || type > brix::kTypeCount) return BRIX_BAD_ARGUMENT;
    const auto& flags = (*toolkit)->type_flags;
    if (!flags) return BRIX_BAD_ARGUMENT;  // Kept: nothing was set yet, so there is no table to read
    *enabled = (*flags)[type - 1];
    return BRIX_OK;
  });
}

int32_t ArcTk2_SetAllTypesEnabled(ArcTk2Toolkit* toolkit, uint32_t enabled) {
  int32_t status = BRIX_OK;
  for (uint32_t type = 1; status == BRIX_OK && type <= brix::kTypeCount; ++type) {
    status = ArcTk2_SetTypeEnabled(toolkit, type, enabled);
  }
  return status;
}

int32_t ArcTk2_SetGlobalTempFileDirectory(ArcTk2Toolkit* toolkit, const char* directory) {
  return Guarded([&]() -> int32_t {
    if (IsNull(toolkit) || directory == nullptr) return BRIX_BAD_ARGUMENT;
    (*toolkit)->temp_directory = std::make_unique<std::string>(directory);
    return BRIX_OK;
  });
}
