// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// lzx_decoder.cpp - LZX's blocks, trees and units, around the loops of lzx_loop.h.
//
// Output is decoded into a ring of the window and one unit. Units of 32,768 bytes tile the ring, so none of them
// wraps, and copies that overrun a match only spoil bytes that are older than any distance reaches. Shorter units
// may come to the ring's end; those go through the careful loop. A unit is lent from the ring, or from a copy when
// it wraps or its call instructions are translated: the window holds what was decoded, untranslated.
//
// Kept: a match may not end behind its request, although it could behind the end of a help file's frame. The
// translation works on requests, too, not on 32,768-byte frames, and does not stop at any position.
//
// Bounds: every block costs at least 27 bits of its unit's input, so that empty blocks end with it. Block sizes are
// 24 bits wide and only counted down. Distances are at most the window size: those of slots because a tree has no
// more slots than the window needs, those in the header of an uncompressed block because they are wrapped.
#include "decoders/lzx/lzx_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "core/byte_order.h"
#include "core/refuse.h"
#include "decoders/lzx/lzx_loop.h"

namespace brix {

namespace {

using lzx::Bits;
using lzx::BlockType;
using lzx::Output;
using lzx::Tables;

constexpr auto kMainSymbols = lzx::MainSymbols();
constexpr auto kLengthSymbols = lzx::LengthSymbols();
constexpr auto kAlignedSymbols = PlainSymbols<lzx::kAlignedSymbols>();
constexpr auto kPretreeSymbols = PlainSymbols<lzx::kPretreeSymbols>();

// Pretree symbols: up to 16 a difference of lengths, then runs.
constexpr uint32_t kLengthModulus = 17;
constexpr uint32_t kZerosShort = 17;
constexpr uint32_t kZerosLong = 18;

// An instruction is translated only where this many bytes of the request begin with it.
constexpr uint32_t kLeastTranslated = 11;

bool Build(std::span<const uint8_t> lengths, std::span<const uint32_t> symbols, uint32_t root_bits,
           std::span<uint32_t> entries, uint32_t* shift) {
  HuffmanTable table{entries, root_bits};
  if (!BuildHuffmanTable(lengths, symbols, BitOrder::kMsbFirst, &table)) return Refuse("lzx: code lengths");
  *shift = 64 - table.root_bits;
  return true;
}

}  // namespace

LzxDecoder::LzxDecoder(uint32_t window_bits, uint32_t resettable)
    : window_bits_(window_bits), resettable_(resettable) {}

LzxDecoder::~LzxDecoder() = default;

bool LzxDecoder::Reset() {
  if (resettable_ == 0) return Refuse("lzx: no reset points");
  ClearTrees();
  repeated_ = {1, 1, 1};
  block_type_ = BlockType::kNone;
  block_size_ = block_left_ = 0;
  pad_pending_ = failed_ = false;
  return true;
}

void LzxDecoder::ClearTrees() {
  header_read_ = false;
  if (tables_ == nullptr) return;
  tables_->main_lengths.fill(0);
  tables_->length_lengths.fill(0);
}

bool LzxDecoder::TakeMemory() {
  if (tables_ != nullptr) return true;
  if (window_bits_ < lzx::kLeastWindowBits || window_bits_ > lzx::kMostWindowBits) {
    return Refuse("lzx: window size");
  }
  std::unique_ptr<Tables> tables(new (std::nothrow) Tables);
  ring_bytes_ = (1u << window_bits_) + kMostOutput;
  if (tables == nullptr || !ring_.TryResize(ring_bytes_ + kMatchSlack)) return false;
  main_symbols_ = lzx::kLiterals + 8 * lzx::kSlots[window_bits_ - lzx::kLeastWindowBits];
  tables_ = std::move(tables);
  ClearTrees();
  return true;
}

bool LzxDecoder::DecodeBlock(std::span<uint8_t> packed, bool odd_words, uint32_t expected,
                             std::span<const uint8_t>* out) {
  *out = {};
  if (failed_ || expected > kMostOutput || !TakeMemory()) return false;
  failed_ = true;
  std::memset(packed.data() + packed.size(), 0, kSlack);
  const uint32_t start = position_;
  if (!Produce(packed, odd_words, expected)) {
    position_ = start;
    return false;
  }
  const bool wraps = expected > ring_bytes_ - start;
  const uint32_t e8_position = e8_position_;
  e8_position_ += expected;  // wraps
  const uint8_t* bytes = ring_.data() + start;
  if (wraps || (e8_size_ != 0 && expected >= kLeastTranslated)) {
    if (!translated_.TryResize(kMostOutput)) return false;
    const uint32_t run = std::min(expected, ring_bytes_ - start);
    std::memcpy(translated_.data(), bytes, run);
    std::memcpy(translated_.data() + run, ring_.data(), expected - run);
    bytes = translated_.data();
    Translate({translated_.data(), expected}, e8_position);
  }
  *out = {bytes, expected};
  failed_ = false;
  return true;
}

bool LzxDecoder::Produce(std::span<uint8_t> packed, bool odd_words, uint32_t expected) {
  if (expected == 0) return true;
  // Words follow each other through the units: inside an uncompressed block, or behind one whose padding has not
  // come yet, the unit's first byte tells by itself whether it is the second half of a word.
  if (pad_pending_) {
    odd_words = true;
  } else if (block_type_ == BlockType::kUncompressed && block_left_ != 0) {
    odd_words = (block_size_ - block_left_) % 2 != 0;
  }
  Bits in(packed.data(), packed.data() + packed.size(), odd_words);
  if (pad_pending_) in.SkipByte();
  pad_pending_ = false;
  if (!header_read_) {
    e8_size_ = in.Read(1) != 0 ? in.Read(32) : 0;
    header_read_ = true;
  }
  while (expected != 0) {
    if (block_left_ == 0 && !ReadBlockHeader(in)) return false;
    const uint32_t chunk = std::min(expected, block_left_);
    if (chunk == 0) continue;  // an empty block
    if (!(block_type_ == BlockType::kUncompressed ? CopyRaw(in, chunk) : DecodeSymbols(in, chunk)))
      return false;
    expected -= chunk;
    block_left_ -= chunk;
    if (block_type_ == BlockType::kUncompressed && block_left_ == 0 && in.inside_word()) {
      pad_pending_ = in.at_end();
      in.SkipByte();
    }
  }
  return true;
}

bool LzxDecoder::ReadBlockHeader(Bits& in) {
  block_type_ = static_cast<BlockType>(in.Read(3));
  block_size_ = block_left_ = in.Read(24);
  if (!in.ok()) return Refuse("lzx: input ended in a block header");
  switch (block_type_) {
    case BlockType::kVerbatim:
    case BlockType::kAligned:
      return ReadTrees(in);
    case BlockType::kUncompressed:
      break;
    default:
      return Refuse("lzx: no such block type");
  }
  in.SkipToWord();
  const uint8_t* const offsets = in.Raw(12);
  if (offsets == nullptr) return Refuse("lzx: input ended in an uncompressed block");
  // In a circular window an offset counts by its rest; a rest of 0 is the oldest byte.
  for (uint32_t i = 0; i < 3; ++i) {
    repeated_[i] = ((LoadLe32(offsets + 4 * i) - 1) & ((1u << window_bits_) - 1)) + 1;  // wraps
  }
  return true;
}

bool LzxDecoder::ReadTrees(Bits& in) {
  Tables& t = *tables_;
  if (block_type_ == BlockType::kAligned) {
    std::array<uint8_t, lzx::kAlignedSymbols> lengths;
    for (uint8_t& length : lengths) length = static_cast<uint8_t>(in.Read(3));
    if (!Build(lengths, kAlignedSymbols, lzx::kAlignedRootBits, t.aligned, &t.aligned_shift)) return false;
  }
  const std::span<uint8_t> main(t.main_lengths.data(), main_symbols_);
  return ReadLengths(in, main.first(lzx::kLiterals)) && ReadLengths(in, main.subspan(lzx::kLiterals)) &&
         Build(main, kMainSymbols, lzx::kMainRootBits, t.main, &t.main_shift) &&
         ReadLengths(in, t.length_lengths) &&
         Build(t.length_lengths, kLengthSymbols, lzx::kLengthRootBits, t.length, &t.length_shift);
}

// Reads code lengths as differences from those that stand there. A run that would go on behind them is cut.
bool LzxDecoder::ReadLengths(Bits& in, std::span<uint8_t> lengths) {
  Tables& t = *tables_;
  std::array<uint8_t, lzx::kPretreeSymbols> pretree;
  for (uint8_t& length : pretree) length = static_cast<uint8_t>(in.Read(4));
  if (!Build(pretree, kPretreeSymbols, lzx::kPretreeRootBits, t.pretree, &t.pretree_shift)) return false;
  const uint32_t* const table = t.pretree.data();
  const auto read_symbol = [&] {  // needs 15 bits
    const uint32_t entry = Resolve(table, table[in.bits >> t.pretree_shift], in);
    in.Drop(entry);
    return (entry & kTableStop) != 0 ? UINT32_MAX : entry >> kTableValueShift;
  };
  for (uint32_t i = 0; i < lengths.size();) {
    if (in.next > in.stop()) return Refuse("lzx: input ended in a tree");
    in.Refill();
    uint32_t symbol = read_symbol();
    uint32_t run = 1;
    uint8_t value = 0;
    if (symbol == kZerosShort) {
      run = 4 + in.Take(4);
    } else if (symbol == kZerosLong) {
      run = 20 + in.Take(5);
    } else {
      if (symbol > kZerosLong && symbol != UINT32_MAX) {
        run = 4 + in.Take(1);
        symbol = read_symbol();
      }
      if (symbol >= kLengthModulus) return Refuse("lzx: no such code length");
      value = static_cast<uint8_t>((lengths[i] + kLengthModulus - symbol) % kLengthModulus);
    }
    run = std::min(run, static_cast<uint32_t>(lengths.size()) - i);
    std::memset(lengths.data() + i, value, run);
    i += run;
  }
  return in.ok() || Refuse("lzx: input ended in a tree");
}

bool LzxDecoder::DecodeSymbols(Bits& in, uint32_t count) {
  Output output{ring_.data(), ring_bytes_, position_, ring_full_, &repeated_};
  const bool aligned = block_type_ == BlockType::kAligned;
  if (count >= 3 && count <= ring_bytes_ - position_ &&
      !(aligned ? lzx::FastLoop<true>(*tables_, in, output, &count)
                : lzx::FastLoop<false>(*tables_, in, output, &count))) {
    return Refuse("lzx: symbol");
  }
  if (!(aligned ? lzx::CarefulLoop<true>(*tables_, in, output, count)
                : lzx::CarefulLoop<false>(*tables_, in, output, count))) {
    return Refuse("lzx: symbol");
  }
  MoveTo(output.position, output.ring_full);
  return in.ok() || Refuse("lzx: input ended");
}

void LzxDecoder::MoveTo(uint32_t position, bool ring_full) {
  const bool at_end = position == ring_bytes_;
  position_ = at_end ? 0 : position;
  ring_full_ = ring_full || at_end;
}

bool LzxDecoder::CopyRaw(Bits& in, uint32_t count) {
  const uint8_t* const bytes = in.Raw(count);
  if (bytes == nullptr) return Refuse("lzx: input ended in an uncompressed block");
  const uint32_t run = std::min(count, ring_bytes_ - position_);
  std::memcpy(ring_.data() + position_, bytes, run);
  if (run != count) {
    std::memcpy(ring_.data(), bytes + run, count - run);
    MoveTo(count - run, true);
  } else {
    MoveTo(position_ + run, ring_full_);
  }
  return true;
}

// Turns the absolute targets of call instructions (E8) back into relative ones.
void LzxDecoder::Translate(std::span<uint8_t> bytes, uint32_t position) const {
  if (e8_size_ == 0 || bytes.size() < kLeastTranslated) return;
  const uint32_t end = static_cast<uint32_t>(bytes.size()) - (kLeastTranslated - 1);
  for (uint32_t i = 0; i < end;) {
#ifdef __SSE2__
    // The reads stay inside the buffer: `end` stops 10 bytes short of its content.
    if (end - i >= 16) {
      const __m128i found = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(&bytes[i])),
                                           _mm_set1_epi8(static_cast<char>(0xE8)));
      const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(found));
      if (mask == 0) {
        i += 16;
        continue;
      }
      i += static_cast<uint32_t>(std::countr_zero(mask));
    }
#endif
    if (bytes[i] != 0xE8) {
      ++i;
      continue;
    }
    uint8_t* const operand = &bytes[i + 1];
    const int64_t target = static_cast<int32_t>(LoadLe32(operand));
    const int64_t size = e8_size_;
    const int64_t here = uint32_t{position + i};  // wraps
    uint32_t value = LoadLe32(operand);
    if (-here <= target && target < 0) {
      value += e8_size_;  // wraps
    } else if (target >= 0 && target < size) {
      value -= position + i;  // wraps
    }
    std::memcpy(operand, &value, sizeof value);
    i += 5;
  }
}

}  // namespace brix
