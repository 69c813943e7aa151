// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// host_stream.h - a host's stream record as a stream of the library.
#pragma once

#include <cstdint>

#include "brixcore/stream.h"
#include "core/stream.h"

namespace brix {

// Whether the record has all operations that the library may call.
[[nodiscard]] bool IsComplete(const ArcStream* record);

// Calls back into the host. Anything but 0 is a failure, and so is a count of more bytes than were asked for:
// the host is not believed further than its word can be checked. Its stream is never closed from here.
class HostStream final : public Stream {
 public:
  // The record is complete. It is copied; what its context points to stays the host's.
  explicit HostStream(const ArcStream& record) : record_(record) {}

  [[nodiscard]] bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override;
  [[nodiscard]] bool WriteAt(uint32_t offset, const uint8_t* buf, uint32_t size, uint32_t* written) override;
  [[nodiscard]] bool GetSize(uint32_t* size) override;
  [[nodiscard]] bool SetSize(uint32_t size) override;

 private:
  ArcStream record_;
};

}  // namespace brix
