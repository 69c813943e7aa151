// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// content_field.cpp - Content-Type, Content-Transfer-Encoding and Content-Disposition.
//
// A parameter is looked for where one may begin: after a semicolon that is not quoted, and at the start of a
// continuation line. Its value ends at a semicolon or at the line's end; all its double quotes are dropped.
//
// Bounds: one pass over the field for each parameter asked for; values are cut to their buffers.
#include "formats/mail/mime/content_field.h"

#include <cstring>

namespace brix::mime {

namespace {

using mail::BeginsWith;
using mail::IsBlank;
using mail::Text;

constexpr size_t kNameAt = 8;  // after "content-"
constexpr std::string_view kType = "type";
constexpr std::string_view kEncoding = "transfer-encoding";
constexpr std::string_view kDisposition = "disposition";

Text SkipBlanks(Text text) {
  while (!text.empty() && IsBlank(text[0])) text = text.subspan(1);
  return text;
}

// Copies a parameter's value; `out` is cut to what was stored.
void CopyValue(Text text, std::span<uint8_t>* out) {
  while (!text.empty() && (IsBlank(text[0]) || text[0] == '\n'))
    text = text.subspan(1);  // the next line goes on
  size_t size = 0;
  for (const uint8_t c : text) {
    if (c == ';' || c == '\n' || size == out->size()) break;
    if (c != '"') (*out)[size++] = c;
  }
  while (size != 0 && IsBlank((*out)[size - 1])) --size;
  *out = out->first(size);
}

// The next parameter that is called `name`, in lower case, with any characters of `more` after it; from `*from` on,
// which is moved past the place where it was found.
bool FindParameter(Text field, std::string_view name, std::string_view more, size_t* from,
                   std::span<uint8_t>* out) {
  bool quoted = false;
  for (size_t& at = *from; at < field.size(); ++at) {
    const uint8_t c = field[at];
    if (c == '"') quoted = !quoted;
    if (c == '\n') quoted = false;
    if (c != '\n' && (c != ';' || quoted)) continue;
    const Text here = SkipBlanks(field.subspan(at + 1));
    if (!BeginsWith(here, name)) continue;
    Text rest = here.subspan(name.size());
    while (!rest.empty() && more.find(static_cast<char>(rest[0])) != more.npos) rest = rest.subspan(1);
    rest = SkipBlanks(rest);
    if (rest.empty() || rest[0] != '=') continue;
    CopyValue(rest.subspan(1), out);
    ++at;
    return true;
  }
  return false;
}

void FindName(Text field, std::string_view parameter, MemberState* member) {
  std::array<uint8_t, kNameBufferSize - 1> buffer;
  std::span<uint8_t> name(buffer);
  size_t at = 0;
  if (FindParameter(field, parameter, "", &at, &name)) member->SetName(name);
}

void InterpretType(Text field, Text value, MemberState* member) {
  member->content = ContentClass::kOther;
  if (BeginsWith(value, "multipart")) {
    member->content = ContentClass::kMultipart;
  } else if (BeginsWith(value, "text")) {
    const bool plain = BeginsWith(value.subspan(4), "/plain");
    member->content = plain ? ContentClass::kPlainText : ContentClass::kOtherText;
  } else if (BeginsWith(value, "application/mac-binhex")) {
    member->encoding = TransferEncoding::kBinHex;
    member->encoding_from_type = true;
  } else if (BeginsWith(value, "message/rfc822")) {
    member->content = ContentClass::kRfc822;
  }
  FindName(field, "name", member);
}

// A second field is ignored, unless the first encoding was only implied or dashes stood between.
void InterpretEncoding(Text value, MemberState* member) {
  struct Word {
    std::string_view text;
    TransferEncoding encoding;
  };
  constexpr Word kWords[] = {
      {"7bit", TransferEncoding::k7Bit},
      {"8bit", TransferEncoding::k8Bit},
      {"x-uue", TransferEncoding::kUuencode},
      {"base64", TransferEncoding::kBase64},
      {"quoted-printable", TransferEncoding::kQuotedPrintable},
      {"binary", TransferEncoding::kBinary},
  };
  if (member->encoding != TransferEncoding::kNone && !member->encoding_from_type && !member->has_dash_line)
    return;
  if (!value.empty() && value[0] == '(') {  // a comment in a message that does not say that it is MIME
    value = value.subspan(static_cast<size_t>(std::find(value.begin(), value.end(), ')') - value.begin()));
    while (!value.empty() && (IsBlank(value[0]) || value[0] == ')')) value = value.subspan(1);
  }
  if (!value.empty() && value[0] == '"') value = value.subspan(1);
  for (const Word& word : kWords) {
    if (!BeginsWith(value, word.text)) continue;
    member->encoding = word.encoding;
    member->encoding_from_type = false;
    return;
  }
}

bool IsSpaceOfBegin(uint8_t c) { return c < 33 || c == 127; }

}  // namespace

void InterpretContentField(Text field, MemberState* member) {
  const Text rest = field.subspan(kNameAt);
  // The value of the field of that name.
  const auto value_of = [&](std::string_view name, Text* value) {
    if (!BeginsWith(rest, name)) return false;
    *value = rest.subspan(name.size());
    const auto is_space = [](uint8_t c) { return IsBlank(c) || c == '\n'; };
    const auto solid = std::find_if_not(value->begin(), value->end(), is_space);
    if (solid == value->end() || *solid != ':') {  // without a colon
      const bool is_blank = !value->empty() && IsBlank((*value)[0]);
      *value = SkipBlanks(*value);
      return is_blank;
    }
    const auto at = std::find_if_not(solid, value->end(), [&](uint8_t c) { return is_space(c) || c == ':'; });
    *value = Text(at, value->end());
    return true;
  };
  Text value;
  if (value_of(kType, &value)) {
    InterpretType(rest, value, member);
  } else if (value_of(kEncoding, &value)) {
    InterpretEncoding(value, member);
  } else if (value_of(kDisposition, &value)) {
    if (BeginsWith(value, "attachment")) member->is_attachment = true;
    FindName(rest, "filename", member);
  }
}

bool FieldIsInterpreted(Text field) {
  const Text rest = field.subspan(std::min(kNameAt, field.size()));
  return BeginsWith(rest, kType) || BeginsWith(rest, kEncoding) || BeginsWith(rest, kDisposition);
}

bool TakeBoundary(Text field, size_t* at, std::span<uint8_t>* boundary) {
  // Of one that comes in sections ("boundary*0=") the first will do, since longer lines match too.
  return FindParameter(field, "boundary", "*0", at, boundary);
}

bool InterpretBeginLine(Text line, MemberState* member) {
  constexpr size_t kMaxWord = kNameBufferSize - 1;
  constexpr std::string_view kBegin = "begin";
  Text name, second;
  size_t words = 0;
  for (size_t at = 0; at < line.size();) {  // each turn takes a word
    if (IsSpaceOfBegin(line[at])) {
      ++at;
      continue;
    }
    const size_t start = at;
    while (at < line.size() && !IsSpaceOfBegin(line[at])) ++at;
    const Text word = line.subspan(start, std::min(at - start, kMaxWord));
    ++words;
    if (words == 1 && (start != 0 || at != kBegin.size())) return false;
    if (words == 2) second = word;
    if (words == 2 || words == 3) name = word;
    if (words > 4) return false;
  }
  if (!BeginsWith(line, kBegin)) return false;
  if (name.size() == 1 && (name[0] == '{' || name[0] == '\\')) return false;
  const auto is_octal = [](uint8_t c) { return c >= '0' && c <= '7'; };
  const bool mode_only = words == 2 && std::all_of(second.begin(), second.end(), is_octal);
  member->SetName(mode_only ? Text() : name);
  member->encoding = TransferEncoding::kUuencode;
  return true;
}

Text GuessBoundary(Text line) {
  if (line.size() > kMaxGuessedLine) return {};
  Text text = line.subspan(2);
  const auto space = std::find_if(text.begin(), text.end(), [](uint8_t c) { return c >= '\t' && c <= '\r'; });
  if (!std::all_of(space, text.end(), [](uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }))
    return {};
  return mail::TrimEnd(text.first(static_cast<size_t>(space - text.begin())));
}

}  // namespace brix::mime
