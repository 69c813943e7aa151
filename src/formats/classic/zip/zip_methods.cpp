#include "formats/classic/zip/zip_methods.h"

#include <new>

#include "decoders/copy/copy_decoder.h"
#include "formats/classic/zip/zip_format.h"

namespace brix::zip {

Decoder* MethodDecoders::Prepare(uint32_t kind, uint32_t) {
  if (kind != kStored) return nullptr;
  if (stored_ == nullptr) stored_.reset(new (std::nothrow) CopyDecoder);
  return stored_.get();
}

}  // namespace brix::zip
