// base64_decoder.cpp - decodes a body as one run of characters.
//
// Line ends are foreign characters like any other, so the loop does not look for them: it decodes sixteen characters
// a step, or four, and only around a foreign one goes character by character. There it sees where a line starts and
// whether that line may be a boundary.
//
// Bounds: each turn takes a character at least. A step of sixteen stores fourteen bytes, two more than it yields.
#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

constexpr uint32_t kRun = 2048;  // characters between two looks at the room and at what lies ahead

// Decodes whole groups from `in` on, as long as nothing is foreign. Returns the end of what it took.
const uint8_t* DecodeGroups(const uint8_t* in, const uint8_t* end, MailOutput* out) {
  uint8_t* to = out->at();
  while (end - in >= 16) {
    const uint32_t sound = DecodeSixteenBase64(in, to);
    if (sound != 16) {  // apart, so that the next step need not wait for the count
      in += sound / 4 * 4;
      to += sound / 4 * 3;
      break;
    }
    in += 16;
    to += 12;
  }
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
  SixBits bits;  // carried over line ends
  bool line_starts = true;
  bool ended = false;
  while (!ended && out->Room(kRun)) {
    // One more than a run, so that the byte behind the one looked at is there unless the input ends.
    if (!lines.Fill(kRun + 1) && lines.begin() == lines.end()) break;
    if (line_starts && boundaries.MayBegin(*lines.begin())) {
      const uint32_t at = lines.offset();
      Line line;
      const bool taken = lines.Take(&line);
      const bool is_boundary = taken && boundaries.Test(line.text) != BoundaryLine::kNone;
      lines.Seek(at);
      if (is_boundary || !taken) break;
      line_starts = false;
    }
    const uint8_t* p = lines.begin();
    const uint8_t* const end = p + std::min<size_t>(kRun, static_cast<size_t>(lines.end() - p));
    do {
      if (bits.empty()) {
        const uint8_t* const groups_end = DecodeGroups(p, end, out);
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
  if (ended) (void)lines.Take(&rest);  // the line end behind "="
  return out->Finish() && !lines.failed();
}

}  // namespace brix::mail
