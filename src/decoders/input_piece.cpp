// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "decoders/input_piece.h"

#include <cstring>

#include "core/field_reader.h"

namespace brix {

uint32_t ReadBehind(Stream& in, uint32_t* offset, bool* ended, std::span<uint8_t> piece, uint32_t filled,
                    uint32_t least) {
  // Ends by the room, which every turn but the last fills a part of.
  do {
    const auto room = static_cast<uint32_t>(piece.size()) - filled;
    uint32_t got = 0;
    if (!in.ReadAt(*offset, piece.data() + filled, room, &got) || got > room) got = 0;
    filled += got;
    *ended = got == 0 || !CheckedAdd(offset, got);
  } while (!*ended && filled < least);
  return filled;
}

void InputPiece::ReadMore() {
  const uint32_t unread = left();
  uint8_t* const front = piece_.data() + kFront;
  std::memmove(front - kFront, next - kFront, kFront + unread);
  const uint32_t filled = ReadBehind(*in_, &offset_, &ended_, {front, kPiece}, unread, kSlack);
  next = front;
  end = front + filled;
  std::memset(front + filled, 0, kSlack);
}

}  // namespace brix
