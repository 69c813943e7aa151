// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_decoder.h - the decompressors of RAR 2.0 and RAR 2.9.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/memory_block.h"
#include "core/stream.h"
#include "decoders/msb_bits.h"
#include "decoders/rar/rar_audio.h"
#include "decoders/rar/rar_filters.h"
#include "decoders/rar/rar_loop.h"
#include "decoders/rar/rar_ppmd.h"
#include "decoders/rar/rar_tables.h"

namespace brix {

// Decodes one member after the other. A solid member goes on with the window, the code lengths and the filters'
// programs of the one before, which must have been decoded to its end; so a member is begun, decoded up to a limit,
// and, when a solid one follows, finished.
//
// Not a Decoder, since members are chained.
//
// Memory, kept from member to member: 58 KiB of input and tables; the window, which grows with the output to 4.1 MiB;
// 46 KiB more for sound blocks; 352 KiB of addresses for filters, of which little more than a block's size is touched;
// and for PPMd as many as a block asks for, up to 256 MiB, of which what the model reaches is.
class RarDecoder final {
 public:
  RarDecoder() = default;
  RarDecoder(const RarDecoder&) = delete;
  RarDecoder& operator=(const RarDecoder&) = delete;

  // Begins a member whose packed data are `in`'s and whose unpacked size the archive says is `size`. False: no memory.
  [[nodiscard]] bool Begin(rar::Method method, bool solid, uint32_t size, Stream& in);

  // Produces up to `*limit` bytes of the member that was begun, at offset 0 of `out`, once; `*limit`: what was
  // produced, also after a failure. The coded end of the data is success, too. `in`: as begun with.
  [[nodiscard]] bool Decode(Stream& in, Stream& out, uint32_t* limit);

  // Decodes the rest of the member, for the sake of the next, also when a failed write or a filter made Decode fail.
  // `*allowance` is lowered by what it costs, in bytes. False: damage, or not enough allowance; then no solid member
  // can follow.
  [[nodiscard]] bool Finish(Stream& in, uint64_t* allowance);

 private:
  enum class Block : uint8_t { kHeader, kLz, kAudio, kPpmd };

  // What every member needs.
  struct Tables {
    rar::LzTables lz;
    std::array<uint32_t, rar::Entries(rar::kPretreeRootBits, rar::kPretree29)> pretree;
    std::array<uint8_t, rar::kMostLengths> lengths;  // of the block before
  };
  struct Audio {
    std::array<rar::AudioTable, rar::kMostChannels> tables;
    std::array<rar::AudioChannel<5>, rar::kMostChannels> channels;
    std::array<uint32_t, rar::kMostChannels> counts;  // bytes of each channel
    uint32_t channel_count;
    uint32_t channel;  // of the next byte
    int32_t last_difference;

    void Forget();
  };

  void ForgetMembers();
  // Bytes decoded, as flushed_ counts them.
  [[nodiscard]] uint64_t Position() const { return lap_start_ + at_; }
  [[nodiscard]] bool MakeRoom();
  [[nodiscard]] bool DecodeSome();
  void BreakOff();
  template <rar::Method kMethod>
  [[nodiscard]] bool DecodeLz(uint32_t stop);
  [[nodiscard]] bool DecodeAudio(uint32_t stop);
  void EndMember20();

  // rar_blocks.cpp
  [[nodiscard]] bool ReadHeader();
  [[nodiscard]] bool ReadHeader20();
  [[nodiscard]] bool ReadHeader29();
  [[nodiscard]] bool ReadLengths(std::span<uint8_t> lengths);
  [[nodiscard]] bool ReadEndOfBlock29();
  [[nodiscard]] bool ReadFilter();

  // rar_ppmd.cpp
  [[nodiscard]] bool ReadPpmdHeader();
  [[nodiscard]] bool DecodePpmd(uint32_t stop);
  [[nodiscard]] bool CopyPpmdMatch(bool has_distance);

  [[nodiscard]] bool Flush(Stream& out, uint32_t wanted);
  [[nodiscard]] bool FlushPlain(uint64_t end, Stream& out, uint32_t wanted);
  [[nodiscard]] bool FlushFiltered(Stream& out, uint32_t wanted);
  [[nodiscard]] bool Write(std::span<const uint8_t> bytes, Stream& out, uint32_t wanted);
  // As much of [start, end) as stands together.
  [[nodiscard]] std::span<const uint8_t> Run(uint64_t start, uint64_t end) const;

  rar::Method method_ = rar::Method::kRar29;
  InputPiece input_;
  MsbBits bits_;
  std::unique_ptr<Tables> tables_;
  std::unique_ptr<Audio> audio_;
  std::unique_ptr<rar::Filters> filters_;
  std::unique_ptr<rar::Ppmd> ppmd_;
  rar::Memory memory_;
  Block block_ = Block::kHeader;
  uint8_t escape_ = rar::kFirstEscape;

  MemoryBlock ring_;
  uint32_t at_ = 0;         // in the ring, of the next byte
  uint32_t lap_ = 0;        // where the former lap ended; 0: this is the first
  uint64_t lap_start_ = 0;  // bytes decoded before this lap, of all members of a solid chain
  uint64_t flushed_ = 0;    // of all bytes decoded: delivered, or not wanted

  uint64_t member_start_ = 0;
  uint32_t size_ = 0;       // of the member
  uint32_t delivered_ = 0;  // of it
  bool ended_ = false;
  bool lost_ = false;    // the rest of its content is, by damage or a filter
  bool failed_ = false;  // and its symbols cannot be followed either
  uint64_t cost_ = 0;    // of what was decoded
};

}  // namespace brix
