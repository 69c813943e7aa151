// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chain_stream.cpp - follows chains of sectors.
//
// A chain is kept as runs of neighbouring sectors, which is what most of it is: a read then takes a whole run
// from the file at once. The last run grows while the table says that the next sector follows it.
//
// Bounds: a chain has at most as many sectors as its space; each step of every loop here takes one more sector
// of it or moves to a run that is already known. Remembering all of a chain in the worst order takes 8 bytes a
// sector, and the directory, the mini FAT and the mini stream, which are read in any order, are each followed
// only once: a file that makes reads jump to and fro costs a binary search for each.
#include "formats/microsoft/compound/chain_stream.h"

#include <algorithm>
#include <cstring>

#include "formats/microsoft/compound/compound_format.h"

namespace brix::compound {

namespace {

struct KnownRun {
  uint32_t index;
  uint32_t sector;
};

constexpr uint32_t kFirstRuns = 16;  // room for so many at first, then twice as many each time

KnownRun Load(const MemoryBlock& runs, uint32_t number) {
  KnownRun run;
  std::memcpy(&run, runs.data() + size_t{number} * sizeof run, sizeof run);
  return run;
}

}  // namespace

void ChainStream::Begin(const SectorSpace& space, uint32_t first_sector, uint32_t size, ChainMemory memory) {
  space_ = space;
  first_sector_ = first_sector;
  size_ = size;
  memory_ = memory;
  StartOver();
}

// The first run is empty until it is lengthened.
void ChainStream::StartOver() {
  run_ = {0, first_sector_, 0};
  followed_ = 0;
  next_ = first_sector_;
  run_count_ = 0;
}

bool ChainStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  if (offset > size_) return false;
  const uint32_t wanted = std::min(size, size_ - offset);
  const uint32_t shift = space_.shift;
  while (*got < wanted) {  // each turn reads bytes or leaves
    const uint32_t at = offset + *got;
    const uint32_t left = wanted - *got;
    if (!FindRun(at >> shift, uint64_t{(left - 1) >> shift} + 2)) break;
    const uint32_t skipped = at - (run_.index << shift);
    const uint64_t from = (uint64_t{run_.sector} << shift) + skipped;
    const auto piece =
        static_cast<uint32_t>(std::min<uint64_t>(left, (uint64_t{run_.length} << shift) - skipped));
    uint32_t piece_got = 0;
    if (from > UINT32_MAX) break;
    if (!space_.bytes->ReadAt(static_cast<uint32_t>(from), buf + *got, piece, &piece_got)) break;
    if (piece_got > piece) return false;
    *got += piece_got;
    if (piece_got != piece) break;
  }
  return *got != 0 || wanted == 0;
}

bool ChainStream::GetSize(uint32_t* size) {
  *size = size_;
  return true;
}

void ChainStream::TakeLengthOfChain() {
  StartOver();
  while (LengthenRun(space_.most_sectors) || NextRun()) {
  }
  size_ = followed_ >= space_.most_sectors ? 0 : followed_ << space_.shift;
}

bool ChainStream::FindRun(uint32_t index, uint64_t wanted) {
  if (index < run_.index) {
    if (memory_ == ChainMemory::kCursor) StartOver();
    if (memory_ == ChainMemory::kAll) GoToKnown(index);
  } else if (index - run_.index >= run_.length && !IsLastRun()) {
    GoToKnown(index);
  }
  while (index - run_.index >= run_.length) {
    if (!LengthenRun(index - run_.index - run_.length + wanted) && !NextRun()) return false;
  }
  while (run_.length - (index - run_.index) < wanted) {
    if (!LengthenRun(wanted - (run_.length - (index - run_.index)))) break;
  }
  return true;
}

// Takes sectors behind all that are known, at most `most`, if they are neighbours of the run's last.
bool ChainStream::LengthenRun(uint64_t most) {
  if (!IsLastRun() || next_ != run_.sector + run_.length) return false;
  const bool is_first = run_.length == 0;  // that run stands from the start, empty
  if (is_first) TakeRoom();
  const uint32_t taken = Follow(most);
  if (taken == 0) return false;
  if (is_first) Remember();
  run_.length += taken;
  return true;
}

// Begins a run with the sector behind all that are known.
bool ChainStream::NextRun() {
  const Run next = {followed_, next_, 1};
  TakeRoom();
  if (Follow(1) == 0) return false;
  run_ = next;
  Remember();
  return true;
}

// That many neighbours, `next_` the first, are known of the chain from here on; none where it ends.
uint32_t ChainStream::Follow(uint64_t most) {
  if (next_ >= kFirstMark) return 0;
  const auto left = static_cast<uint32_t>(std::min<uint64_t>(most, space_.most_sectors - followed_));
  if (left == 0) return 0;
  const uint32_t taken = space_.table->Follow(next_, left, &next_);
  followed_ += taken;
  return taken;
}

// Room for one run more. A chain that ended where memory does would hide what it leads to.
void ChainStream::TakeRoom() {
  constexpr size_t kBytes = sizeof(KnownRun);
  if (memory_ == ChainMemory::kCursor) return;
  NeedMemory(runs_.TryGrow((size_t{run_count_} + 1) * kBytes, kFirstRuns * kBytes));
}

void ChainStream::Remember() {
  if (memory_ == ChainMemory::kCursor) return;
  const KnownRun run = {run_.index, run_.sector};
  std::memcpy(runs_.data() + size_t{run_count_} * sizeof run, &run, sizeof run);
  ++run_count_;
}

ChainStream::Run ChainStream::Remembered(uint32_t number) const {
  const KnownRun run = Load(runs_, number);
  const uint32_t end = number + 1 < run_count_ ? Load(runs_, number + 1).index : followed_;
  return {run.index, run.sector, end - run.index};
}

// Makes run_ the remembered one that holds sector `index`, or the last.
void ChainStream::GoToKnown(uint32_t index) {
  uint32_t low = 0;  // the first run begins at 0, so it never lies behind `index`
  uint32_t high = run_count_;
  while (high - low > 1) {
    const uint32_t middle = low + (high - low) / 2;
    (Load(runs_, middle).index <= index ? low : high) = middle;
  }
  run_ = Remembered(low);
}

}  // namespace brix::compound
