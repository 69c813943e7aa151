// tar_detect.cpp - recognises a tar archive by the checksum of its first header block.
//
// Kept: a file that begins as gzip is only ever looked at through its decompressed bytes.
//
// Cost: one read of a block; of a gzip file, a block's worth of its first member is inflated. Bounds: a block of
// output can be spread over any amount of input by deflate blocks that hold nothing, so only kMaxInput is read.
#include "formats/classic/tar/tar_detect.h"

#include <algorithm>

#include "core/memory_stream.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/deflate/deflate_decoder.h"
#include "formats/classic/gzip/gzip_detect.h"
#include "formats/classic/tar/tar_header.h"

namespace brix::tar {

namespace {

constexpr uint32_t kMaxInput = 1 << 16;  // compressed bytes; no packer needs a hundredth of it for one block

bool InflateFirstBlock(Stream& in, Block* block) {
  uint32_t data_at = 0;
  uint32_t size = 0;
  if (!gzip::LocateGzipData(in, &data_at) || !in.GetSize(&size) || data_at >= size) return false;
  RangeStream data(&in, data_at, std::min(size - data_at, kMaxInput));
  MemoryStream out;
  DeflateDecoder inflater;
  uint32_t limit = kBlockBytes;
  if (!inflater.Decode(data, out, &limit) || limit != kBlockBytes) return false;
  std::ranges::copy(out.bytes().first(kBlockBytes), block->begin());
  return true;
}

}  // namespace

bool DetectTar(Stream& in, uint32_t detect_flags, const FormatTable& formats) {
  Block block;
  const bool read = gzip::DetectGzip(in, detect_flags, formats) ? InflateFirstBlock(in, &block)
                                                                : ReadExact(in, 0, block.data(), kBlockBytes);
  if (!read) return Refuse("tar: no header block");
  if (!HasValidChecksum(block)) return Refuse("tar: checksum");
  uint32_t size = 0;
  return ParseOctal(std::span(block).subspan(kSizeAt, kSizeWidth), &size);
}

}  // namespace brix::tar
