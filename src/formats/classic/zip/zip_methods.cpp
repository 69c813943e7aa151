#include "formats/classic/zip/zip_methods.h"

#include <new>

#include "decoders/copy/copy_decoder.h"
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

}  // namespace

Decoder* MethodDecoders::Prepare(uint32_t kind, uint32_t) {
  switch (kind) {
    case kStored:
      if (stored_ == nullptr) stored_.reset(new (std::nothrow) CopyDecoder);
      return stored_.get();
    case kDeflated:
      return PrepareInflater(&deflate_, DeflateMode::kDeflate);
    case kDeflated64:
      return PrepareInflater(&deflate64_, DeflateMode::kDeflate64);
    default:
      return nullptr;
  }
}

}  // namespace brix::zip
