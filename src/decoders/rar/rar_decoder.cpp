// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// rar_decoder.cpp - members, the ring and its delivery, around the loops of rar_loop.h.
//
// Output is decoded into a ring, in runs that the loops end at, and leaves from there in as large ones. The ring grows
// with what is decoded until it holds a window; a header's dictionary size is not looked at, since both methods keep
// their distances inside it. The window holds what was decoded, unfiltered. Without a filter waiting a run is written
// as it stands; a filter's block is copied out when it is whole, and holds back the output until then, at most its 256
// KiB.
//
// The 2.9 method marks a member's end, and says there whether the next one brings tables; the 2.0 method does not: its
// members end by their size, which no fast turn may pass, and tables for the next may stand behind.
//
// Kept: a mark before the stated size is the end of the member, and no failure. Output behind the stated size joins the
// window for the next member.
//
// Bounds: every turn takes bits of the input, blocks without output too. Distances are checked by the loops.
#include "decoders/rar/rar_decoder.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/refuse.h"

namespace brix {

namespace {

using rar::LoopEnd;
using rar::Method;

constexpr uint32_t kRun = 32768;  // about as much is decoded before it is delivered
// A lap ends when it has come here. Sources stand at most a window back, so more than a turn behind the next byte.
constexpr uint32_t kSoftEnd = rar::kWindow + 2 * kRun;
constexpr uint32_t kRingBytes = kSoftEnd + rar::kTurn;
constexpr uint32_t kPpmdCost = 16;  // how much longer than others its bytes take
constexpr uint32_t kFirstRingBytes = 2 * kRun + rar::kTurn;
static_assert(kSoftEnd - rar::kWindow > rar::kTurn);
// Output that a filter holds back is not yet written over.
static_assert(rar::kFilterMemory + kRun + rar::kTurn < rar::kWindow);

}  // namespace

void RarDecoder::Audio::Forget() {
  channels = {};
  counts = {};
  channel_count = 1;
  channel = 0;
  last_difference = 0;
}

void RarDecoder::ForgetMembers() {
  memory_ = {};
  block_ = Block::kHeader;
  escape_ = rar::kFirstEscape;
  if (ppmd_ != nullptr) ppmd_->has_model = false;
  at_ = lap_ = 0;
  lap_start_ = flushed_ = 0;
  tables_->lengths.fill(0);
  if (filters_ != nullptr) filters_->Reset();
  if (audio_ != nullptr) audio_->Forget();
}

bool RarDecoder::Begin(Method method, bool solid, uint32_t size, Stream& in) {
  if (tables_ == nullptr) {
    tables_.reset(new (std::nothrow) Tables);
    solid = false;
  }
  if (tables_ == nullptr || !input_.Allocate()) return false;
  input_.Restart();
  input_.Attach(&in);
  bits_ = MsbBits(input_);
  if (!solid) ForgetMembers();
  if (method != method_ || block_ == Block::kPpmd) block_ = Block::kHeader;
  if (filters_ != nullptr) filters_->DropPending();
  method_ = method;
  size_ = size;
  member_start_ = flushed_ = Position();
  delivered_ = 0;
  ended_ = failed_ = lost_ = false;
  return true;
}

bool RarDecoder::Decode(Stream& in, Stream& out, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  input_.Attach(&in);
  bool flushed = true;
  // Ends by the output, or by the input, of which each turn takes some.
  while (flushed && delivered_ < wanted && !ended_ && !lost_) {
    if (!DecodeSome()) BreakOff();
    flushed = Flush(out, wanted);
  }
  *limit = delivered_;
  return delivered_ == wanted || (flushed && !lost_);
}

bool RarDecoder::Finish(Stream& in, uint64_t* allowance) {
  input_.Attach(&in);
  // Ends by the allowance, and by the input as above.
  while (!ended_ && !failed_) {
    const uint64_t cost_before = cost_;
    lost_ = false;  // nobody will see what it is for
    if (!DecodeSome()) BreakOff();
    flushed_ = Position();
    if (filters_ != nullptr) filters_->DropPending();
    if (cost_ - cost_before > *allowance) {
      failed_ = true;
      return Refuse("rar: too much decoded in vain");
    }
    *allowance -= cost_ - cost_before;
  }
  return !failed_;
}

// Behind damage. A member whose data end without a mark has its size to show that its symbols were all there.
void RarDecoder::BreakOff() {
  lost_ = ended_ = true;
  failed_ = Position() - member_start_ < size_;
}

// Makes the ring long enough for a run behind `at_`, or begins the next lap.
bool RarDecoder::MakeRoom() {
  if (at_ >= kSoftEnd) {
    lap_ = at_;
    lap_start_ += at_;
    at_ = 0;
  }
  const uint32_t needed = at_ + kRun + rar::kTurn;
  if (needed <= ring_.size() || ring_.size() == kRingBytes) return true;
  size_t size = std::max<size_t>(ring_.size(), kFirstRingBytes);
  while (size < needed) size *= 2;
  return ring_.TryResize(std::min<size_t>(size, kRingBytes));
}

// Decodes about a run, or to the end of the member, or to a filter that is refused. False: damage, or no memory.
bool RarDecoder::DecodeSome() {
  if (!MakeRoom()) return false;
  uint32_t stop = std::min(at_ + kRun, kSoftEnd);
  const bool is20 = method_ == Method::kRar20;
  if (is20)
    stop = static_cast<uint32_t>(std::min<uint64_t>(stop, at_ + (size_ - (Position() - member_start_))));
  while (at_ < stop && !ended_ && !lost_) {
    const uint32_t before = at_;
    const uint64_t cost_of_each = block_ == Block::kPpmd ? kPpmdCost : 1;
    bool ok = false;
    switch (block_) {
      case Block::kHeader:
        ok = ReadHeader();
        break;
      case Block::kLz:
        ok = is20 ? DecodeLz<Method::kRar20>(stop) : DecodeLz<Method::kRar29>(stop);
        break;
      case Block::kAudio:
        ok = DecodeAudio(stop);
        break;
      case Block::kPpmd:
        ok = DecodePpmd(stop);
        break;
    }
    cost_ += (at_ - before) * cost_of_each;
    if (!ok) return false;
  }
  if (is20 && Position() - member_start_ >= size_) EndMember20();
  return true;
}

// What a fast turn writes behind `stop` the ring has room for; a 2.0 member's last bytes are the careful loop's.
template <Method kMethod>
bool RarDecoder::DecodeLz(uint32_t stop) {
  rar::Output output{ring_.data(), at_, lap_, stop, &memory_};
  constexpr bool k20 = kMethod == Method::kRar20;
  const uint32_t fast_stop = !k20 ? stop : stop > rar::kTurn ? stop - rar::kTurn : 0;
  LoopEnd end = LoopEnd::kInputLow;
  while (end == LoopEnd::kInputLow) {
    const bool fast = output.at < fast_stop && bits_.FillPiece();
    output.stop = fast ? fast_stop : stop;
    end = fast ? rar::FastLoop<kMethod>(tables_->lz, bits_, output)
               : rar::CarefulLoop<kMethod>(tables_->lz, bits_, output);
    if (fast && end == LoopEnd::kOutputFull && fast_stop != stop) end = LoopEnd::kInputLow;
  }
  at_ = output.at;
  switch (end) {
    case LoopEnd::kBad:
      return Refuse("rar: no such code, no such distance, or the end of the input");
    case LoopEnd::kFilter:
      return ReadFilter();
    case LoopEnd::kBlockEnd:
      if (!k20) return ReadEndOfBlock29();
      block_ = Block::kHeader;
      return true;
    default:
      return true;
  }
}

// One sample at a time, each from its channel's table in turn.
bool RarDecoder::DecodeAudio(uint32_t stop) {
  Audio& audio = *audio_;
  uint8_t* const ring = ring_.data();
  while (at_ < stop) {
    const uint32_t* const table = audio.tables[audio.channel].data();
    bits_.Fill();
    const uint32_t entry = rar::Symbol<rar::kMainRootBits>(table, bits_);
    if ((entry & kTableStop) != 0 || !bits_.ok())
      return Refuse("rar: no such sample, or the end of the input");
    const uint32_t symbol = entry >> kTableValueShift;
    if (symbol == rar::kAudioNewTables) {
      block_ = Block::kHeader;
      return true;
    }
    auto& channel = audio.channels[audio.channel];
    ring[at_++] = channel.Decode(static_cast<uint8_t>(symbol), &audio.last_difference);
    if (++audio.counts[audio.channel] % 32 == 0) channel.Adapt();
    if (++audio.channel == audio.channel_count) audio.channel = 0;
  }
  return true;
}

// Behind a 2.0 member's last byte may stand tables for the next one, when there are bytes enough to hold any.
void RarDecoder::EndMember20() {
  ended_ = true;
  if (block_ == Block::kHeader || !bits_.Holds(5)) return;
  const MsbCursor before = bits_;
  const uint32_t* const table =
      block_ == Block::kLz ? tables_->lz.main.data() : audio_->tables[audio_->channel].data();
  const uint32_t entry = rar::Symbol<rar::kMainRootBits>(table, bits_);
  const uint32_t symbol = block_ == Block::kLz ? rar::kNewTables20 : rar::kAudioNewTables;
  if ((entry & kTableSubtable) == 0 && (entry & ~kTableLiteral) >> kTableValueShift == symbol) {
    block_ = Block::kHeader;
    if (!ReadHeader()) block_ = Block::kHeader;  // the next member's trouble
  } else {
    static_cast<MsbCursor&>(bits_) = before;
  }
}

std::span<const uint8_t> RarDecoder::Run(uint64_t start, uint64_t end) const {
  if (start >= lap_start_) return {ring_.data() + (start - lap_start_), end - start};
  const uint64_t back = lap_start_ - start;  // in the former lap, whose end nothing has reached again
  return {ring_.data() + (lap_ - back), std::min(back, end - start)};
}

// Delivers what no filter holds back.
bool RarDecoder::Flush(Stream& out, uint32_t wanted) {
  if (filters_ != nullptr) {
    // Ends by the filters, of which each turn takes one.
    while (const rar::Filters::Pending* filter = filters_->next()) {
      const bool begun = filter->start < Position();
      if (!FlushPlain(begun ? filter->start : Position(), out, wanted)) return false;
      if (!begun || delivered_ == wanted) return true;
      if (filter->start + filter->size > Position()) return !ended_ || Refuse("rar: a filter behind the end");
      if (!FlushFiltered(out, wanted)) return false;
    }
  }
  return FlushPlain(Position(), out, wanted);
}

bool RarDecoder::FlushPlain(uint64_t end, Stream& out, uint32_t wanted) {
  while (flushed_ < end) {  // twice at the most, as each run ends at `end` or at the lap's
    const std::span<const uint8_t> run = Run(flushed_, end);
    if (!Write(run, out, wanted)) return false;
    flushed_ += run.size();
  }
  return true;
}

bool RarDecoder::FlushFiltered(Stream& out, uint32_t wanted) {
  const rar::Filters::Pending& filter = *filters_->next();
  const uint64_t end = filter.start + filter.size;
  for (uint8_t* to = filters_->memory(); flushed_ < end;) {  // as above
    const std::span<const uint8_t> run = Run(flushed_, end);
    std::memcpy(to, run.data(), run.size());
    to += run.size();
    flushed_ += run.size();
  }
  std::span<const uint8_t> bytes;
  return filters_->Run(delivered_, &bytes) && Write(bytes, out, wanted);
}

// Of what is more than wanted nothing is written.
bool RarDecoder::Write(std::span<const uint8_t> bytes, Stream& out, uint32_t wanted) {
  const auto size = static_cast<uint32_t>(std::min<size_t>(bytes.size(), wanted - delivered_));
  if (size == 0) return true;
  if (!WriteExact(out, delivered_, bytes.data(), size)) return false;
  delivered_ += size;
  return true;
}

}  // namespace brix
