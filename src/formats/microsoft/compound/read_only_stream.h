// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// read_only_stream.h - what every stream made from the insides of a compound file has in common.
#pragma once

#include "core/stream.h"

namespace brix::compound {

class ReadOnlyStream : public Stream {
 public:
  [[nodiscard]] bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t* written) final {
    *written = 0;
    return false;
  }
  [[nodiscard]] bool SetSize(uint32_t) final { return false; }
};

}  // namespace brix::compound
