// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// guarded.h - the wall between the library and its host: no exception leaves an exported function.
#pragma once

#include <cstdint>
#include <new>

#include "brixcore/status.h"

namespace brix {

// Runs the body of an exported function and returns its status; a failed allocation becomes -3, anything else
// that is thrown, also by a host's own operation that was called back, becomes -1.
template <class Body>
int32_t Guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return BRIX_OUT_OF_MEMORY;
  } catch (...) {
    return BRIX_FAILED;
  }
}

}  // namespace brix
