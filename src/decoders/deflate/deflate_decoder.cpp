// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// deflate_decoder.cpp - the inflater's state between and around its loops (deflate_loop.h).
//
// Output is decoded into one linear buffer: up to a window of history, then the pending part, then slack that
// lets the loops overrun their bound. Pending bytes leave in large runs, cut at the caller's limit, which the
// loops never see; what was decoded beyond it waits for the next call. When the pending part is full and
// delivered, the last window of it moves to the front.
//
// Distances that reach before the first byte of the stream are refused, so the window is never cleared.
//
// Bounds: code length counts come from fields of 5, 5 and 4 bits; stored lengths are 16 bits wide and copied
// in pieces that fit the buffer. Every turn of DecodeSome consumes input bits, so an endless run of empty
// blocks ends with the input.
#include "decoders/deflate/deflate_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/refuse.h"
#include "decoders/deflate/deflate_loop.h"
#include "decoders/local_bits.h"

namespace brix {

namespace {

using deflate::BlockTables;
using deflate::LoopEnd;
using deflate::Output;

constexpr uint32_t kPendingWindows =
    3;  // room for pending output, in windows: keeps the slide below 2 % of the time

// Output leaves in runs of about this many bytes: large enough for files, small enough that the target's copy
// still finds it in the nearest caches (96 KiB at a time cost a fifth of the speed into memory).
constexpr uint32_t kRun = 32768;

constexpr auto kLitLenDeflate = deflate::LitLenSymbols(false);
constexpr auto kLitLenDeflate64 = deflate::LitLenSymbols(true);
constexpr auto kDistanceDeflate = deflate::DistanceSymbols(false);
constexpr auto kDistanceDeflate64 = deflate::DistanceSymbols(true);
constexpr auto kPrecode = deflate::PrecodeSymbols();

// The order in which a block header gives the code lengths of the code length code.
constexpr std::array<uint8_t, deflate::kPrecodeSymbols> kPrecodeOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                                         11, 4,  12, 3, 13, 2, 14, 1, 15};

LoopEnd FastLoopPlain(bool deflate64, const BlockTables& tables, LsbBitReader& in, Output& output) {
  return deflate64 ? deflate::FastLoop<true, false>(tables, in, output)
                   : deflate::FastLoop<false, false>(tables, in, output);
}

#ifdef __x86_64__
// BMI2 shifts by any register and cuts bit fields in one instruction each, about a fifth of all in the loop.
__attribute__((target("bmi2"))) LoopEnd FastLoopBmi2(bool deflate64, const BlockTables& tables,
                                                     LsbBitReader& in, Output& output) {
  return deflate64 ? deflate::FastLoop<true, true>(tables, in, output)
                   : deflate::FastLoop<false, true>(tables, in, output);
}

bool HasBmi2() { return __builtin_cpu_supports("bmi2") != 0; }
#else
constexpr auto FastLoopBmi2 = FastLoopPlain;
constexpr bool HasBmi2() { return false; }
#endif

}  // namespace

DeflateDecoder::DeflateDecoder(DeflateMode mode, uint32_t raw_stored_length)
    : mode_(mode), raw_stored_length_(raw_stored_length), has_bmi2_(HasBmi2()) {}

DeflateDecoder::~DeflateDecoder() = default;

bool DeflateDecoder::TakeMemory() {
  if (tables_ != nullptr) return true;
  const uint32_t window = deflate::WindowSize(deflate64());
  const uint32_t slack = 3 + deflate::MaxMatch(deflate64()) + kMatchSlack;
  std::unique_ptr<Tables> tables(new (std::nothrow) Tables);
  if (tables == nullptr || !input_.Allocate() || !buffer_.TryResize(window * (1 + kPendingWindows) + slack)) {
    return false;
  }
  tables_ = std::move(tables);
  Reset();
  return true;
}

void DeflateDecoder::Reset() {
  out_ = buffer_.data();
  ResetKeepingHistory(true);
}

void DeflateDecoder::ResetKeepingHistory(bool restart_output) {
  input_.Restart();
  block_state_ = BlockState::kHeader;
  final_block_ = ended_ = failed_ = false;
  stored_left_ = 0;
  RestartDelivery(restart_output);
}

bool DeflateDecoder::LendInput(std::span<const uint8_t> input) {
  if (!TakeMemory()) return false;
  input_.Lend(input.data(), static_cast<uint32_t>(input.size()));
  return true;
}

bool DeflateDecoder::DecodeMore(Stream& in, uint32_t wanted, uint32_t* added) {
  *added = 0;
  if (!TakeMemory()) return false;
  input_.Attach(&in);
  return DecodeMore(wanted, added);
}

bool DeflateDecoder::DecodeMore(uint32_t wanted, uint32_t* added) {
  *added = 0;
  if (!failed_ && !ended_) {
    Slide();
    const uint8_t* const before = out_;
    failed_ = !DecodeSome(wanted);
    *added = static_cast<uint32_t>(out_ - before);
  }
  return *added != 0 || !failed_;
}

void DeflateDecoder::ForgetLast(uint32_t count) { out_ -= count; }

bool DeflateDecoder::AppendZeros(uint32_t count) {
  if (!TakeMemory()) return false;
  const uint32_t window = deflate::WindowSize(deflate64());
  uint8_t* const front = buffer_.data();
  if (front + window * (1 + kPendingWindows) - out_ < static_cast<ptrdiff_t>(count)) {
    std::memmove(front, out_ - window, window);
    out_ = front + window;
  }
  std::memset(out_, 0, count);
  out_ += count;
  return true;
}

void DeflateDecoder::Slide() {
  const uint32_t window = deflate::WindowSize(deflate64());
  uint8_t* const front = buffer_.data();
  if (out_ < front + window * (1 + kPendingWindows)) return;
  std::memmove(front, out_ - window, window);
  out_ = front + window;
}

bool DeflateDecoder::DecodeSome(uint32_t wanted) {
  uint8_t* const room_end = buffer_.data() + deflate::WindowSize(deflate64()) * (1 + kPendingWindows);
  uint8_t* const out_stop = out_ + std::min<size_t>({wanted, kRun, static_cast<size_t>(room_end - out_)});
  while (out_ < out_stop) {
    bool ok = false;
    switch (block_state_) {
      case BlockState::kHeader:
        if (final_block_) {
          ended_ = true;
          return true;
        }
        ok = ReadBlockHeader();
        break;
      case BlockState::kStored:
        ok = CopyStored(out_stop);
        break;
      case BlockState::kFixed:
      case BlockState::kDynamic:
        ok = DecodeCoded(out_stop);
        break;
    }
    if (!ok) return false;
  }
  return true;
}

bool DeflateDecoder::ReadBlockHeader() {
  final_block_ = input_.Read(1) != 0;
  const uint32_t type = input_.Read(2);
  if (!input_.ok()) return Refuse("deflate: input ends before a block header");
  switch (type) {
    case 0:
      return ReadStoredHeader();
    case 1:
      block_state_ = BlockState::kFixed;
      return BuildFixedTables();
    case 2:
      block_state_ = BlockState::kDynamic;
      return ReadDynamicTables();
    default:
      return Refuse("deflate: block type 3");
  }
}

bool DeflateDecoder::ReadStoredHeader() {
  input_.AlignToByte();
  const uint32_t length = input_.Read(16);
  if (raw_stored_length_ == kFindStoredForm) {
    input_.Refill();
    raw_stored_length_ = input_.Peek(16) == (length ^ 0xFFFF) ? 0 : 1;
  }
  const uint32_t complement = raw_stored_length_ != 0 ? length ^ 0xFFFF : input_.Read(16);
  if (!input_.ok()) return Refuse("deflate: input ends inside a stored block's header");
  if (complement != (length ^ 0xFFFF)) return Refuse("deflate: stored length and its complement differ");
  input_.AlignToByte();
  stored_left_ = length;
  block_state_ = length == 0 ? BlockState::kHeader : BlockState::kStored;
  return true;
}

bool DeflateDecoder::CopyStored(const uint8_t* out_stop) {
  const uint32_t wanted = std::min(stored_left_, static_cast<uint32_t>(out_stop - out_));
  const uint32_t copied = input_.CopyBytes(out_, wanted);
  out_ += copied;
  stored_left_ -= copied;
  if (copied != wanted) return Refuse("deflate: input ends inside a stored block");
  if (stored_left_ == 0) block_state_ = BlockState::kHeader;
  return true;
}

bool DeflateDecoder::DecodeCoded(uint8_t* out_stop) {
  const BlockTables& tables = block_state_ == BlockState::kFixed ? tables_->fixed : tables_->dynamic;
  Output output{buffer_.data(), out_, out_stop};
  LoopEnd end = LoopEnd::kInputLow;
  while (end == LoopEnd::kInputLow) {
    if (input_.FillPiece()) {
      end = has_bmi2_ ? FastLoopBmi2(deflate64(), tables, input_, output)
                      : FastLoopPlain(deflate64(), tables, input_, output);
    } else {
      end = deflate64() ? deflate::CarefulLoop<true>(tables, input_, output)
                        : deflate::CarefulLoop<false>(tables, input_, output);
    }
  }
  out_ = output.out;
  if (end == LoopEnd::kBad)
    return Refuse("deflate: bad symbol, bad distance or the end of the input in a block");
  if (end == LoopEnd::kBlockEnd) block_state_ = BlockState::kHeader;
  return true;
}

bool DeflateDecoder::BuildFixedTables() {
  if (tables_->fixed_built) return true;
  std::array<uint8_t, deflate::kLitLenSymbols> litlen;
  std::fill_n(litlen.begin(), 144, uint8_t{8});
  std::fill_n(litlen.begin() + 144, 112, uint8_t{9});
  std::fill_n(litlen.begin() + 256, 24, uint8_t{7});
  std::fill_n(litlen.begin() + 280, 8, uint8_t{8});
  std::array<uint8_t, deflate::kDistanceSymbols> distance;
  distance.fill(5);
  tables_->fixed_built = BuildTables(litlen.data(), deflate::kLitLenSymbols, distance.data(),
                                     deflate::kDistanceSymbols, &tables_->fixed);
  return tables_->fixed_built;
}

bool DeflateDecoder::ReadDynamicTables() {
  const uint32_t litlen_symbols = input_.Read(5) + 257;
  const uint32_t distance_symbols = input_.Read(5) + 1;
  const uint32_t precode_symbols = input_.Read(4) + 4;
  // Room for a run that starts at the last code; it is refused after it was written.
  std::array<uint8_t, deflate::kLitLenSymbols + deflate::kDistanceSymbols + deflate::kLongestRun> lengths;
  static_assert((1 << 5) - 1 + 257 <= deflate::kLitLenSymbols && 1 << 5 <= deflate::kDistanceSymbols);

  ++tables_built_;
  std::array<uint8_t, deflate::kPrecodeSymbols> precode{};
  for (uint32_t i = 0; i < precode_symbols; ++i)
    precode[kPrecodeOrder[i]] = static_cast<uint8_t>(input_.Read(3));
  if (!input_.ok()) return Refuse("deflate: input ends inside a block header");
  // The tables of the block serve as room for the table of its header.
  HuffmanTable table{tables_->dynamic.litlen, deflate::kPrecodeRootBits, deflate::kPrecodeRootBits};
  if (!BuildHuffmanTable(precode, kPrecode, BitOrder::kLsbFirst, &table)) {
    return Refuse("deflate: bad code length code");
  }
  if (!ReadCodeLengths(litlen_symbols + distance_symbols, lengths.data())) return false;
  if (lengths[deflate::kEndOfBlock] == 0) return Refuse("deflate: no code for the end of the block");
  return BuildTables(lengths.data(), litlen_symbols, lengths.data() + litlen_symbols, distance_symbols,
                     &tables_->dynamic);
}

// The run-length coded code lengths of a dynamic block, decoded with the table that stands in the dynamic
// tables. May write one run behind `symbols`.
bool DeflateDecoder::ReadCodeLengths(uint32_t symbols, uint8_t* lengths) {
  const uint32_t* const table = tables_->dynamic.litlen.data();
  constexpr uint32_t kSymbolsARefill = 4;  // a code of at most 7 bits and 7 more, out of 56
  LocalBits bits(input_);
  uint32_t i = 0;
  while (i < symbols) {  // each turn raises i
    bits.Refill();
    for (uint32_t n = 0; n < kSymbolsARefill && i < symbols; ++n) {
      const uint64_t saved = bits.bits();
      const uint32_t entry = table[saved & deflate::kPrecodeMask];
      bits.Drop(entry & 63);
      if (entry & kTableLiteral) {
        lengths[i++] = static_cast<uint8_t>(entry >> kTableValueShift);
        continue;
      }
      if ((entry & kTableInvalid) == kTableInvalid) return Refuse("deflate: bad code length symbol");
      const bool repeats_last = (entry & deflate::kRepeatsLast) != 0;
      if (repeats_last && i == 0) return Refuse("deflate: no code length to repeat");
      const uint32_t run = (entry >> kTableValueShift) + deflate::ExtraBits<false>(saved, entry);
      // Most runs are short: 16 lengths are stored whatever the run is, for which there is room.
      std::memset(lengths + i, repeats_last ? lengths[i - 1] : 0, 16);
      if (run > 16) std::memset(lengths + i + 16, 0, run - 16);
      i += run;
    }
  }
  bits.Store();
  if (!input_.ok()) return Refuse("deflate: input ends inside a block header");
  return i == symbols || Refuse("deflate: too many code lengths");
}

bool DeflateDecoder::BuildTables(const uint8_t* litlen_lengths, uint32_t litlen_symbols,
                                 const uint8_t* distance_lengths, uint32_t distance_symbols,
                                 BlockTables* tables) const {
  HuffmanTable litlen{tables->litlen, deflate::kLitLenRootBits, deflate::kLitLenRootBits};
  HuffmanTable distance{tables->distance, deflate::kDistanceRootBits, deflate::kDistanceRootBits};
  if (!BuildHuffmanTable({litlen_lengths, litlen_symbols}, deflate64() ? kLitLenDeflate64 : kLitLenDeflate,
                         BitOrder::kLsbFirst, &litlen) ||
      !BuildHuffmanTable({distance_lengths, distance_symbols},
                         deflate64() ? kDistanceDeflate64 : kDistanceDeflate, BitOrder::kLsbFirst,
                         &distance)) {
    return Refuse("deflate: over-subscribed or incomplete code");
  }
  return true;
}

}  // namespace brix
