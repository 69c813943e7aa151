// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// owned_stream.h - a stream record that the library closes: one that a host's factory made for it.
#pragma once

#include <utility>

#include "api/guarded.h"
#include "api/host_stream.h"

namespace brix {

class OwnedStream {
 public:
  OwnedStream() = default;
  OwnedStream(const OwnedStream&) = delete;
  OwnedStream& operator=(const OwnedStream&) = delete;
  ~OwnedStream() { Close(); }

  // Asks the factory for a stream; closes the one held before. False, with none held: the factory failed, or what
  // it filled in cannot be used.
  [[nodiscard]] bool Create(const ArcStreamFactory& factory) {
    Close();
    ArcStream made{};
    if (factory.create(factory.context, &made) != 0) return false;
    record_ = made;
    if (!IsComplete(&record_)) Close();
    return is_open();
  }

  void Close() {
    ArcStream closed{};
    std::swap(closed, record_);
    if (closed.close == nullptr) return;
    (void)Guarded([&] { return closed.close(closed.context); });  // its result helps nobody here
  }

  void Swap(OwnedStream& other) { std::swap(record_, other.record_); }

  [[nodiscard]] bool is_open() const { return record_.close != nullptr; }
  [[nodiscard]] const ArcStream& record() const { return record_; }

 private:
  ArcStream record_{};
};

}  // namespace brix
