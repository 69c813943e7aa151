// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "formats/classic/zip/zip_methods.h"

#include <new>

#include "decoders/copy/copy_decoder.h"
#include "decoders/deflate/deflate_decoder.h"
#include "decoders/zip/explode_decoder.h"
#include "decoders/zip/reduce_decoder.h"
#include "decoders/zip/shrink_decoder.h"
#include "formats/classic/zip/zip_format.h"

namespace brix::zip {

namespace {

constexpr uint32_t kSmallWindowBytes = 4096;
constexpr uint32_t kLargeWindowBytes = 8192;

// A decoder of one of the less common methods.
Decoder* MakeOther(uint32_t kind, uint32_t flags) {
  switch (kind) {
    case kShrunk:
      return new (std::nothrow) ShrinkDecoder;
    case kReduced1:
    case kReduced2:
    case kReduced3:
    case kReduced4:
      return new (std::nothrow) ReduceDecoder(kind - kReduced1 + 1);
    case kImploded:
      return new (std::nothrow)
          ExplodeDecoder((flags & kFlagLargeWindow) != 0 ? kLargeWindowBytes : kSmallWindowBytes,
                         (flags & kFlagThreeTrees) != 0 ? 3 : 2);
    case kDeflated64:
      return new (std::nothrow) DeflateDecoder(DeflateMode::kDeflate64);
    default:
      return nullptr;
  }
}

}  // namespace

Decoder* MethodDecoders::Prepare(uint32_t kind, uint32_t flags) {
  std::unique_ptr<Decoder>* kept = &other_;
  if (kind == kStored) {
    kept = &stored_;
    if (stored_ == nullptr) stored_.reset(new (std::nothrow) CopyDecoder);
  } else if (kind == kDeflated) {
    kept = &deflated_;
    if (deflated_ == nullptr) deflated_.reset(new (std::nothrow) DeflateDecoder);
  } else {
    const uint32_t key = kind << 16 | (kind == kImploded ? flags & (kFlagLargeWindow | kFlagThreeTrees) : 0);
    if (other_ == nullptr || other_key_ != key) {
      other_.reset();  // first, so that two never live at once
      other_.reset(MakeOther(kind, flags));
      other_key_ = key;
    }
  }
  if (*kept != nullptr) (*kept)->Reset();
  return kept->get();
}

}  // namespace brix::zip
