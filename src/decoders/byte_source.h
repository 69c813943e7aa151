// byte_source.h - input that two readers take turns with: a piece in memory, and the way to the next one.
#pragma once

#include <cstdint>

namespace brix {

// What a bit reader and a range coder share when both read one stream. Whoever reads takes `next` and `end` into
// locals, gives `next` back before anyone else looks, and asks for more only with next == end; so the position is
// always the byte that follows.
class ByteSource {
 public:
  ByteSource(const ByteSource&) = delete;
  ByteSource& operator=(const ByteSource&) = delete;

  // Called with next == end: puts at least one byte there. False at the end of the input, with next == end as before.
  [[nodiscard]] virtual bool NextPiece() = 0;

  const uint8_t* next = nullptr;  // the next byte
  const uint8_t* end = nullptr;   // of the piece

 protected:
  ByteSource() = default;
  ~ByteSource() = default;
};

}  // namespace brix
