// mime_detect.cpp - decides whether a text is mail: a message, a mailbox, or bare uuencoded or BinHex text.
//
// The examined text is the first kilobyte or, with kDetectMailHint, the header block. It is mail when one of
// its lines (ended by CR, LF or CRLF) begins
//   - with a header field or note that only mail has (kKeywords), or
//   - with "begin", a mode in octal, and the next line that is not blank is a uuencoded one; of a line
//     that the text cuts, what is there must fit, or
//   - with "begin" and a mode when no such line can be seen, but the lines that look like addresses outnumber
//     the plain ones.
// Addresses alone never make mail: lists of subscribers and tables with an address column look the same. Nor
// does anything that begins "#!/", a script.
//
// Bounds: 64 KiB of a longer header block are examined; the search for its end goes on through the file in
// pieces, but only when those were mail. Cost: one pass over the text, comparing at line starts only.
#include "formats/mail/mime/mime_detect.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "core/field_reader.h"
#include "core/memory_block.h"
#include "core/refuse.h"
#include "decoders/mail/mail_decoders.h"

namespace brix::mime {

namespace {

using mail::IsBlank;
using mail::Lower;
using mail::Text;

constexpr uint32_t kExamined = 1024;          // bytes
constexpr uint32_t kMaxHeaderText = 1 << 16;  // bytes of a longer header block
constexpr uint32_t kEndOverlap = 4;           // at least the longest end of a header block less one

struct Keyword {
  std::string_view text;  // in lower case when case does not matter
  bool exact_case;
};
constexpr std::array kKeywords = {
    Keyword{"From ", true},          Keyword{"Received: ", true},   Keyword{"Message-ID: ", true},
    Keyword{"MIME-Version: ", true}, Keyword{"<?#?#?#?#>", true},   Keyword{"content-type: ", false},
    Keyword{"from: ", false},        Keyword{"to: ", false},        Keyword{"subject: ", false},
    Keyword{"date: ", false},        Keyword{"(this file ", false},
};

// The bytes that a keyword may begin with: most lines are told by this alone.
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

// Hands out a text line by line. Each kind of line end is looked for once, however the two are mixed.
class Lines {
 public:
  explicit Lines(Text text)
      : at_(text.data()), end_(at_ + text.size()), next_cr_(Find('\r')), next_lf_(Find('\n')) {}

  // The next line without its end; false behind the last one.
  bool Take(Text* line) {
    if (at_ == end_) return false;
    if (next_cr_ < at_) next_cr_ = Find('\r');
    if (next_lf_ < at_) next_lf_ = Find('\n');
    const uint8_t* stop = std::min(next_cr_, next_lf_);
    *line = Text(at_, stop);
    last_is_cut_ = stop == end_;
    const bool two = next_lf_ != end_ && stop == next_cr_ && next_lf_ == stop + 1;
    at_ = last_is_cut_ ? end_ : stop + (two ? 2 : 1);
    return true;
  }

  // Whether the text ended before the line taken last did.
  [[nodiscard]] bool last_is_cut() const { return last_is_cut_; }

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

bool BeginsWithKeyword(Text line) {
  return !line.empty() && kMayBeginKeyword[line[0]] &&
         std::any_of(kKeywords.begin(), kKeywords.end(),
                     [&](const Keyword& keyword) { return BeginsWith(line, keyword); });
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

uint32_t UuencodedCount(uint8_t first) { return (first - uint32_t{' '}) & 63; }

// Whether uuencoded data follow a begin line. A line that the text cuts need only be a part of one.
bool UuencodedDataFollow(Lines rest) {
  Text line;
  while (rest.Take(&line)) {
    if (std::all_of(line.begin(), line.end(), [](uint8_t c) { return c == '\t'; })) continue;
    if (!std::all_of(line.begin(), line.end(), [](uint8_t c) { return c >= ' ' && c <= '`'; })) return false;
    const uint32_t count = UuencodedCount(line[0]);
    return rest.last_is_cut() ? count != 0 && line.size() <= 4 * count / 3 + 5 : mail::IsUuencodedData(line);
  }
  return false;
}

bool AddressesOutnumberPlainLines(Text text) {
  uint32_t addresses = 0;
  uint32_t plain = 0;
  Lines lines(text);
  Text line;
  while (lines.Take(&line)) {
    if (line.empty() || IsUuencodeBegin(line)) continue;
    int32_t score = 0;
    for (const uint8_t c : line) score += kScores[c];
    ++(score > 0 ? addresses : plain);
  }
  return addresses > plain;
}

bool LooksLikeMail(Text text) {
  constexpr Keyword kScript = {"#!/", true};
  if (BeginsWith(text, kScript)) return Refuse("mime: a script");
  bool lone_begin = false;
  Lines lines(text);
  Text line;
  while (lines.Take(&line)) {
    if (BeginsWithKeyword(line)) return true;
    if (line.empty() || line[0] != 'b' || !IsUuencodeBegin(line)) continue;
    if (UuencodedDataFollow(lines)) return true;
    lone_begin = true;
  }
  return lone_begin && AddressesOutnumberPlainLines(text);
}

// The size of the header block with its end: a line end and an empty line, however written. 0: no end in
// sight.
size_t HeaderBlockSize(Text text) {
  constexpr std::array<std::string_view, 4> kEnds = {"\n\r\n", "\n\n", "\r\n\r", "\r\r"};
  const std::string_view all(reinterpret_cast<const char*>(text.data()), text.size());
  Lines lines(text);
  Text line;
  while (lines.Take(&line)) {
    const auto line_end = static_cast<size_t>(line.data() - text.data()) + line.size();
    // CRLF: an end may start at either of the two.
    const size_t last = all.substr(line_end).starts_with("\r\n") ? line_end + 1 : line_end;
    for (size_t at = line_end; at <= last; ++at) {
      for (const std::string_view end : kEnds) {
        if (all.substr(at).starts_with(end)) return at + end.size();
      }
    }
  }
  return 0;
}

// A header block that does not end in the first kilobyte.
bool LongHeaderIsMail(Stream& in) {
  MemoryBlock buffer;
  NeedMemory(buffer.TryResize(kMaxHeaderText));
  bool examined = false;
  for (uint32_t at = 0;;) {
    uint32_t got = 0;
    if (!in.ReadAt(at, buffer.data(), kMaxHeaderText, &got)) return false;
    const Text text(buffer.data(), got);
    const size_t block_size = HeaderBlockSize(text);
    if (!examined && !LooksLikeMail(block_size == 0 ? text : text.first(block_size))) return false;
    if (block_size != 0) return true;
    examined = true;
    if (got < kMaxHeaderText || !CheckedAdd(&at, kMaxHeaderText - kEndOverlap)) {
      return Refuse("mime: no end of the header");
    }
  }
}

}  // namespace

bool DetectMime(Stream& in, uint32_t detect_flags, const FormatTable&) {
  std::array<uint8_t, kExamined> bytes;
  uint32_t got = 0;
  if (!in.ReadAt(0, bytes.data(), bytes.size(), &got) || got == 0) return Refuse("mime: no data");
  const Text text = Text(bytes).first(got);
  if ((detect_flags & kDetectMailHint) == 0) return LooksLikeMail(text);
  const size_t block_size = HeaderBlockSize(text);
  if (block_size != 0) return LooksLikeMail(text.first(block_size));
  return got == kExamined && LongHeaderIsMail(in);
}

}  // namespace brix::mime
