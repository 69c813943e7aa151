// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// tar_detect.cpp - recognises a tar archive by its first header block.
//
// Kept: a file that begins as gzip is only ever looked at through its decompressed bytes, those of its first member; and
// the first block is looked for in the first 64 KiB of the compressed data. A tar that begins after that is gzip, with
// the tar as its member.
//
// Cost: one read of a block; of a gzip file, a block's worth is inflated. Bounds: a block of output can be spread over
// any amount of input by deflate blocks that hold nothing, so only kMaxInput is read.
#include "formats/classic/tar/tar_detect.h"

#include <algorithm>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/deflate/deflate_decoder.h"
#include "formats/classic/gzip/gzip_detect.h"
#include "formats/classic/gzip/gzip_format.h"
#include "formats/classic/tar/tar_header.h"

namespace brix::tar {

namespace {

constexpr uint32_t kMaxInput = 1 << 16;  // compressed bytes; no packer needs a hundredth of it for one block

bool InflateFirstBlock(Stream& in, const Place& place, Block* block) {
  RangeStream packed(&in, place.packed_at, std::min(place.packed_size, kMaxInput));
  DeflateDecoder inflater;
  NeedMemory(inflater.TakeMemory());
  // Ends by the data: each turn decodes some of them.
  while (inflater.buffered().size() < kBlockBytes) {
    uint32_t added = 0;
    if (!inflater.DecodeMore(packed, kBlockBytes, &added) || added == 0) return false;
  }
  std::copy_n(inflater.buffered().data(), kBlockBytes, block->begin());
  return true;
}

}  // namespace

bool LocateTar(Stream& in, Place* place) {
  place->in_gzip = FieldReader(in, 0).Is(0, gzip::kMagic);
  if (!place->in_gzip) return true;
  uint32_t size = 0;
  if (!gzip::LocateGzipData(in, &place->packed_at) || !in.GetSize(&size) || place->packed_at > size) {
    return Refuse("tar: no data in gzip");
  }
  place->packed_size = size - place->packed_at;
  return true;
}

bool DetectTar(Stream& in, uint32_t, const FormatTable&) {
  Place place;
  Block block;
  if (!LocateTar(in, &place)) return false;
  const bool read =
      place.in_gzip ? InflateFirstBlock(in, place, &block) : ReadExact(in, 0, block.data(), kBlockBytes);
  Header header;
  return read ? ParseHeader(block, &header) : Refuse("tar: no header block");
}

}  // namespace brix::tar
