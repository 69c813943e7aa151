#include "formats/classic/zip/zip_methods.h"

#include <new>

#include "decoders/copy/copy_decoder.h"
#include "decoders/zip/explode_decoder.h"
#include "decoders/zip/reduce_decoder.h"
#include "decoders/zip/shrink_decoder.h"
#include "formats/classic/zip/zip_format.h"

namespace brix::zip {

namespace {

Decoder* PrepareInflater(std::unique_ptr<DeflateDecoder>* kept, DeflateMode mode) {
  if (*kept == nullptr) {
    kept->reset(new (std::nothrow) DeflateDecoder(mode));
  } else {
    (*kept)->Reset();
  }
  return kept->get();
}

// For decoders that begin anew with every run.
template <class Made, class... Parameters>
Decoder* Keep(std::unique_ptr<Decoder>* kept, Parameters... parameters) {
  if (*kept == nullptr) kept->reset(new (std::nothrow) Made(parameters...));
  return kept->get();
}

Decoder* PrepareExploder(std::array<std::unique_ptr<Decoder>, 4>* kept, uint32_t flags) {
  constexpr uint32_t kSmallWindowBytes = 4096;
  constexpr uint32_t kLargeWindowBytes = 8192;
  const bool large = (flags & kFlagLargeWindow) != 0;
  const bool three = (flags & kFlagThreeTrees) != 0;
  return Keep<ExplodeDecoder>(&(*kept)[(large ? 1u : 0u) + (three ? 2u : 0u)],
                              large ? kLargeWindowBytes : kSmallWindowBytes, three ? 3u : 2u);
}

}  // namespace

Decoder* MethodDecoders::Prepare(uint32_t kind, uint32_t flags) {
  switch (kind) {
    case kStored:
      return Keep<CopyDecoder>(&stored_);
    case kShrunk:
      return Keep<ShrinkDecoder>(&shrunk_);
    case kReduced1:
    case kReduced2:
    case kReduced3:
    case kReduced4:
      return Keep<ReduceDecoder>(&reduced_[kind - kReduced1], kind - kReduced1 + 1);
    case kImploded:
      return PrepareExploder(&imploded_, flags);
    case kDeflated:
      return PrepareInflater(&deflated_, DeflateMode::kDeflate);
    case kDeflated64:
      return PrepareInflater(&deflated64_, DeflateMode::kDeflate64);
    default:
      return nullptr;
  }
}

}  // namespace brix::zip
