// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mail_text.h - the small tests on a line of mail that its walk and its decoders share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace brix::mail {

using Text = std::span<const uint8_t>;

inline Text TextOf(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

constexpr uint8_t Lower(uint8_t c) {
  return c >= 'A' && c <= 'Z' ? static_cast<uint8_t>(c + ('a' - 'A')) : c;
}

constexpr bool IsBlank(uint8_t c) { return c == ' ' || c == '\t'; }

// Whether `text` begins with `word`, which is in lower case, in any case.
inline bool BeginsWith(Text text, std::string_view word) {
  return text.size() >= word.size() &&
         std::equal(word.begin(), word.end(), text.begin(),
                    [](char w, uint8_t c) { return static_cast<uint8_t>(w) == Lower(c); });
}

// A line of nothing, or of nothing but tabs.
inline bool IsBlankLine(Text line) {
  return std::all_of(line.begin(), line.end(), [](uint8_t c) { return c == '\t'; });
}

// The longest line end, in bytes. Of more CRs before an LF only the last ones belong to it.
inline constexpr uint32_t kMaxLineEnd = 16;

// The size of the line end that `text` begins with: an LF with any number of CRs before it, LF CR, or a lone CR.
// LF CR is one end only when no LF follows; otherwise that CR belongs to the end of the next line. Looks at
// kMaxLineEnd bytes, which `text` holds unless the input ends before.
inline uint32_t LineEndSize(Text text) {
  const Text seen = text.first(std::min<size_t>(text.size(), kMaxLineEnd));
  size_t at = 0;
  const auto is = [&](size_t i, uint8_t c) { return i < seen.size() && seen[i] == c; };
  while (is(at, '\n') && is(at + 1, '\r')) at += 2;  // LF CR, and blank lines that end so
  const bool pairs = at != 0;
  if (is(0, '\n') && !pairs) return 1;
  while (is(at, '\r')) ++at;
  if (pairs) return is(at, '\n') ? 1 : 2;
  return is(at, '\n') ? static_cast<uint32_t>(at + 1) : 1;
}

// Begins with a field's name and a colon.
inline bool LooksLikeField(Text line) {
  const auto colon = std::find_if(line.begin(), line.end(), [](uint8_t c) {
    return c <= ' ' || c > '~' || c == ':' || c == '=' || c == ';' || c == '"';
  });
  return colon != line.begin() && colon != line.end() && *colon == ':';
}

// Whether a line "From ...", followed by `next`, is one that mailbox writers put before a message: it names a time of
// day, or the first field is one that messages begin with.
[[nodiscard]] bool SeparatesMessages(Text line, Text next);

inline Text TrimEnd(Text text) {
  while (!text.empty() && IsBlank(text.back())) text = text.first(text.size() - 1);
  return text;
}

inline constexpr std::string_view kBinHexNote = "(this file must be converted with binhex";

// Drops parenthesised comments from lines. Depth carries over from line to line; a double quote hides
// parentheses to the end of its line, and counts for nothing inside a comment.
class CommentFilter {
 public:
  // Hands each character outside comments to `sink`.
  template <class Sink>
  void Feed(Text line, Sink sink) {
    bool quoted = false;
    for (const uint8_t c : line) {
      if (depth_ == 0 && c == '"') quoted = !quoted;
      if (!quoted && c == '(') {
        ++depth_;  // at most one for each byte of the input: no overflow
      } else if (!quoted && c == ')' && depth_ != 0) {
        --depth_;
      } else if (depth_ == 0) {
        sink(c);
      }
    }
  }

  [[nodiscard]] bool is_open() const { return depth_ != 0; }

 private:
  uint32_t depth_ = 0;
};

}  // namespace brix::mail
