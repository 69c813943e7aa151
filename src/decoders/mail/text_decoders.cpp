// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// text_decoders.cpp - text as it stands, and uuencoded blocks: both read line by line.
//
// Bounds: each turn takes a line or a piece of one. A uuencoded line yields at most 63 bytes, whatever it says.
#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

constexpr uint32_t kMaxUuLine = 86;  // characters; a line of that many or more holds no data

// The byte count in a line's first character; 0 when there is none.
uint32_t CountOf(Text line) {
  const uint32_t count = line.empty() || line[0] < ' ' ? 0 : line[0] - uint32_t{' '};
  return count == 64 ? 0 : count;
}

#ifdef __SSE2__
// Sixteen characters a step, up to the first damaged or foreign one. Returns the count of bytes that it yields. `in` has
// 16 readable bytes after it; up to 16 bytes more than counted are stored.
BRIX_SSSE3 uint32_t DecodeSimd(Text in, uint32_t count, uint8_t* out) {
  uint32_t done = 0;
  while (done < count) {  // each turn yields a byte at least
    const uint32_t bytes = std::min(count - done, 12u);
    const uint32_t characters = (bytes * 4 + 2) / 3;
    const size_t at = done / 3 * 4;
    if (in.size() < at + characters) break;
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in.data() + at));
    const __m128i values = _mm_sub_epi8(c, _mm_set1_epi8(' '));
    PackSixteen(_mm_and_si128(values, _mm_set1_epi8(63)), out + done);
    const __m128i sound = _mm_cmpeq_epi8(_mm_min_epu8(values, _mm_set1_epi8('`' - ' ')), values);
    if (std::countr_one(static_cast<uint32_t>(_mm_movemask_epi8(sound))) < static_cast<int>(characters))
      break;
    done += bytes;
  }
  return done;
}
#else
uint32_t DecodeSimd(Text, uint32_t, uint8_t*) { return 0; }
#endif

void DecodeUuLine(Text in, uint32_t count, bool has_simd, MailOutput* out) {
  uint8_t* to = out->at();
  const uint32_t done = has_simd ? DecodeSimd(in, count, to) : 0;
  in = in.subspan(std::min<size_t>(in.size(), (done * 4 + 2) / 3));
  to += done;
  uint32_t left = count - done;
  while (in.size() >= 4 && left >= 3 && DecodeFour(kUuencode, in.data(), to)) {
    in = in.subspan(4);
    to += 3;
    left -= 3;
  }
  SixBits bits;
  for (; !in.empty() && left != 0; in = in.subspan(1)) {
    const uint8_t value = kUuencode[in[0]];
    if (value == kForeign || !bits.Put(value, to)) continue;
    ++to;
    --left;
  }
  out->Advance(static_cast<size_t>(to - out->at()));
}

}  // namespace

bool IsUuencodedData(Text line) {
  const uint32_t count = CountOf(line);
  const uint32_t full = 4 * count / 3;
  return count != 0 && line.size() >= full + 1 && line.size() <= full + 5;
}

bool MailBody::EndsEncoded(const Line& line) {
  if (!line.starts) return false;
  const BoundaryLine kind = boundaries.Test(line);
  if (kind != BoundaryLine::kMessage) return kind != BoundaryLine::kNone;
  if (!SeparatesMessages(line.text, line.ahead)) return false;
  if (!in_part || line.at < seen_end) return true;
  if (passed == kNone) passed = line.at;
  return false;
}

bool SeparatesMessages(Text line, Text next) {
  constexpr std::string_view kFields[] = {
      "from:",         "to:",         "subject:", "date:",         "received:", "return-path:",
      "delivered-to:", "message-id:", "content-", "mime-version:", "status:",   "x-"};
  const auto is_digit = [](uint8_t c) { return c >= '0' && c <= '9'; };
  for (size_t at = 1; at + 1 < line.size(); ++at) {
    if (line[at] == ':' && is_digit(line[at - 1]) && is_digit(line[at + 1])) return true;
  }
  return std::any_of(std::begin(kFields), std::end(kFields),
                     [&](std::string_view field) { return BeginsWith(next, field); });
}

bool CopyText(MailBody* body, MailOutput* out) {
  std::array<uint8_t, kMaxLineEnd> end;  // the line end before, not yet written
  uint32_t end_size = 0;
  Line line;
  while (out->Room(MailOutput::kMaxRoom) && body->lines.Take(&line)) {
    if (body->IsBoundary(line)) {
      body->lines.Seek(line.at);
      break;
    }
    const Text held(end.data(), end_size);
    if (line.text.size() <= MailOutput::kMaxRoom - kMaxLineEnd) {
      std::memcpy(out->at(), end.data(), end.size());
      out->Advance(held.size());
      std::memcpy(out->at(), line.text.data(), line.text.size());
      out->Advance(line.text.size());
    } else if (!out->Write(held) || !out->Write(line.text)) {
      break;
    }
    end_size = line.end_size;
    static_assert(kMaxLineEnd <= LineReader::kSlack, "as many bytes can be read after any line");
    std::memcpy(end.data(), line.text.data() + line.text.size(), end.size());
  }
  const bool at_end = body->lines.begin() == body->lines.end();
  if (at_end && !body->in_part) (void)out->Write(Text(end.data(), end_size));
  return out->Finish() && !body->lines.failed();
}

bool DecodeUuencode(MailBody* body, MailOutput* out) {
  constexpr std::string_view kBegin = "begin ";
  constexpr uint8_t kEnd[] = {'e', 'n', 'd'};
  const bool has_simd = HasSsse3();
  bool has_data = false;
  Line line;
  while (out->Room(64) && body->lines.TakeLine(&line)) {
    const bool is_data = line.text.size() < kMaxUuLine && IsUuencodedData(line.text);
    if (!is_data) {
      if (body->EndsEncoded(line)) {
        body->lines.Seek(line.at);
        break;
      }
      if (std::equal(line.text.begin(), line.text.end(), std::begin(kEnd), std::end(kEnd))) break;
      continue;
    }
    if (!has_data && BeginsWith(line.text, kBegin)) continue;
    DecodeUuLine(line.text.subspan(1), CountOf(line.text), has_simd, out);
    has_data = true;
  }
  return out->Finish() && !body->lines.failed();
}

}  // namespace brix::mail
