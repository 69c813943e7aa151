// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_chain.cpp - reads blocks, and decodes members in the order in which they depend on each other.
//
// A chain begins with a compressed member that is not solid, or with the first compressed one of all, whatever it says.
// Stored members do not belong to it. Nothing is kept for a member: when some were passed over, their blocks are read
// again from the last decoded one on, and each is decoded to nowhere. The host may pass over a thousand and ask for the
// last; that costs one pass over all.
//
// What cannot be decoded breaks its chain, and every later member of it fails at once: damage, encryption, another
// version, a part of a volume. A member that merely could not be written, or whose filters we do not have, does not.
//
// Bounds: decoding to nowhere comes out of the allowance of the container's input. Blocks read again end where they
// ended before.
#include "formats/installers/rar/rar_chain.h"

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"

namespace brix::rar {

bool ReadBlock(Stream& in, uint32_t at, Block* block) {
  FieldReader fields(in, at);
  block->at = at;
  block->type = fields.U8(kBlockType);
  block->flags = fields.U16(kBlockFlags);
  const uint32_t header_size = fields.U16(kBlockHeaderBytes);
  uint32_t added = (block->flags & kFlagAdded) != 0 ? fields.U32(kBlockAddedBytes) : 0;
  if (!fields.ok()) return Refuse("rar: block is cut");
  if (block->type < kFirstType || block->type > kEnd) return Refuse("rar: no such block");
  if (header_size == 0) return Refuse("rar: block without a header");
  uint32_t data_at = at;
  const bool data_fit = CheckedAdd(&data_at, header_size);
  if (block->type == kFile) {
    FileBlock& file = block->file;
    file.flags = block->flags;
    added = file.packed_size = fields.U32(kFilePackedSize);
    file.unpacked_size = fields.U32(kFileUnpackedSize);
    file.version = fields.U8(kFileVersion);
    file.method = fields.U8(kFileMethod);
    file.name_size = fields.U16(kFileNameBytes);
    file.data_at = data_at;
    if (!fields.ok()) return Refuse("rar: file header is cut");
  }
  block->next = data_at;
  // A sum that does not fit is no place in the file; the walk fails there, not here.
  if (!data_fit || !CheckedAdd(&block->next, added)) block->next = UINT32_MAX;
  return true;
}

void Chain::Pass(const Block& block) {
  if (!block.file.compressed() || (started_ && block.file.solid())) return;
  started_ = true;
  start_ = block.at;
  begun_ = broken_ = false;
}

bool Chain::Extract(const Block& block, Stream& out, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  // A member of no bytes is decoded when a later one needs it.
  if (wanted == 0) return true;
  if (broken_) return Refuse("rar: a member in front of this one is damaged");
  if (begun_ && last_.at == block.at && block.at != start_)
    return Refuse("rar: a solid member is extracted once");
  if (!Reach(block) || !Begin(block)) {
    broken_ = true;
    return false;
  }
  *limit = wanted;
  RangeStream data(in_, block.file.data_at, block.file.packed_size);
  return decoder_.Decode(data, out, limit);
}

// Decodes what stands in front of `block` in its chain and was not decoded yet.
bool Chain::Reach(const Block& block) {
  if (block.at == start_) return true;
  Block passed;
  uint32_t at = begun_ ? last_.next : start_;
  for (; at < block.at; at = passed.next) {  // each turn raises it
    if (!ReadBlock(*in_, at, &passed)) return false;
    if (passed.type == kFile && passed.file.compressed() && (!Begin(passed) || !FinishLast())) return false;
  }
  return at == block.at || Refuse("rar: other blocks than before");
}

bool Chain::Begin(const Block& block) {
  const FileBlock& file = block.file;
  if (file.split() || file.encrypted() || !file.supported())
    return Refuse("rar: a chain of what is not read");
  const bool solid = block.at != start_;
  if (solid && !FinishLast()) return false;
  RangeStream data(in_, file.data_at, file.packed_size);
  begun_ = true;
  last_ = block;
  return decoder_.Begin(file.version == kVersion20 ? Method::kRar20 : Method::kRar29, solid,
                        file.unpacked_size, data);
}

bool Chain::FinishLast() {
  RangeStream data(in_, last_.file.data_at, last_.file.packed_size);
  const uint64_t before = in_->UnwantedLeft();
  uint64_t left = before;
  const bool finished = decoder_.Finish(data, &left);
  return in_->ChargeUnwanted(before - left) && finished;
}

}  // namespace brix::rar
