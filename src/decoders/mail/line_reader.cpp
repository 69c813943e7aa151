// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// line_reader.cpp - finds line ends 16 bytes at a time.
//
// CR, LF, CRLF, CRLF with more CRs before it and LF CR all end a line, however they are mixed (LineEndSize). A line
// that crosses the end of the buffer is moved to its front before more is read; nothing else is copied.
//
// Bounds: the buffer has 32 KiB and grows for a longer line to at most 256 KiB, then shrinks again. Each read is as large as
// the room left; a turn of a loop reads at least one byte or ends.
#include "decoders/mail/line_reader.h"

#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "core/refuse.h"

namespace brix::mail {

namespace {

constexpr uint32_t kBuffer = 16 * 1024;

// The first CR or LF from `p` on; `end` when there is none.
const uint8_t* FindEnd(const uint8_t* p, const uint8_t* end) {
#ifdef __SSE2__
  const __m128i cr = _mm_set1_epi8('\r');
  const __m128i lf = _mm_set1_epi8('\n');
  for (; p < end; p += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hits = _mm_or_si128(_mm_cmpeq_epi8(bytes, cr), _mm_cmpeq_epi8(bytes, lf));
    const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(hits));
    if (mask != 0) return std::min(p + std::countr_zero(mask), end);
  }
  return end;
#else
  return std::find_if(p, end, [](uint8_t c) { return c == '\r' || c == '\n'; });
#endif
}

}  // namespace

void LineReader::Open(Stream* in) {
  in_ = in;
  failed_ = no_memory_ = false;
  base_ = at_ = end_ = 0;
  ended_ = inside_line_ = false;
}

void LineReader::Seek(uint32_t offset) {
  inside_line_ = false;
  if (offset >= base_ && offset - base_ <= end_) {
    at_ = offset - base_;
    return;
  }
  base_ = offset;
  at_ = end_ = 0;
  ended_ = false;
}

bool LineReader::Fill(uint32_t wanted) {
  while (end_ - at_ < wanted) {
    if (ended_ || failed_) return false;
    const uint32_t kept = end_ - at_;
    if (kept != 0 && at_ != 0) std::memmove(block_.data(), block_.data() + at_, kept);
    base_ += at_;
    at_ = 0;
    end_ = kept;
    const auto held = static_cast<uint32_t>(block_.size() > kSlack ? block_.size() - kSlack : 0);
    uint32_t room = held;
    if (wanted > room) {
      room = std::clamp(room * 2, std::max(wanted, kBuffer), std::max(wanted, kMaxLine));
    } else if (room > kBuffer && kept < kBuffer / 2 && wanted < kBuffer / 2) {
      room = kBuffer;
    }
    uint32_t got = 0;
    no_memory_ = !block_.TryResize(room + kSlack);
    if (no_memory_ || !in_->ReadAt(base_ + kept, block_.data() + kept, room - kept, &got) ||
        got > room - kept) {
      failed_ = true;
      return Refuse("mail: the message cannot be read");
    }
    end_ += got;
    ended_ = got < room - kept || base_ > UINT32_MAX - end_ - kMaxLine;  // offsets have 32 bits
    std::memset(block_.data() + end_, 0, kSlack);
  }
  return true;
}

bool LineReader::Take(Line* line) {
  const uint8_t* const stop = FindEnd(begin(), end());
  if (end() - stop < std::ptrdiff_t{kMaxLineEnd + kAhead} || stop - begin() > kMaxLine)
    return TakeSlowly(line);
  line->text = Text(begin(), stop);
  line->at = offset();
  const bool is_common = stop[0] == '\r' ? stop[1] == '\n' : stop[1] != '\r';
  line->end_size = is_common ? (stop[0] == '\r' ? 2 : 1) : LineEndSize(Text(stop, end()));
  line->starts = !inside_line_;
  line->ends = true;
  inside_line_ = false;
  at_ = static_cast<uint32_t>(stop - block_.data()) + line->end_size;
  line->ahead = Text(begin(), end());
  return true;
}

bool LineReader::TakeSlowly(Line* line) {
  if (at_ == end_ && !Fill(1)) return false;
  uint32_t size = 0;
  for (bool more = true;;) {  // each turn but the last reads more
    size = std::min(static_cast<uint32_t>(FindEnd(begin() + size, end()) - begin()), kMaxLine);
    const uint32_t left = end_ - at_ - size;
    if (left >= kMaxLineEnd + kAhead || (left == 0 && size == kMaxLine) || !more) break;
    more = Fill(size + kMaxLineEnd + kAhead);
  }
  if (failed_) return false;
  const uint8_t* text = begin();
  line->text = Text(text, size);
  line->at = offset();
  line->starts = !inside_line_;
  line->ends = true;
  line->end_size = 0;
  const uint32_t ahead = end_ - at_ - size;
  if (ahead != 0 && (text[size] == '\r' || text[size] == '\n')) {
    line->end_size = LineEndSize(Text(text + size, ahead));
  } else {
    line->ends = ahead == 0 && ended_;
  }
  inside_line_ = !line->ends;
  at_ += size + line->end_size;
  line->ahead = Text(begin(), end());
  return true;
}

bool LineReader::TakeLine(Line* line) {
  while (inside_line_) {  // each turn takes at least a byte
    if (!Take(line)) return false;
  }
  return Take(line);
}

}  // namespace brix::mail
