// zip_methods.h - the decoders of one archive's members, kept from member to member.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "decoders/decoder.h"
#include "decoders/deflate/deflate_decoder.h"

namespace brix::zip {

// Makes a decoder when the first member needs it and hands out the same one from then on, so that a walk
// allocates nothing per member. Methods with parameters have one decoder for each value of them: packers
// choose anew for every member. An archive that uses everything there is makes it hold about a megabyte.
class MethodDecoders {
 public:
  // The decoder of a method kind, ready for a new member; null when the kind has none or memory is exhausted.
  // `flags` are the member's, which hold the parameters of imploding.
  [[nodiscard]] Decoder* Prepare(uint32_t kind, uint32_t flags);

 private:
  std::unique_ptr<DeflateDecoder> deflated_;
  std::unique_ptr<DeflateDecoder> deflated64_;
  std::unique_ptr<Decoder> stored_;
  std::unique_ptr<Decoder> shrunk_;
  std::array<std::unique_ptr<Decoder>, 4> reduced_;   // by factor - 1
  std::array<std::unique_ptr<Decoder>, 4> imploded_;  // by the two flag bits
};

}  // namespace brix::zip
