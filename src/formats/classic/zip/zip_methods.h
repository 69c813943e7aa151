// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// zip_methods.h - the decoders of one archive's members, kept from member to member.
#pragma once

#include <cstdint>
#include <memory>

#include "decoders/decoder.h"

namespace brix::zip {

// Makes a decoder when the first member needs it and hands out the same one from then on, so that a walk
// allocates nothing per member. The two methods of nearly all archives keep one each; the others share a place,
// so that an archive that uses everything there is costs no more than its largest decoder beside those.
class MethodDecoders {
 public:
  // The decoder of a method kind, ready for a new member; null when the kind has none or memory is exhausted.
  // `flags` are the member's, which hold the parameters of imploding.
  [[nodiscard]] Decoder* Prepare(uint32_t kind, uint32_t flags);

 private:
  std::unique_ptr<Decoder> stored_;
  std::unique_ptr<Decoder> deflated_;
  std::unique_ptr<Decoder> other_;
  uint32_t other_key_ = 0;  // which one that is: method kind and the flags that matter to it
};

}  // namespace brix::zip
