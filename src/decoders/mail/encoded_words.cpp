// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// encoded_words.cpp - finds encoded words and undoes their B or Q encoding.
//
// Kept: Q words follow the rules of quoted-printable lines, so that an underscore stays one.
//
// Bounds: what is decoded is never longer than its word. When no end is found after a word's start there is none
// after a later start either, and the search stops, so the cost is linear.
#include "decoders/mail/encoded_words.h"

#include "decoders/mail/mail_decoders.h"
#include "decoders/mail/six_bit.h"

namespace brix::mail {

namespace {

std::string_view Characters(Text text) { return {reinterpret_cast<const char*>(text.data()), text.size()}; }

struct Word {
  size_t at = std::string_view::npos;
  size_t size = 0;
  std::string_view charset, data;
  bool base64 = false;
};

// The first encoded word in `text`.
bool FindWord(std::string_view text, Word* word) {
  constexpr std::string_view kLetters = "BbQq";
  for (size_t at = text.find("=?"); at != std::string_view::npos; at = text.find("=?", at + 1)) {
    const size_t letter = text.find('?', at + 2);
    if (letter == std::string_view::npos || letter + 3 > text.size()) return false;
    if (text[letter + 2] != '?' || kLetters.find(text[letter + 1]) == std::string_view::npos) {
      at = letter - 2;  // no start lies between
      continue;
    }
    const size_t end = text.find("?=", letter + 3);
    if (end == std::string_view::npos) return false;
    *word = {at, end + 2 - at, text.substr(at + 2, letter - at - 2),
             text.substr(letter + 3, end - letter - 3), Lower(static_cast<uint8_t>(text[letter + 1])) == 'b'};
    return true;
  }
  return false;
}

bool IsSpace(char c) { return IsBlank(static_cast<uint8_t>(c)) || c == '\n' || c == '\r'; }

std::string_view SkipSpace(std::string_view text) {
  while (!text.empty() && IsSpace(text[0])) text.remove_prefix(1);
  return text;
}

uint32_t DecodeB(std::string_view data, uint8_t* out) {
  SixBits bits;
  uint32_t stored = 0;
  for (const char c : data) {
    const uint8_t value = kBase64[static_cast<uint8_t>(c)];
    if (value != kForeign && bits.Put(value, out + stored)) ++stored;
  }
  return stored;
}

}  // namespace

uint32_t DecodeEncodedWords(Text value, uint8_t* out) {
  std::string_view rest = SkipSpace(Characters(value));
  if (!rest.empty() && (rest[0] == '"' || rest[0] == '\'')) rest.remove_prefix(1);
  uint32_t stored = 0;
  const auto copy = [&](std::string_view text) {
    std::copy(text.begin(), text.end(), out + stored);
    stored += static_cast<uint32_t>(text.size());
  };
  Word word;
  for (bool first = true; FindWord(rest, &word); first = false) {  // each turn takes a word
    const std::string_view between = rest.substr(0, word.at);
    if (first || !SkipSpace(between).empty()) copy(between);
    stored +=
        word.base64 ? DecodeB(word.data, out + stored) : DecodeQuotedText(TextOf(word.data), out + stored);
    rest.remove_prefix(word.at + word.size);
  }
  copy(rest);
  return stored;
}

std::string_view CharsetOfEncodedWords(Text value) {
  Word word;
  return FindWord(Characters(value), &word) ? word.charset : std::string_view("unknown");
}

}  // namespace brix::mail
