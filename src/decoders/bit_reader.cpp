// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/bit_reader.h"

#include <algorithm>
#include <cstring>

#include "decoders/input_piece.h"

namespace brix {

namespace {

// What a turn's two refills may look at: 8 bytes, 7 behind where the first began.
constexpr uint32_t kFastInput = 16;

// At the end of the input the zeros behind it may get into `bits`, and what matters is that a turn's bits are still in
// the input: when it begins, at least 7 bytes before `next` are not used.
constexpr uint32_t kFastTail = LsbBitReader::kFastBits / 8 - 7;

}  // namespace

// Moves the unread bytes to the front of the piece and reads behind them, until a turn of a fast loop has
// enough. Whole bytes in `bits` go back first: AlignToByte finds them in the piece that way.
void LsbBitReader::ReadMore() {
  if (ended_) return;
  GiveBackBytes();
  const auto unread = static_cast<uint32_t>(end - next);
  uint8_t* const front = piece_.data();
  if (unread != 0) std::memmove(front, next, unread);
  const uint32_t filled = ReadBehind(*in_, &offset_, &ended_, {front, kPiece}, unread, kFastInput);
  next = front;
  end = front + filled;
  // With more input to come, nothing behind the piece may get into `bits`.
  if (ended_) std::memset(front + filled, 0, kSlack);
  const uint32_t reserve = ended_ ? kFastTail : kFastInput;
  fast_end = filled < reserve ? nullptr : end - reserve;
}

void LsbBitReader::Lend(const uint8_t* input, uint32_t size) {
  Restart();
  ended_ = true;
  next = input;
  end = input + size;
  fast_end = size < kFastTail ? nullptr : end - kFastTail;
}

void LsbBitReader::RefillSlowly() {
  ReadMore();
  if (end - next >= 8) return Refill();
  count &= 63;
  while (count < 56) {
    if (next != end) {
      bits |= uint64_t{*next++} << count;
    } else {
      ++invented_;
    }
    count += 8;
  }
}

// Invented bytes are not there to be given back; with more of them than whole bytes, ok() is false and stays
// so.
void LsbBitReader::GiveBackBytes() {
  count &= 63;
  const uint32_t whole_bytes = count / 8;
  const uint32_t invented = std::min(invented_, whole_bytes);
  next -= whole_bytes - invented;
  invented_ -= invented;
  count %= 8;
  bits &= (uint64_t{1} << count) - 1;
}

void LsbBitReader::AlignToByte() {
  GiveBackBytes();
  bits = 0;
  count = 0;
}

uint32_t LsbBitReader::CopyBytes(uint8_t* to, uint32_t size) {
  uint32_t copied = 0;
  while (copied < size) {
    if (next == end) ReadMore();
    if (next == end) break;
    const uint32_t count_now = std::min(size - copied, static_cast<uint32_t>(end - next));
    std::memcpy(to + copied, next, count_now);
    next += count_now;
    copied += count_now;
  }
  return copied;
}

bool LsbBitReader::FillPiece() {
  if (next > fast_end) ReadMore();
  return next <= fast_end;
}

}  // namespace brix
