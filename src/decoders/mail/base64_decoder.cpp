// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// base64_decoder.cpp - decodes a body as one run of characters.
//
// Line ends are foreign characters like any other, so the loop does not look for them: it decodes sixteen characters
// a step where the processor has SSSE3, else four, and only around a foreign one goes character by character. There it
// sees where a line starts and whether that line may be a boundary.
//
// Bounds: each turn takes a character at least. A step of sixteen stores sixteen bytes, four more than it yields.
#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

constexpr uint32_t kRun = 2048;  // characters between two looks at the room and at what lies ahead

#ifdef __SSE2__
// Sixteen characters a step. A character is of the alphabet when the table entries for its two halves share no bit;
// what is to be added to it depends on its high half, except for "/". Stops after the groups before a foreign
// character.
BRIX_SSSE3 void DecodeSimd(const uint8_t** in, const uint8_t* end, uint8_t** out) {
  // One bit for each run of high halves that allows the same low halves: 2; 3; 4 and 6; 5 and 7; all others.
  const __m128i low_bad = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13,
                                        0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m128i high_is = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10,
                                        0x10, 0x10, 0x10, 0x10, 0x10);
  const __m128i to_add =
      _mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i half = _mm_set1_epi8(0x0F);
  const uint8_t* from = *in;
  uint8_t* to = *out;
  while (end - from >= 16) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i high = _mm_and_si128(_mm_srli_epi32(c, 4), half);
    const __m128i low = _mm_and_si128(c, half);
    const __m128i bad = _mm_and_si128(_mm_shuffle_epi8(low_bad, low), _mm_shuffle_epi8(high_is, high));
    const __m128i slash = _mm_cmpeq_epi8(c, _mm_set1_epi8('/'));  // -1: the entry before
    const __m128i values = _mm_add_epi8(c, _mm_shuffle_epi8(to_add, _mm_add_epi8(slash, high)));
    PackSixteen(values, to);
    const auto sound = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bad, _mm_setzero_si128())));
    if (sound != 0xFFFF) {  // apart, so that the next step need not wait for the count
      const auto count = static_cast<uint32_t>(std::countr_one(sound));
      from += count / 4 * 4;
      to += count / 4 * 3;
      break;
    }
    from += 16;
    to += 12;
  }
  *in = from;
  *out = to;
}
#else
void DecodeSimd(const uint8_t**, const uint8_t*, uint8_t**) {}
#endif

// Decodes whole groups from `in` on, as long as nothing is foreign. Returns the end of what it took.
const uint8_t* DecodeGroups(const uint8_t* in, const uint8_t* end, bool has_simd, MailOutput* out) {
  uint8_t* to = out->at();
  if (has_simd) DecodeSimd(&in, end, &to);
  while (end - in >= 4 && DecodeFour(kBase64, in, to)) {
    in += 4;
    to += 3;
  }
  out->Advance(static_cast<size_t>(to - out->at()));
  return in;
}

bool IsLineEnd(uint8_t c) { return c == '\r' || c == '\n'; }

}  // namespace

bool DecodeBase64(MailBody* body, MailOutput* out) {
  LineReader& lines = body->lines;
  const BoundarySet& boundaries = body->boundaries;
  const bool has_simd = HasSsse3();
  SixBits bits;  // carried over line ends
  bool line_starts = true;
  bool ended = false;
  while (!ended && out->Room(kRun)) {
    // One more than a run, so that the byte after the one looked at is there unless the input ends.
    if (!lines.Fill(kRun + 1) && lines.begin() == lines.end()) break;
    if (line_starts && boundaries.MayBegin(*lines.begin())) {
      const uint32_t at = lines.offset();
      Line line;
      const bool taken = lines.Take(&line);
      const bool is_end = taken && body->EndsEncoded(line);
      lines.Seek(at);
      if (is_end || !taken) break;
      line_starts = false;
    }
    const uint8_t* p = lines.begin();
    const uint8_t* const end = p + std::min<size_t>(kRun, static_cast<size_t>(lines.end() - p));
    do {
      if (bits.empty()) {
        const uint8_t* const groups_end = DecodeGroups(p, end, has_simd, out);
        if (groups_end != p) line_starts = false;
        p = groups_end;
        if (p == end) break;
      }
      const uint8_t c = *p++;
      if (kBase64[c] != kForeign) {
        if (bits.Put(kBase64[c], out->at())) out->Advance(1);
        line_starts = false;
      } else if (IsLineEnd(c)) {
        while (p != end && IsLineEnd(*p)) ++p;
        line_starts = true;
      } else {
        line_starts = false;
        ended = c == '=' && (p == lines.end() || IsLineEnd(*p));
      }
    } while (p != end && !ended && !(line_starts && boundaries.MayBegin(*p)));
    lines.Advance(static_cast<uint32_t>(p - lines.begin()));
  }
  Line rest;
  if (ended) (void)lines.Take(&rest);  // the line end after "="
  return out->Finish() && !lines.failed();
}

}  // namespace brix::mail
