// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_context.h - the context of the name-based family, and how its exported functions are run.
#pragma once

#include <cstdint>
#include <string_view>

#include "api/guarded.h"
#include "api/limits.h"
#include "api/log.h"
#include "brixcore/byname.h"

// The record behind a BrixDecompression.
struct BrixDecompressionRecord {
  char temp_directory[BRIX_PATH_SIZE] = ".";
  uint32_t error = BRIX_ERROR_NONE;
  brix::LogCallbacks callbacks;
  brix::Limits limits;  // in force for archives without limits of their own, at the moment of each test
  uint32_t gateway_mode = 0;
};

namespace brix {

// Runs the body of an exported function between its two trace messages. Both go to the callbacks that stand in the
// context when it begins: the body may change them or free the context. `context` may be null. Returns `failure` when
// memory is exhausted or a host's callback throws.
template <class Result, class Body>
Result Traced(BrixDecompressionRecord* context, const char* function, Result failure, Body&& body) noexcept {
  const LogCallbacks callbacks = context != nullptr ? context->callbacks : LogCallbacks{};
  Result result = failure;
  const int32_t status = Guarded([&]() -> int32_t {
    Emit(callbacks, kLevelTrace, "Entering: %s()", function);
    result = body();
    return BRIX_OK;
  });
  if (status != BRIX_OK && context != nullptr) {
    context->error = status == BRIX_OUT_OF_MEMORY ? BRIX_ERROR_MEMORY : BRIX_ERROR_HANDLER;
  }
  (void)Guarded([&]() -> int32_t {
    Emit(callbacks, kLevelTrace, "Returning from: %s()", function);
    return BRIX_OK;
  });
  return result;
}

// The part of a path behind its folders, of either kind of separator.
[[nodiscard]] inline std::string_view BaseName(std::string_view path) {
  path.remove_prefix(path.rfind('/') + 1);  // wraps to 0 when there is none
  path.remove_prefix(path.rfind('\\') + 1);
  return path;
}

// Whether a file of this name is looked at longer to recognise it as mail. Unlike the toolkit family's rule, exact.
[[nodiscard]] inline bool EndsInEml(std::string_view path) { return path.ends_with(".eml"); }

}  // namespace brix
