// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// quoted_printable_decoder.cpp - lines that hold nothing odd are copied sixteen bytes a step, others with care.
//
// Kept: a boundary line after a soft line break is text. The handler learns of it and goes on there, so that no
// part hides behind one; the next boundary line ends the body in any case, which keeps the cost linear.
//
// Bounds: output never exceeds input but for a line end. Of a line longer than the reader keeps, blanks before a
// cut count as text.
#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

constexpr uint8_t HexDigit(uint8_t c) {
  if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
  c = Lower(c);
  return c >= 'a' && c <= 'f' ? static_cast<uint8_t>(c - 'a' + 10) : kForeign;
}
constexpr auto kHexDigits = [] {
  Alphabet values;
  for (uint32_t c = 0; c < values.size(); ++c) values[c] = HexDigit(static_cast<uint8_t>(c));
  return values;
}();

[[maybe_unused]] bool IsLineEnd(uint8_t c) { return c == '\r' || c == '\n'; }

// What an "=" begins: how many characters it takes, and the byte that it gives, if any.
struct Escape {
  uint32_t taken;
  bool gives;
  uint8_t byte;
};
Escape ReadEscape(Text at) {
  if (at.size() < 3) return {1, at.size() == 2, '='};
  const uint32_t high = kHexDigits[at[1]];
  const uint32_t low = kHexDigits[at[2]];
  return {3, (high | low) < 16, static_cast<uint8_t>(high << 4 | low)};
}

struct Decoded {
  uint32_t left;  // bytes of an escape that the piece cuts
  bool soft;      // a soft line break ends it
};

// A line, or a piece that does not end its line.
Decoded DecodePiece(Text text, bool ends_line, MailOutput* out) {
  bool soft = false;
  while (!text.empty()) {  // each turn takes a byte at least
    const auto plain = static_cast<size_t>(std::find(text.begin(), text.end(), '=') - text.begin());
    if (!out->Write(text.first(plain)) || !out->Room(1)) break;
    text = text.subspan(plain);
    if (text.empty()) break;
    if (!ends_line && text.size() < 3) return {static_cast<uint32_t>(text.size()), false};
    const Escape escape = ReadEscape(text);
    *out->at() = escape.byte;
    out->Advance(escape.gives ? 1 : 0);
    text = text.subspan(escape.taken);
    soft = escape.taken == 1 && !escape.gives;
  }
  return {0, soft};
}

#ifdef __SSE2__
// Copies bytes and stops where one needs a look: at an "=", at a line end that is not CRLF or follows a blank, and at
// the start of what may be a boundary line.
class LineCopier {
 public:
  explicit LineCopier(const BoundarySet& boundaries)
      : from_(_mm_set1_epi8(boundaries.MayBegin('F') ? 'F' : '-')) {}

  // The next character follows a line end, or nothing that matters.
  void Restart(bool at_line_start) {
    after_cr_ = after_blank_ = 0;
    after_lf_ = at_line_start ? 1 : 0;
  }

  // Copies sixteen bytes. Returns how many come before the place to look at; for a CR without LF that is the character
  // after it.
  uint32_t Copy(const uint8_t* in, uint8_t* out) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
    const auto is = [&](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
    const auto mask = [](__m128i hits) { return static_cast<uint32_t>(_mm_movemask_epi8(hits)); };
    const uint32_t cr = mask(is('\r')), lf = mask(is('\n'));
    const uint32_t cr_before = cr << 1 | after_cr_;
    const uint32_t lf_before = lf << 1 | after_lf_;
    const uint32_t blank_before = mask(_mm_or_si128(is(' '), is('\t'))) << 1 | after_blank_;
    const uint32_t starts = mask(_mm_or_si128(_mm_or_si128(is('-'), is('(')), _mm_cmpeq_epi8(bytes, from_)));
    const uint32_t odd = mask(is('=')) | (cr_before ^ lf) | (blank_before & (cr | lf)) | (lf_before & starts);
    after_cr_ = cr_before >> 16;
    after_lf_ = lf_before >> 16;
    after_blank_ = blank_before >> 16;
    if ((odd & 0xFFFF) == 0) return 16;  // apart, so that the next step need not wait for a count
    return static_cast<uint32_t>(std::countr_zero(odd));
  }

 private:
  const __m128i from_;
  uint32_t after_cr_ = 0, after_lf_ = 0, after_blank_ = 0;  // the character before the next is one
};

// Whole lines from `in` on, up to `end`, which has 16 readable bytes after it. Stops before a line that may be a
// boundary line, has an escape that is none, or may end in more than CR, LF or CRLF. Returns where it stopped, and
// in `*out` the end of what came out, at most two bytes for each; sets `*soft` when a line was taken: whether the
// last ended in a soft break.
const uint8_t* DecodeLines(const uint8_t* in, const uint8_t* end, LineCopier* copier, bool* soft,
                           uint8_t** out) {
  const uint8_t* p = in;
  const uint8_t* line = in;  // start of the last line known to start
  const uint8_t* run = in;   // from here on bytes were copied unchanged
  const uint8_t* soft_end = nullptr;
  uint8_t* to = *out;
  uint8_t* line_out = to;
  const auto find_line = [&] {  // the last line that starts in the run
    for (const uint8_t* q = p; q != run; --q) {
      if (q[-1] != '\n') continue;
      line = q;
      line_out = to - (p - q);
      break;
    }
  };
  const auto restart = [&](bool at_line_start) {
    run = p;
    copier->Restart(at_line_start);
    if (!at_line_start) return;
    line = p;
    line_out = to;
  };
  copier->Restart(true);
  for (;;) {  // each turn takes a byte at least, or ends
    const uint32_t plain = copier->Copy(p, to);
    if (plain == 16) {
      p += 16;
      to += 16;
      if (p < end) continue;
    } else {
      p += plain;
      to += plain;
    }
    if (p >= end) {
      const uint8_t* const last = std::max(run, end);
      to -= p - last;
      p = last;
      break;
    }
    if (p != run && p[-1] == '\r' && *p != '\n') {
      if (*p == '\r') break;
      *to++ = '\n';
      restart(true);
    } else if (*p == '=') {
      find_line();
      const uint32_t high = kHexDigits[p[1]];
      const uint32_t low = kHexDigits[p[2]];
      if (IsLineEnd(p[1])) {
        if (p[2] == '\r') break;
        p += p[1] == '\r' && p[2] == '\n' ? 3 : 2;
        soft_end = p;
        restart(true);
      } else if ((high | low) < 16) {
        *to++ = static_cast<uint8_t>(high << 4 | low);
        p += 3;
        restart(false);
      } else {
        break;
      }
    } else if (IsLineEnd(*p)) {
      if (p[1] == '\r') break;
      for (const uint8_t* blank = p; blank != run && IsBlank(blank[-1]); --blank) --to;
      *to++ = '\r';
      *to++ = '\n';
      p += p[0] == '\r' && p[1] == '\n' ? 2 : 1;
      restart(true);
    } else {
      break;
    }
  }
  find_line();
  if (line != in) *soft = line == soft_end;
  *out = line_out;
  return line;
}

// The lines that lie ahead, as far as they hold nothing odd.
void DecodeSoundLines(LineReader& lines, const BoundarySet& boundaries, bool* soft, MailOutput* out) {
  constexpr std::ptrdiff_t kRun = 1024;
  LineCopier copier(boundaries);
  while (out->Room(2 * kRun)) {  // each turn takes a line at least, or ends
    const uint8_t* const in = lines.begin();
    if (lines.end() - in < 4) return;
    uint8_t* to = out->at();
    const uint8_t* const taken =
        DecodeLines(in, in + std::min(kRun, lines.end() - in - 3), &copier, soft, &to);
    if (taken == in) return;
    out->Advance(static_cast<size_t>(to - out->at()));
    lines.Advance(static_cast<uint32_t>(taken - in));
  }
}
#else
void DecodeSoundLines(LineReader&, const BoundarySet&, bool*, MailOutput*) {}
#endif

}  // namespace

uint32_t DecodeQuotedText(Text in, uint8_t* out) {
  uint32_t stored = 0;
  for (size_t at = 0; at < in.size();) {  // each turn takes a byte at least
    if (in[at] != '=') {
      out[stored++] = in[at++];
      continue;
    }
    const Escape escape = ReadEscape(in.subspan(at));
    if (escape.gives) out[stored++] = escape.byte;
    at += escape.taken;
  }
  return stored;
}

bool DecodeQuotedPrintable(MailBody* body, MailOutput* out) {
  LineReader& lines = body->lines;
  bool soft = false;
  Line line;
  for (;;) {  // each turn takes a line or a piece of one
    if (line.ends) DecodeSoundLines(lines, body->boundaries, &soft, out);
    if (!out->Room(2) || !lines.Take(&line)) break;
    if (body->EndsEncoded(line)) {
      if (!soft || body->passed != MailBody::kNone) {
        lines.Seek(line.at);
        break;
      }
      body->passed = line.at;
    }
    const Decoded decoded = DecodePiece(line.ends ? TrimEnd(line.text) : line.text, line.ends, out);
    if (!line.ends) lines.Unread(decoded.left);
    soft = decoded.soft;
    if (!line.ends || soft || !out->Room(2)) continue;
    out->at()[0] = '\r';
    out->at()[1] = '\n';
    out->Advance(2);
  }
  return out->Finish() && !lines.failed();
}

}  // namespace brix::mail
