// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// sink_stream.h - hands what is written to it to a Sink.
#pragma once

#include "core/stream.h"
#include "rounds.h"

namespace bench {

class SinkStream final : public brix::Stream {
 public:
  explicit SinkStream(Sink& sink) : sink_(sink) {}
  bool ReadAt(uint32_t, uint8_t*, uint32_t, uint32_t* got) override { return *got = 0, false; }
  bool WriteAt(uint32_t, const uint8_t* buf, uint32_t size, uint32_t* written) override {
    sink_.Take(buf, *written = size);
    return true;
  }
  bool GetSize(uint32_t* size) override { return *size = 0, true; }
  bool SetSize(uint32_t) override { return true; }

 private:
  Sink& sink_;
};

}  // namespace bench
