// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_blocks.cpp - what stands between the symbols: block headers with their code lengths, ends, and filters.
//
// Code lengths are differences to those of the block before, unless the header says that it begins anew, and are coded
// themselves by a small code. Codes may be incomplete: packers write such for few symbols.
//
// Bounds: counts of code lengths are the methods'; a run that would go on behind them is cut. A filter's declaration
// has at most 65,535 bytes.
#include <algorithm>
#include <cstring>
#include <new>

#include "core/refuse.h"
#include "decoders/rar/rar_decoder.h"

namespace brix {

namespace {

using rar::Method;

constexpr auto kMainSymbols20 = rar::MainSymbols<Method::kRar20>();
constexpr auto kMainSymbols29 = rar::MainSymbols<Method::kRar29>();
constexpr auto kDistanceSymbols = PlainSymbols<rar::kDistances29>();
constexpr auto kLowSymbols = PlainSymbols<rar::kLowDistances>();
constexpr auto kRepeatSymbols = rar::RepeatLengthSymbols();
constexpr auto kAudioSymbols = PlainSymbols<rar::kAudioSymbols>();
constexpr auto kPretreeSymbols = PlainSymbols<rar::kPretree29>();

// The pretree's symbols from 16 on are runs.
struct LengthRun {
  bool zeros;  // or of the length before
  uint8_t extra_bits;
  uint8_t least;
};
constexpr LengthRun kRuns20[] = {{false, 2, 3}, {true, 3, 3}, {true, 7, 11}};
constexpr LengthRun kRuns29[] = {{false, 3, 3}, {false, 7, 11}, {true, 3, 3}, {true, 7, 11}};

template <uint32_t kRootBits>
bool Build(std::span<const uint8_t> lengths, std::span<const uint32_t> symbols, std::span<uint32_t> entries) {
  HuffmanTable table{entries, kRootBits, kRootBits, true};
  return BuildHuffmanTable(lengths, symbols, BitOrder::kMsbFirst, &table) || Refuse("rar: code lengths");
}

}  // namespace

// A block of tables that could not be built is none: whoever goes on needs another header.
bool RarDecoder::ReadHeader() { return method_ == Method::kRar20 ? ReadHeader20() : ReadHeader29(); }

bool RarDecoder::ReadHeader20() {
  const bool is_audio = bits_.Read(1) != 0;
  if (bits_.Read(1) == 0) tables_->lengths.fill(0);
  uint32_t count = rar::kLengths20;
  if (is_audio) {
    if (audio_ == nullptr) {
      audio_.reset(new (std::nothrow) Audio);
      if (audio_ == nullptr) return false;
      audio_->Forget();
    }
    audio_->channel_count = bits_.Read(2) + 1;
    if (audio_->channel >= audio_->channel_count) audio_->channel = 0;
    count = rar::kAudioSymbols * audio_->channel_count;
  }
  std::array<uint8_t, rar::kPretree20> pretree;
  for (uint8_t& length : pretree) length = static_cast<uint8_t>(bits_.Read(4));
  const std::span<uint8_t> lengths(tables_->lengths.data(), count);
  if (!Build<rar::kPretreeRootBits>(pretree, kPretreeSymbols, tables_->pretree) || !ReadLengths(lengths)) {
    return false;
  }
  if (is_audio) {
    for (uint32_t i = 0; i < audio_->channel_count; ++i) {
      if (!Build<rar::kMainRootBits>(lengths.subspan(i * rar::kAudioSymbols, rar::kAudioSymbols),
                                     kAudioSymbols, audio_->tables[i])) {
        return false;
      }
    }
    block_ = Block::kAudio;
    return true;
  }
  rar::LzTables& lz = tables_->lz;
  const bool built = Build<rar::kMainRootBits>(lengths.first(rar::kMain20), kMainSymbols20, lz.main) &&
                     Build<rar::kDistanceRootBits>(lengths.subspan(rar::kMain20, rar::kDistances20),
                                                   kDistanceSymbols, lz.distance) &&
                     Build<rar::kRepeatRootBits>(lengths.last(rar::kLengths), kRepeatSymbols, lz.repeat);
  if (built) block_ = Block::kLz;
  return built;
}

bool RarDecoder::ReadHeader29() {
  bits_.SkipToByte();
  if (bits_.Read(1) != 0) return ReadPpmdHeader();
  memory_.low = memory_.low_run = 0;
  if (bits_.Read(1) == 0) tables_->lengths.fill(0);
  std::array<uint8_t, rar::kPretree29> pretree{};
  constexpr uint8_t kEscape = 15;  // a run of zeros, or, when that is empty, itself
  for (uint32_t i = 0; i < pretree.size(); ++i) {
    const auto length = static_cast<uint8_t>(bits_.Read(4));
    const uint32_t zeros = length == kEscape ? bits_.Read(4) : 0;
    if (zeros == 0) {
      pretree[i] = length;
    } else {
      i += zeros + 1;  // two more than it says, one of them this
    }
  }
  const std::span<uint8_t> lengths(tables_->lengths.data(), rar::kLengths29);
  rar::LzTables& lz = tables_->lz;
  constexpr uint32_t kLowAt = rar::kMain29 + rar::kDistances29;
  const bool built =
      Build<rar::kPretreeRootBits>(pretree, kPretreeSymbols, tables_->pretree) && ReadLengths(lengths) &&
      Build<rar::kMainRootBits>(lengths.first(rar::kMain29), kMainSymbols29, lz.main) &&
      Build<rar::kDistanceRootBits>(lengths.subspan(rar::kMain29, rar::kDistances29), kDistanceSymbols,
                                    lz.distance) &&
      Build<rar::kLowRootBits>(lengths.subspan(kLowAt, rar::kLowDistances), kLowSymbols, lz.low) &&
      Build<rar::kRepeatRootBits>(lengths.last(rar::kLengths), kRepeatSymbols, lz.repeat);
  if (built) block_ = Block::kLz;
  return built;
}

bool RarDecoder::ReadLengths(std::span<uint8_t> lengths) {
  const LengthRun* const runs = method_ == Method::kRar20 ? kRuns20 : kRuns29;
  for (size_t i = 0; i < lengths.size();) {  // each turn raises i
    bits_.Fill();
    const uint32_t entry = rar::Symbol<rar::kPretreeRootBits>(tables_->pretree.data(), bits_);
    if ((entry & kTableStop) != 0 || !bits_.ok()) return Refuse("rar: code lengths are cut");
    const uint32_t symbol = entry >> kTableValueShift;
    if (symbol < rar::kLengthModulus) {
      lengths[i] = static_cast<uint8_t>((lengths[i] + symbol) % rar::kLengthModulus);
      ++i;
      continue;
    }
    const LengthRun& run = runs[symbol - rar::kLengthModulus];
    if (!run.zeros && i == 0) return Refuse("rar: no code length to repeat");
    const size_t count = std::min<size_t>(run.least + bits_.Take(run.extra_bits), lengths.size() - i);
    std::memset(lengths.data() + i, run.zeros ? 0 : lengths[i - 1], count);
    i += count;
  }
  return bits_.ok() || Refuse("rar: code lengths are cut");
}

// The file goes on with new tables, or ends, with or without them.
bool RarDecoder::ReadEndOfBlock29() {
  const bool goes_on = bits_.Read(1) != 0;
  ended_ = !goes_on;
  if (goes_on || bits_.Read(1) != 0) block_ = Block::kHeader;
  return bits_.ok() || Refuse("rar: end of block is cut");
}

// A declaration's length stands in its first byte's low three bits, or in one or two bytes behind it.
bool RarDecoder::ReadFilter() {
  if (filters_ == nullptr) {
    filters_.reset(new (std::nothrow) rar::Filters);
    if (filters_ == nullptr) return false;
    filters_->Reset();
  }
  bool ok = true;
  const auto byte = [&]() -> uint32_t {
    if (block_ != Block::kPpmd) return bits_.Read(8);
    const int symbol = ppmd_->decoder.DecodeSymbol();
    ok = symbol >= 0;
    return static_cast<uint8_t>(symbol);
  };
  const uint32_t flags = byte();
  uint32_t size = (flags & 7) + 1;
  if (size == 7) {
    size = byte() + 7;
  } else if (size == 8) {
    size = byte() << 8;
    size |= byte();
  }
  for (uint32_t i = 0; i < size && ok && bits_.ok(); ++i) filters_->code()[i] = static_cast<uint8_t>(byte());
  if (!ok || !bits_.ok()) return Refuse("rar: filter declaration is cut");
  if (!filters_->Declare(flags, size, Position())) lost_ = true;
  return true;
}

}  // namespace brix
