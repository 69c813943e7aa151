// quoted_printable_decoder.cpp - lines that hold nothing odd are copied sixteen bytes a step, others with care.
//
// Kept: a boundary line behind a soft line break is text. The handler learns of it and goes on there, so that no
// part hides behind one; the next boundary line ends the body in any case, which keeps the cost linear.
//
// Bounds: output never exceeds input but for a line end. Of a line longer than the reader keeps, blanks in front of a
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

bool IsLineEnd(uint8_t c) { return c == '\r' || c == '\n'; }

// Copies sixteen bytes. Returns how many of them stand in front of the first "=" or line end.
uint32_t CopySixteen(const uint8_t* in, uint8_t* out) {
#ifdef __SSE2__
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
  const auto is = [&](char c) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(c)); };
  const auto hits =
      static_cast<uint32_t>(_mm_movemask_epi8(_mm_or_si128(is('='), _mm_or_si128(is('\r'), is('\n')))));
  return static_cast<uint32_t>(std::countr_zero(hits | 1u << 16));
#else
  std::memcpy(out, in, 16);
  return static_cast<uint32_t>(std::find_if(in, in + 16, [](uint8_t c) { return c == '=' || IsLineEnd(c); }) -
                               in);
#endif
}

// What stands at an "=": how many characters it takes, and the byte that it gives, if any.
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

// The lines that lie ahead and hold nothing odd; sets `*soft` behind the last. Stops at the start of one that may be a
// boundary line, has an escape that is none, is long, or whose end does not lie ahead.
void DecodeSoundLines(LineReader& lines, const BoundarySet& boundaries, bool* soft, MailOutput* out) {
  constexpr std::ptrdiff_t kLongest = MailOutput::kMaxRoom - 64;
  while (out->Room(MailOutput::kMaxRoom)) {  // each turn takes a line
    const uint8_t* const line = lines.begin();
    const uint8_t* const end = lines.end();
    if (line == end || boundaries.MayBegin(*line)) return;
    const uint8_t* const last =
        line + std::min(kLongest, end - line) - 1;  // the line's end stands in front of it
    const uint8_t* p = line;
    uint8_t* to = out->at();
    for (;;) {  // each turn takes sixteen bytes, or up to an escape and that
      const uint32_t plain = CopySixteen(p, to);
      p += plain;
      to += plain;
      if (p >= last) return;
      if (plain == 16) continue;
      if (*p != '=' || IsLineEnd(p[1])) break;
      const uint32_t high = kHexDigits[p[1]];
      const uint32_t low = kHexDigits[p[2]];
      if ((high | low) > 15) return;
      *to++ = static_cast<uint8_t>(high << 4 | low);
      p += 3;
    }
    *soft = *p == '=';
    if (*soft) {
      if (++p == last) return;
    } else {
      for (const uint8_t* behind = p; behind != line && IsBlank(behind[-1]); --behind) --to;
      *to++ = '\r';
      *to++ = '\n';
    }
    p += p[0] == '\r' && p[1] == '\n' ? 2 : 1;
    out->Advance(static_cast<size_t>(to - out->at()));
    lines.Advance(static_cast<uint32_t>(p - line));
  }
}

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
    if (body->IsBoundary(line)) {
      if (!soft || body->passed != MailBody::kNone) {
        lines.Seek(line.at);
        break;
      }
      body->passed = line.at;
    }
    const Decoded decoded = DecodePiece(line.ends ? TrimEnd(line.text) : line.text, line.ends, out);
    if (!line.ends) lines.GiveBack(decoded.left);
    soft = decoded.soft;
    if (!line.ends || soft || !out->Room(2)) continue;
    out->at()[0] = '\r';
    out->at()[1] = '\n';
    out->Advance(2);
  }
  return out->Finish() && !lines.failed();
}

}  // namespace brix::mail
