// quoted_printable_decoder.cpp - copies sixteen bytes a step up to the next equals sign.
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

// Copies up to the next "=" or the end of `in`; stores up to 15 bytes more than that. `in` has 16 readable bytes
// behind it. Returns the count copied.
size_t CopyPlain(Text in, uint8_t* out) {
#ifdef __SSE2__
  for (size_t at = 0;; at += 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in.data() + at));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + at), bytes);
    const auto mask = static_cast<uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('='))));
    const size_t left = in.size() - at;
    if (mask != 0 || left <= 16)
      return at + std::min(left, mask != 0 ? static_cast<size_t>(std::countr_zero(mask)) : 16);
  }
#else
  const auto end = std::find(in.begin(), in.end(), '=');
  std::copy(in.begin(), end, out);
  return static_cast<size_t>(end - in.begin());
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
  constexpr size_t kRun = 112;
  constexpr size_t kStep = MailOutput::kMaxRoom - kRun - 16;
  bool soft = false;
  while (!text.empty() && out->Room(MailOutput::kMaxRoom)) {  // each turn takes a byte at least
    uint8_t* to = out->at();
    const uint8_t* const full = to + kStep;
    while (!text.empty() && to < full) {
      const size_t plain = CopyPlain(text.first(std::min(text.size(), kRun)), to);
      to += plain;
      text = text.subspan(plain);
      if (text.empty() || text[0] != '=') continue;
      if (!ends_line && text.size() < 3) {
        out->Advance(static_cast<size_t>(to - out->at()));
        return {static_cast<uint32_t>(text.size()), false};
      }
      const Escape escape = ReadEscape(text);
      *to = escape.byte;
      to += escape.gives ? 1 : 0;
      text = text.subspan(escape.taken);
      soft = escape.taken == 1 && !escape.gives;
    }
    out->Advance(static_cast<size_t>(to - out->at()));
  }
  return {0, soft};
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
  while (out->Room(2) && lines.Take(&line)) {
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
