// zip_methods.h - the decoders of one archive's members, kept from member to member.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "decoders/decoder.h"
#include "decoders/deflate/deflate_decoder.h"

namespace brix::zip {

// Makes a decoder when the first member needs it and hands out the same one from then on, so that a walk
// allocates nothing per member.
class MethodDecoders {
 public:
  // The decoder of a method kind, ready for a new member; null when the kind has none or memory is exhausted.
  // `flags` are the member's.
  [[nodiscard]] Decoder* Prepare(uint32_t kind, uint32_t flags);

 private:
  std::unique_ptr<DeflateDecoder> deflate_;
  std::unique_ptr<DeflateDecoder> deflate64_;
  std::unique_ptr<Decoder> stored_;
};

}  // namespace brix::zip
