// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// bzip2_rotations.cpp - follows a permutation from several places at once.
//
// Each row of the sorted rotations has a first byte, and a row in which the rotation stands that is one byte shorter at
// the front. The text are the first bytes along that path. A step waits for memory, since the path jumps about in
// 3.6 MB, and the next step cannot begin before. So the path is cut: every kSpacing-th row begins a segment, which ends
// before the next row that does. Eight segments are followed in turns, their waits overlap, and in the end they are put
// one behind the other from the one that the text begins with.
//
// A segment's length is known only at its end, so segments are written in chunks, into the column, which is not needed
// once the permutation is made. The text then takes the place of the permutation.
//
// Bounds: whatever the column, the rows are a permutation, so all segments together have as many bytes as it. In damaged
// data it may have several cycles; the text then repeats the first row's as often as it needs.
#include "decoders/bzip2/bzip2_rotations.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace brix::bzip2 {

namespace {

constexpr uint32_t kSpacing = 1u << 12;  // rows
constexpr uint32_t kMostRows = 900'000;
constexpr uint32_t kMostSegments = (kMostRows >> 12) + 2;  // the last one begins at the first row of the text
constexpr uint32_t kChunk = 512;                           // bytes
constexpr uint32_t kMostChunks = kMostRows / kChunk + kMostSegments + 1;
constexpr uint32_t kWalkers = 8;

// A row: its first byte, whether the next row begins a segment, the next row.
constexpr uint32_t kEndsSegment = 0x100;
constexpr uint32_t kNextShift = 9;

struct Segment {
  uint32_t row = 0;
  uint32_t length = 0;
  uint32_t next = 0;  // segment
  uint32_t first_chunk = 0;
};

struct Walker {
  uint32_t entry;  // the row that it comes from
  uint32_t segment;
  uint32_t chunk;
  uint8_t* out;
  uint32_t room;  // bytes left in the chunk
};

// Moves all walkers by up to `steps` rows; by fewer when one has come to the end of its segment. Gives back how many.
template <uint32_t kCount>
uint32_t Walk(const uint32_t* rows, Walker* walkers, uint32_t count, uint32_t steps) {
  if constexpr (kCount != 0) count = kCount;
  std::array<uint32_t, kWalkers> entries{};
  std::array<uint8_t*, kWalkers> outs{};
#pragma GCC unroll 8
  for (uint32_t w = 0; w < count; ++w) {
    entries[w] = walkers[w].entry;
    outs[w] = walkers[w].out;
  }
  uint32_t done = 0;
  uint32_t ends = 0;
  do {
#pragma GCC unroll 8
    for (uint32_t w = 0; w < count; ++w) {
      const uint32_t entry = rows[entries[w] >> kNextShift];
      outs[w][done] = static_cast<uint8_t>(entry);
      entries[w] = entry;
      ends |= entry;
    }
    ++done;
  } while (done < steps && (ends & kEndsSegment) == 0);
#pragma GCC unroll 8
  for (uint32_t w = 0; w < count; ++w) walkers[w].entry = entries[w];
  return done;
}

class Rotations {
 public:
  Rotations(uint8_t* pool, uint32_t* rows, uint32_t size, uint32_t first)
      : pool_(pool), rows_(rows), size_(size), first_(first), segments_((size - 1) / kSpacing + 1) {
    for (uint32_t i = 0; i < segments_; ++i) segment_[i].row = i * kSpacing;
    if (first % kSpacing != 0) segment_[segments_++].row = first;
  }

  void MakeRows(std::array<uint32_t, 256>& counts) {
    uint32_t sum = 0;
    for (uint32_t& count : counts) sum += std::exchange(count, sum);
    for (uint32_t begin = 0; begin < size_; begin += kSpacing) {
      AddRow(counts, begin, kEndsSegment);
      const uint32_t end = std::min(begin + kSpacing, size_);
      const uint32_t cut = first_ > begin && first_ < end ? first_ : end;
      for (uint32_t i = begin + 1; i < cut; ++i) AddRow(counts, i, 0);
      if (cut == end) continue;
      AddRow(counts, cut, kEndsSegment);
      for (uint32_t i = cut + 1; i < end; ++i) AddRow(counts, i, 0);
    }
  }

  // Ends by the rows, of which no two segments share one.
  void FollowAll() {
    std::array<Walker, kWalkers> walkers;
    uint32_t active = 0;
    uint32_t started = 0;
    for (;;) {
      for (; active < kWalkers && started < segments_; ++active, ++started) {
        segment_[started].first_chunk = chunks_;
        walkers[active] = {segment_[started].row << kNextShift, started, 0, nullptr, 0};
        TakeChunk(walkers[active]);
      }
      if (active == 0) return;
      uint32_t steps = kChunk;
      for (uint32_t w = 0; w < active; ++w) steps = std::min(steps, walkers[w].room);
      const uint32_t done = active == kWalkers ? Walk<kWalkers>(rows_, walkers.data(), active, steps)
                                               : Walk<0>(rows_, walkers.data(), active, steps);
      for (uint32_t w = active; w-- != 0;) {
        Walker& walker = walkers[w];
        walker.out += done;
        walker.room -= done;
        Segment& segment = segment_[walker.segment];
        segment.length += done;
        if ((walker.entry & kEndsSegment) != 0) {
          segment.next = SegmentAt(walker.entry >> kNextShift);
          walker = walkers[--active];
        } else if (walker.room == 0) {
          next_chunk_[walker.chunk] = static_cast<uint16_t>(chunks_);
          TakeChunk(walker);
        }
      }
    }
  }

  // Ends by the text; no segment is empty.
  void Join(uint8_t* text) const {
    uint32_t left = size_;
    for (uint32_t s = SegmentAt(first_); left != 0; s = segment_[s].next) {
      uint32_t length = std::min(segment_[s].length, left);
      left -= length;
      for (uint32_t chunk = segment_[s].first_chunk; length != 0; chunk = next_chunk_[chunk]) {
        const uint32_t part = std::min(length, kChunk);
        std::memcpy(text, pool_ + size_t{chunk} * kChunk, part);
        text += part;
        length -= part;
      }
    }
  }

 private:
  void AddRow(std::array<uint32_t, 256>& places, uint32_t next, uint32_t flag) {
    const uint8_t byte = pool_[next];
    rows_[places[byte]++] = next << kNextShift | flag | byte;
  }

  [[nodiscard]] uint32_t SegmentAt(uint32_t row) const {
    return row % kSpacing == 0 ? row / kSpacing : segments_ - 1;
  }

  void TakeChunk(Walker& walker) {
    walker.chunk = chunks_++;
    walker.out = pool_ + size_t{walker.chunk} * kChunk;
    walker.room = kChunk;
  }

  uint8_t* const pool_;  // the column, then chunks
  uint32_t* const rows_;
  const uint32_t size_;
  const uint32_t first_;
  uint32_t segments_;
  uint32_t chunks_ = 0;
  std::array<Segment, kMostSegments> segment_;
  std::array<uint16_t, kMostChunks> next_chunk_;
};

}  // namespace

bool InvertRotations(Column& column, uint32_t first, MemoryBlock& rows, std::span<uint8_t>* text) {
  const uint32_t size = column.size;
  const uint32_t segments = size / kSpacing + 2;
  if (!column.bytes.TryGrow((size_t{size} / kChunk + segments + 1) * kChunk, kChunk) ||
      !rows.TryGrow(size * sizeof(uint32_t), size * sizeof(uint32_t))) {
    return false;
  }
  Rotations rotations(column.bytes.data(), reinterpret_cast<uint32_t*>(rows.data()), size, first);
  rotations.MakeRows(column.counts);
  rotations.FollowAll();
  rotations.Join(rows.data());
  *text = {rows.data(), size};
  return true;
}

}  // namespace brix::bzip2
