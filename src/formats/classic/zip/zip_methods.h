// zip_methods.h - the decoders of one archive's members, kept from member to member.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "decoders/decoder.h"

namespace brix::zip {

class MethodDecoders {
 public:
  // The decoder of a method kind, ready for a new member; null when the kind has none or memory is exhausted.
  // `flags` are the member's. Valid until the next call.
  [[nodiscard]] Decoder* Prepare(uint32_t kind, uint32_t flags);

 private:
  std::unique_ptr<Decoder> stored_;
};

}  // namespace brix::zip
