// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_folder.cpp - turns one folder, a run of data blocks, into a readable range of bytes.
//
// A folder is one compressed stream cut into blocks of at most 32,768 bytes of output; a member is a slice of it.
// The decoder and its last block are kept, so members in stored order cost one pass, and members within one block
// nothing more. There are no seek points: an earlier block costs a restart at the first. Blocks of the stored
// method are only counted on the way, not read.
//
// A block is read whole, with the next block's header in the same read, and its output goes from where the decoder
// has it straight to the target.
//
// Kept: checksums are not read, so damage shows only as a failed or short decoding. A folder's first block is read
// even when the folder is said to have none. A block of no output ends its folder, with success. Where a block's data
// begin turns LZX's 16-bit words around, by an expression that looks at the folder's first offset, too.
//
// Bounds: a block's sizes are checked before anything is read (38,912 in, 32,768 out). Block counts are 16 bits
// wide, so one pass yields less than 2 GiB and offsets in the folder do not wrap; offsets in the input are checked
// sums.
//
// Cost: 39 KiB and the decoder; another 1 MiB once a member stood before the one read last (passed_blocks.h). One
// call makes at most one pass over the folder, whatever the member's offset. A hostile file may list members in an
// order that costs a pass for each; the allowance of the container's input ends that.
#include "formats/microsoft/cabinet/cabinet_folder.h"

#include <algorithm>

#include "core/byte_order.h"
#include "core/field_reader.h"
#include "core/refuse.h"

namespace brix::cabinet {

bool CabinetFolder::Read(uint32_t offset, uint32_t* length, Stream& out) {
  const uint32_t wanted = *length;
  *length = 0;
  const bool before = decoding_ && offset < block_start_ && passed_.Find(offset).empty();
  if (before && !in_->ChargeUnwanted(block_start_)) return false;
  if ((!decoding_ || before) && !Restart()) return false;
  // Ends by the block count.
  for (;;) {
    std::span<const uint8_t> run;
    if (!Lend(offset, wanted - *length, &run)) return false;
    if (!run.empty() && !WriteExact(out, *length, run.data(), static_cast<uint32_t>(run.size())))
      return false;
    offset += static_cast<uint32_t>(run.size());
    *length += static_cast<uint32_t>(run.size());
    if (*length == wanted || (plain_size_ == 0 && !lost_ && offset >= block_start_)) return true;
    if (run.empty() && !NextBlock()) return false;
  }
}

// What one block has at an offset, at most `wanted` bytes: none when it lies behind the current block.
bool CabinetFolder::Lend(uint32_t offset, uint32_t wanted, std::span<const uint8_t>* run) {
  if (offset < block_start_) {
    *run = passed_.Find(offset);  // the passed ones that are kept reach to the current block
    *run = run->first(std::min<size_t>(run->size(), wanted));
    return !run->empty();
  }
  const uint32_t into = offset - block_start_;
  *run = {};
  if (into >= plain_size_) return true;
  if (!ready_ && !Decode()) return false;
  const uint32_t size = std::min(plain_size_ - into, wanted);
  if (!Fits(into, size, static_cast<uint32_t>(plain_.size())))
    return Refuse("cabinet: inside a damaged block");
  *run = plain_.subspan(into, size);
  return true;
}

bool CabinetFolder::Restart() {
  keep_passed_ = decoding_ && !Stored();
  passed_.Clear();
  decoding_ = false;
  const uint32_t window_bits = std::min(entry_.type >> kWindowBitsShift, kMaxWindowBits);
  if (!packed_.TryResize(kMaxPacked + kBlockBytes + BlockDecoders::kSlack) ||
      !decoders_.Start(entry_.type & kMethodMask, window_bits)) {
    return false;
  }
  decoding_ = true;
  lost_ = false;
  block_index_ = 0;
  block_start_ = 0;
  block_at_ = entry_.first_block;
  return ReadHeader();
}

bool CabinetFolder::NextBlock() {
  if (lost_) return Refuse("cabinet: behind a block that was lost");
  if (block_index_ + 1 >= entry_.block_count) return Refuse("cabinet: the folder has no more blocks");
  uint32_t next = block_at_;
  if (!CheckedAdd(&next, kBlockBytes + reserve_ + packed_size_)) return Refuse("cabinet: block out of range");
  if (keep_passed_ && plain_.size() == plain_size_) passed_.Keep(block_start_, plain_);
  ++block_index_;
  block_start_ += plain_size_;
  block_at_ = next;
  return ReadHeader();
}

// Reads the header at block_at_, and decodes the block unless that can wait.
bool CabinetFolder::ReadHeader() {
  plain_ = {};
  ready_ = false;
  packed_size_ = plain_size_ = 0;
  if (header_at_ != block_at_) {
    lost_ = !FieldReader(*in_, block_at_).Bytes(0, header_.data(), kBlockBytes);
    if (lost_) {
      passed_.Clear();
      return Refuse("cabinet: block header is cut");
    }
    header_at_ = block_at_;
  }
  packed_size_ = LoadLe16(header_.data() + kBlockPackedAt);
  plain_size_ = LoadLe16(header_.data() + kBlockPlainAt);
  if (plain_size_ == 0) {  // ends the folder, unless the block cannot be one
    lost_ = packed_size_ > kMaxPacked;
    if (!lost_) return true;
    passed_.Clear();
    return Refuse("cabinet: too much input in a block");
  }
  if (Stored() && packed_size_ >= plain_size_ && packed_size_ <= kMaxPacked && plain_size_ <= kMaxPlain)
    return true;
  return Decode();
}

bool CabinetFolder::Decode() {
  ready_ = true;
  const bool sizes_ok = plain_size_ <= kMaxPlain && packed_size_ <= kMaxPacked;
  uint32_t data_at = block_at_;
  std::span<uint8_t> packed;
  if (sizes_ok && CheckedAdd(&data_at, kBlockBytes + reserve_) && ReadPacked(data_at, &packed)) {
    // Kept: this very expression chooses which byte of a pair begins a word.
    const bool even_words = ((~entry_.first_block ^ data_at) & 1) != 0;
    const bool ok = decoders_.Decode(packed, !even_words, plain_size_, &plain_);
    in_->ChargeTables(decoders_.TakeTablesBuilt());
    if (ok) return true;
  }
  passed_.Clear();  // a later read that goes back shall meet the damage again
  lost_ = !decoders_.PassOver(static_cast<uint32_t>(plain_.size()), plain_size_);
  return Refuse("cabinet: damaged block");
}

// Reads the block's packed bytes, as many as there are, and the header of the next block behind them.
bool CabinetFolder::ReadPacked(uint32_t data_at, std::span<uint8_t>* packed) {
  uint32_t got = 0;
  const uint32_t asked = packed_size_ + kBlockBytes;
  if (!in_->ReadAt(data_at, packed_.data(), asked, &got) || got > asked) {
    return Refuse("cabinet: block cannot be read");
  }
  header_at_ = kNowhere;
  if (got == asked) {
    std::copy_n(packed_.data() + packed_size_, kBlockBytes, header_.data());
    header_at_ = uint64_t{data_at} + packed_size_;
  }
  *packed = {packed_.data(), std::min(got, packed_size_)};
  return true;
}

}  // namespace brix::cabinet
