// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// cabinet_folder.h - a folder's data blocks as a range of bytes.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "core/decoder_input.h"
#include "core/memory_block.h"
#include "core/stream.h"
#include "formats/microsoft/cabinet/cabinet_format.h"
#include "formats/microsoft/cabinet/cabinet_methods.h"
#include "formats/microsoft/cabinet/passed_blocks.h"

namespace brix::cabinet {

// What a folder entry says.
struct FolderEntry {
  uint32_t first_block = 0;  // offset in the input
  uint32_t block_count = 0;
  uint32_t type = 0;  // method and window bits
};

// The folder that extraction stands in; it serves one after the other, so that a table of 65,535 of them costs
// nothing.
class CabinetFolder {
 public:
  // block_reserve  bytes between a block's header and its data.
  void SetInput(DecoderInput* in, uint32_t block_reserve) {
    in_ = in;
    reserve_ = block_reserve;
  }

  // Moves to another folder.
  void Enter(const FolderEntry& entry) {
    entry_ = entry;
    decoding_ = false;
    passed_.Clear();
  }

  // Copies `*length` bytes from `offset` of the folder on to `out`; `*length` receives how many came. Fewer, with
  // true, when an empty block ends the folder. False: damage, the last block came too early, a failed write, or no
  // memory. A later call for what lies at or behind the damage goes on from there where the method allows that.
  [[nodiscard]] bool Read(uint32_t offset, uint32_t* length, Stream& out);

 private:
  static constexpr uint64_t kNowhere = UINT64_MAX;

  [[nodiscard]] bool Stored() const { return (entry_.type & kMethodMask) == kStored; }
  [[nodiscard]] bool Lend(uint32_t offset, uint32_t wanted, std::span<const uint8_t>* run);
  [[nodiscard]] bool Restart();
  [[nodiscard]] bool NextBlock();
  [[nodiscard]] bool ReadHeader();
  [[nodiscard]] bool Decode();
  [[nodiscard]] bool ReadPacked(uint32_t data_at, std::span<uint8_t>* packed);

  DecoderInput* in_ = nullptr;
  uint32_t reserve_ = 0;
  FolderEntry entry_;
  bool decoding_ = false;     // the fields below describe a block; else the next read begins at the first
  bool lost_ = false;         // nothing behind this block can be found or decoded
  bool keep_passed_ = false;  // the folder was gone back in
  bool ready_ = false;        // the block was decoded, or an attempt made
  uint32_t block_index_ = 0;
  uint32_t block_start_ = 0;        // offset in the folder
  uint32_t block_at_ = 0;           // its header's offset in the input
  uint32_t packed_size_ = 0;        // as the header says
  uint32_t plain_size_ = 0;         // as the header says; 0 ends the folder
  std::span<const uint8_t> plain_;  // less when the block is damaged
  uint64_t header_at_ = kNowhere;   // offset in the input that header_ was read from
  std::array<uint8_t, kBlockBytes> header_{};
  MemoryBlock packed_;  // a block's packed bytes, then slack
  PassedBlocks passed_;
  BlockDecoders decoders_;
};

}  // namespace brix::cabinet
