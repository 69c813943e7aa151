// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_detect.cpp - decides whether a text is mail: a message, a mailbox, or bare uuencoded or BinHex text.
//
// The examined text is the first kilobyte or, with kDetectMailHint, the header block: all lines up to the first empty
// one, after any that are blank at the start. It is mail when one of its lines begins
//   - with a header field or note that only mail has (kKeywords), or
//   - with "begin", a mode in octal, and the next line that is not blank is a uuencoded one; of a line that the text
//     cuts, what is there must fit, or
//   - with "begin" and a mode when no such line can be seen, but the lines that look like addresses outnumber the
//     plain ones.
// Without a blank after their colons, fields that other texts begin lines with too ("to:", "date:") make mail only
// when two different ones are there. Addresses alone never do: lists of subscribers and tables with an address column
// look the same. Nor does anything that begins "#!/", a script.
//
// Bounds: a header block is read once, however long, as lines of at most 256 KiB. One pass, comparing at line starts
// only; addresses are counted in another one over the kilobyte, or along the way in a header block.
#include "formats/mail/mime/mime_detect.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include "core/refuse.h"
#include "decoders/mail/mail_decoders.h"

namespace brix::mime {

namespace {

using mail::IsBlank;
using mail::Lower;
using mail::Text;

constexpr uint32_t kExamined = 1024;  // bytes

struct Keyword {
  std::string_view text;  // in lower case when case does not matter
  bool exact_case;
  bool is_rare = false;  // a field that makes mail without a blank after its colon, too
};
constexpr std::array kKeywords = {
    Keyword{"From ", true},
    Keyword{"Received:", true, true},
    Keyword{"Message-ID:", true, true},
    Keyword{"MIME-Version:", true, true},
    Keyword{"<?#?#?#?#>", true},
    Keyword{"content-type:", false, true},
    Keyword{"from:", false},
    Keyword{"to:", false},
    Keyword{"subject:", false},
    Keyword{"date:", false},
    Keyword{"(this file ", false},
};

// The bytes that a keyword may begin with: most lines are passed over by this alone.
constexpr auto kMayBeginKeyword = [] {
  std::array<bool, 256> may{};
  for (const Keyword& k : kKeywords) {
    for (uint32_t c = 0; c < may.size(); ++c) {
      const auto byte = static_cast<uint8_t>(c);
      if ((k.exact_case ? byte : Lower(byte)) == static_cast<uint8_t>(k.text[0])) may[c] = true;
    }
  }
  return may;
}();

// What a character adds to its line's score.
constexpr auto kScores = [] {
  std::array<int8_t, 256> scores{};
  for (uint32_t c = 0; c < '&'; ++c) scores[c] = -1;
  for (const char c : std::string_view("(),;:<>[\\]`|")) scores[static_cast<uint8_t>(c)] = -1;
  for (const char c : std::string_view(".@")) scores[static_cast<uint8_t>(c)] = 1;
  return scores;
}();

// Hands out a text line by line. CR and LF are each looked for once, however they are mixed.
class Lines {
 public:
  explicit Lines(Text text)
      : at_(text.data()), end_(at_ + text.size()), next_cr_(Find('\r')), next_lf_(Find('\n')) {}

  // The next line without its end; false after the last one.
  bool Take(Text* line) {
    if (at_ == end_) return false;
    if (next_cr_ < at_) next_cr_ = Find('\r');
    if (next_lf_ < at_) next_lf_ = Find('\n');
    const uint8_t* stop = std::min(next_cr_, next_lf_);
    *line = Text(at_, stop);
    last_is_cut_ = stop == end_;
    at_ = last_is_cut_ ? end_ : stop + mail::LineEndSize(Text(stop, end_));
    return true;
  }

  // Whether the text ended before the line taken last did.
  [[nodiscard]] bool last_is_cut() const { return last_is_cut_; }
  // The bytes after it.
  [[nodiscard]] size_t left() const { return static_cast<size_t>(end_ - at_); }

 private:
  [[nodiscard]] const uint8_t* Find(uint8_t c) const {
    if (at_ == end_) return end_;
    const void* found = std::memchr(at_, c, static_cast<size_t>(end_ - at_));
    return found != nullptr ? static_cast<const uint8_t*>(found) : end_;
  }

  const uint8_t* at_;
  const uint8_t* end_;
  const uint8_t* next_cr_;  // end_: no more of them
  const uint8_t* next_lf_;
  bool last_is_cut_ = false;
};

bool BeginsWith(Text line, const Keyword& keyword) {
  if (line.size() < keyword.text.size()) return false;
  return std::equal(keyword.text.begin(), keyword.text.end(), line.begin(), [&](char k, uint8_t c) {
    return static_cast<uint8_t>(k) == (keyword.exact_case ? c : Lower(c));
  });
}

// "begin", blanks, a mode in octal, and nothing else in that word.
bool IsUuencodeBegin(Text line) {
  constexpr Keyword kBegin = {"begin", true};
  if (!BeginsWith(line, kBegin)) return false;
  const auto word_end = line.begin() + static_cast<std::ptrdiff_t>(kBegin.text.size());
  const auto mode = std::find_if_not(word_end, line.end(), IsBlank);
  const auto mode_end = std::find_if_not(mode, line.end(), [](uint8_t c) { return c >= '0' && c <= '7'; });
  return mode != word_end && mode_end != mode && (mode_end == line.end() || IsBlank(*mode_end));
}

// What the lines of a text say, one after the other.
class LineTest {
 public:
  // Whether the text is mail by this line and those before. Of one that the text cuts less is asked.
  bool Take(Text line, bool is_cut) {
    if (awaits_data_ && !mail::IsBlankLine(line)) {
      awaits_data_ = false;
      if (IsData(line, is_cut)) return true;
    }
    if (line.empty()) return false;
    if (line[0] == 'b' && IsUuencodeBegin(line)) awaits_data_ = has_begin_ = true;
    return kMayBeginKeyword[line[0]] && IsKeyword(line);
  }

  // Whether a line opened a block of which nothing else was seen.
  [[nodiscard]] bool has_begin() const { return has_begin_; }

 private:
  static bool IsData(Text line, bool is_cut) {
    if (!is_cut) return mail::IsUuencodedData(line) && HasUuencodedOnly(line);
    const uint32_t count = (line[0] - uint32_t{' '}) & 63;
    return count != 0 && line.size() <= 4 * count / 3 + 5 && HasUuencodedOnly(line);
  }
  static bool HasUuencodedOnly(Text line) {
    return std::all_of(line.begin(), line.end(), [](uint8_t c) { return c >= ' ' && c <= '`'; });
  }

  bool IsKeyword(Text line) {
    for (uint32_t i = 0; i < kKeywords.size(); ++i) {
      const Keyword& keyword = kKeywords[i];
      if (!BeginsWith(line, keyword)) continue;
      const Text rest = line.subspan(keyword.text.size());
      if (keyword.text.back() != ':' || (!rest.empty() && (rest[0] == ' ' || keyword.is_rare))) return true;
      fields_ |= 1u << i;
      return std::popcount(fields_) > 1;
    }
    return false;
  }

  uint32_t fields_ = 0;  // keywords met without a blank
  bool awaits_data_ = false;
  bool has_begin_ = false;
};

// Lines that look like addresses, against the others.
class AddressCount {
 public:
  void Take(Text line) {
    if (line.empty() || IsUuencodeBegin(line)) return;
    int32_t score = 0;
    for (const uint8_t c : line) score += kScores[c];
    ++(score > 0 ? addresses_ : plain_);
  }
  [[nodiscard]] bool Outnumber() const { return addresses_ > plain_; }

 private:
  uint32_t addresses_ = 0;
  uint32_t plain_ = 0;
};

bool LooksLikeMail(Text text) {
  LineTest test;
  Text line;
  for (Lines lines(text); lines.Take(&line);) {
    if (test.Take(line, lines.last_is_cut())) return true;
  }
  if (!test.has_begin()) return false;
  AddressCount count;
  for (Lines lines(text); lines.Take(&line);) count.Take(line);
  return count.Outnumber();
}

// A header block, line by line.
class HeaderTest {
 public:
  // False: the line ends the block, and IsMail() tells what it is.
  bool Take(Text line) {
    if (line.empty()) return !has_begun_;  // blank lines before the first field are no end
    has_begun_ |= !std::all_of(line.begin(), line.end(), IsBlank);
    is_mail_ = is_mail_ || test_.Take(line, false);
    if (!is_mail_) count_.Take(line);
    return true;
  }
  [[nodiscard]] bool IsMail() const { return is_mail_ || (test_.has_begin() && count_.Outnumber()); }

 private:
  LineTest test_;
  AddressCount count_;
  bool has_begun_ = false;
  bool is_mail_ = false;
};

// `start`: the first kilobyte of the input, or all of it.
bool HeaderIsMail(Stream& in, Text start) {
  const bool is_all = start.size() < kExamined;
  HeaderTest test;
  Text text;
  for (Lines lines(start); lines.Take(&text) && (is_all || lines.left() >= mail::kMaxLineEnd);) {
    if (!test.Take(text)) return test.IsMail();
  }
  if (is_all) return Refuse("mime: no end of the header");
  mail::LineReader reader;
  reader.Open(&in);
  test = HeaderTest();
  for (mail::Line line; reader.TakeLine(&line);) {  // ends with the input
    if (!test.Take(line.text)) return test.IsMail();
  }
  NeedMemory(!reader.no_memory());
  return Refuse("mime: no end of the header");
}

}  // namespace

bool DetectMime(Stream& in, uint32_t detect_flags, const FormatTable&) {
  std::array<uint8_t, kExamined> bytes;
  uint32_t got = 0;
  if (!in.ReadAt(0, bytes.data(), bytes.size(), &got) || got == 0) return Refuse("mime: no data");
  const Text text = Text(bytes).first(got);
  constexpr Keyword kScript = {"#!/", true};
  if (BeginsWith(text, kScript)) return Refuse("mime: a script");
  return (detect_flags & kDetectMailHint) == 0 ? LooksLikeMail(text) : HeaderIsMail(in, text);
}

}  // namespace brix::mime
