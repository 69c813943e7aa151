#include "decoders/input_piece.h"

#include <cstring>

#include "core/field_reader.h"

namespace brix {

// A stream may hand out less than it was asked for before its end; only a failed or empty read is the end.
void InputPiece::ReadMore() {
  const uint32_t unread = left();
  uint8_t* const front = piece_.data() + kFront;
  std::memmove(front - kFront, next - kFront, kFront + unread);
  uint32_t filled = unread;
  // Ends by the room, which every turn but the last fills a part of.
  do {
    const uint32_t room = kPiece - filled;
    uint32_t got = 0;
    if (!in_->ReadAt(offset_, front + filled, room, &got) || got > room) got = 0;
    filled += got;
    ended_ = got == 0 || !CheckedAdd(&offset_, got);
  } while (!ended_ && filled < kSlack);
  next = front;
  end = front + filled;
  std::memset(front + filled, 0, kSlack);
}

}  // namespace brix
