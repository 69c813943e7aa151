// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// handles.h - how an exported function looks at the handle it was given.
#pragma once

namespace brix {

// Handles are passed by the address of the host's variable; neither the address nor the handle may be null. A
// handle that was never one of ours cannot be told apart.
template <class Record>
[[nodiscard]] bool IsNull(Record* const* handle) {
  return handle == nullptr || *handle == nullptr;
}

}  // namespace brix
