// tar_detect.cpp - recognises a tar archive by the checksum of its first header block.
#include "formats/classic/tar/tar_detect.h"

#include "core/refuse.h"
#include "formats/classic/gzip/gzip_detect.h"
#include "formats/classic/tar/tar_header.h"

namespace brix::tar {

bool DetectTar(Stream& in, uint32_t, const FormatTable&) {
  Block block;
  if (!ReadExact(in, 0, block.data(), kBlockBytes)) return Refuse("tar: no header block");
  if (!HasValidChecksum(block)) return Refuse("tar: checksum");
  uint32_t size = 0;
  return ParseOctal(std::span(block).subspan(kSizeAt, kSizeWidth), &size);
}

}  // namespace brix::tar
