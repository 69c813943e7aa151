// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// member_search.cpp - finds the members of a message line by line; no tree of the message is built.
//
// Parts are found by watching for the lines that separate them, and an enclosed message is walked as if its lines were
// this message's own, so depth costs nothing. A text part in plain encoding is not shown at once but kept pending: it is
// shown when it ends without a uuencoded or BinHex block in it.
//
// Beyond what a sound message needs:
// - A boundary line ends a header block too. In a mailbox file a line "From ", with a field on the next, ends whatever a
//   boundary line would, but no encoded body of a part: there it is data, and the search goes on at it afterwards if it
//   looks like a mailbox writer's.
// - LF CR and CR CRLF are line ends. Only when one is the first of its kind in a header block, or ends a boundary line,
//   and no field follows, is it a line end and the blank line.
// - A part whose body would be empty begins at the first line of its header block that is no field: its blank line is
//   missing.
// - A header block inside pending text ends that text, which is then shown; only when the text is a part without a header,
//   and no blank line was met in it, were those lines the header of an enclosed message, and are not shown.
// - After a block in text the search goes on at once, since another one may follow in the same part.
// - Every boundary that a multipart names is one, with and without the backslashes in it, and the first section of one
//   that comes in sections. What follows a member's data, up to the next boundary line, is passed over, but not a
//   "content-" field after a line that begins with two dashes: whoever reads boundaries otherwise than we do would see
//   a part there.
// - A multipart that names no boundary gets the first line that begins with two dashes.
//
// Bounds: a line is looked at in a search, again when it may begin a block, and once when its member is extracted; each
// search starts where the one before stopped. Lines and fields are kept to 256 KiB.
#include "formats/mail/mime/member_search.h"

#include "core/memory_stream.h"
#include "formats/mail/mime/mime_detect.h"

namespace brix::mime {

using mail::BeginsWith;
using mail::BoundaryLine;
using mail::CommentFilter;
using mail::Line;
using mail::LooksLikeField;
using mail::Text;

namespace {

constexpr std::string_view kContent = "content-";
constexpr std::string_view kContentType = "content-type";
constexpr std::string_view kDashes = "--";
constexpr size_t kFirstField = 256;   // bytes
constexpr uint32_t kExamined = 1024;  // bytes of an enclosed message that the recogniser sees

bool IsOfBlanks(Text line) { return std::all_of(line.begin(), line.end(), mail::IsBlank); }

// The beginning of a line without comments, in a buffer of the caller's.
Text StartWithoutComments(Text line, std::span<uint8_t> buffer) {
  size_t kept = 0;
  CommentFilter().Feed(line, [&](uint8_t c) {
    if (kept < buffer.size()) buffer[kept++] = c;
  });
  return buffer.first(kept);
}

// Whether a line that is not empty begins with `word`, in lower case, once its comments are removed.
bool BeginsWithoutComments(Text line, std::string_view word) {
  if (line[0] != '(' && mail::Lower(line[0]) != static_cast<uint8_t>(word[0])) return false;
  if (std::find(line.begin(), line.end(), '(') == line.end()) return BeginsWith(line, word);
  std::array<uint8_t, 16> start;  // enough for the words asked for
  return BeginsWith(StartWithoutComments(line, start), word);
}

}  // namespace

void MemberSearch::Open(Stream* in, const FormatTable& formats) {
  formats_ = &formats;
  lines_.Open(in);
  boundaries_.Clear();
  headers_.Clear();
  member_.Clear();
  next_at_ = seen_end_ = 0;
  in_part_ = false;
  is_mime_ = guesses_boundary_ = at_end_ = false;
  records_headers_ = true;
  constexpr std::string_view kFrom = "From ";
  boundaries_.SetMailbox(lines_.Fill(static_cast<uint32_t>(kFrom.size())) &&
                         std::equal(kFrom.begin(), kFrom.end(), lines_.begin()));
}

bool MemberSearch::NoteHeaderLine(Text line) {
  if (records_headers_) {
    if (line.empty()) records_headers_ = false;
    if (!line.empty() && !headers_.Add(line)) return false;
  }
  if (!is_mime_ && !line.empty()) is_mime_ = BeginsWithoutComments(line, "mime-version");
  return true;
}

bool MemberSearch::LineBeginsWith(Text line, std::string_view word) const {
  return is_mime_ ? BeginsWithoutComments(line, word) : BeginsWith(line, word);
}

void MemberSearch::NoteLineEnd(const Line& line) {
  last_end_size_ = line.end_size;
  last_is_double_ =
      line.end_size > 2 || (line.end_size == 2 && *(line.text.data() + line.text.size()) == '\n');
  if (last_is_double_) ++double_ends_;  // at most one for each byte of the input: no overflow
}

bool MemberSearch::Next() {
  member_.Clear();
  text_at_ = body_end_ = kNone;
  is_block_ = false;
  last_end_size_ = 0;
  lines_.Seek(next_at_);
  Line line;
  while (lines_.TakeLine(&line)) {  // ends with the input
    const Step step = SearchLine(line);
    if (step != Step::kGoOn) return step == Step::kFound;
  }
  if (lines_.failed()) return false;
  if (text_at_ != kNone) {
    const uint32_t end = lines_.offset() - (in_part_ ? last_end_size_ : 0);
    return FoundText(end, lines_.offset()) == Step::kFound;
  }
  next_at_ = lines_.offset();
  at_end_ = true;
  return true;
}

MemberSearch::Step MemberSearch::Found(uint32_t body_at, uint32_t next_at) {
  body_at_ = body_at;
  next_at_ = next_at;
  records_headers_ = false;
  return Step::kFound;
}

MemberSearch::Step MemberSearch::FoundText(uint32_t end, uint32_t next_at) {
  member_.content = ContentClass::kPlainText;
  member_.encoding = TransferEncoding::k7Bit;
  member_.is_attachment = text_state_.is_attachment;
  member_.SetName(Text(text_state_.name).first(text_state_.name_size));
  body_end_ = std::max(end, text_at_);
  return Found(text_at_, next_at);
}

MemberSearch::Step MemberSearch::SearchLine(const Line& line) {
  const BoundaryLine kind = boundaries_.Test(line);
  if (kind != BoundaryLine::kNone) return OnBoundary(line, kind);
  if (guesses_boundary_ && BeginsWith(line.text, kDashes)) {
    const Text boundary = GuessBoundary(line.text);
    guesses_boundary_ = boundary.empty();
    if (!guesses_boundary_)
      return boundaries_.Add(boundary) ? OnBoundary(line, BoundaryLine::kOpening) : Step::kFailed;
  }
  if (line.text.empty()) {
    blank_in_text_ = true;
    NoteLineEnd(line);
    return GoOn(NoteHeaderLine(line.text));
  }
  if (BeginsWith(line.text, mail::kBinHexNote)) {
    member_.encoding = TransferEncoding::kBinHex;
    member_.name_size = 0;
    is_block_ = true;
    return Found(lines_.offset(), lines_.offset());
  }
  if (LineBeginsWith(line.text, kContent)) return OnHeaderBlock(line.at);
  NoteLineEnd(line);
  if (mail::IsBlankLine(line.text)) blank_in_text_ = true;
  if (!NoteHeaderLine(line.text)) return Step::kFailed;
  return LineBeginsWith(line.text, "begin") ? OnBegin(line) : Step::kGoOn;
}

MemberSearch::Step MemberSearch::OnBoundary(const Line& line, BoundaryLine kind) {
  if (text_at_ != kNone) return FoundText(line.at - last_end_size_, line.at);
  member_.Clear();
  NoteLineEnd(line);
  in_part_ = kind == BoundaryLine::kOpening;
  return in_part_ ? OnPartStart() : Step::kGoOn;
}

MemberSearch::Step MemberSearch::OnPartStart() {
  Line line;
  if (!lines_.TakeLine(&line)) return GoOn(!lines_.failed());
  const bool is_blank = IsOfBlanks(line.text);
  const bool is_boundary = boundaries_.Test(line) != BoundaryLine::kNone;
  const bool is_header = !is_boundary && (LooksLikeField(line.text) || BeginsWith(line.text, kContent) ||
                                          BeginsWith(line.text, kDashes));
  const bool is_text = last_is_double_ && !is_boundary && !is_header;  // the double end holds the blank line
  if (is_blank || is_text) {                                           // a part without a header
    if (is_blank) {
      NoteLineEnd(line);
    } else {
      lines_.Seek(line.at);
    }
    member_.content = ContentClass::kPlainText;
    text_state_ = member_;
    text_at_ = lines_.offset();
    blank_in_text_ = false;
    return GoOn(NoteHeaderLine(is_blank ? line.text : Text()));
  }
  const uint32_t at = line.at;
  lines_.Seek(at);
  return is_header ? OnHeaderBlock(at) : Step::kGoOn;
}

MemberSearch::Step MemberSearch::OnBegin(const Line& line) {
  constexpr std::string_view kEnd = "end";  // of a block without data
  bool accepted = InterpretBeginLine(line.text, &member_);
  if (accepted) {
    const uint32_t data_at = lines_.offset();
    Line data;
    bool taken = lines_.TakeLine(&data);
    while (taken && mail::IsBlankLine(data.text)) taken = lines_.TakeLine(&data);
    accepted = taken && (mail::IsUuencodedData(data.text) ||
                         (data.text.size() == kEnd.size() && BeginsWith(data.text, kEnd)));
    if (lines_.failed()) return Step::kFailed;
    lines_.Seek(data_at);
    is_block_ = accepted;
    if (accepted) return Found(data_at, data_at);
  }
  member_.encoding = TransferEncoding::kNone;
  member_.name_size = 0;
  return Step::kGoOn;
}

MemberSearch::Step MemberSearch::OnHeaderBlock(uint32_t at) {
  const uint32_t text_end = at - last_end_size_;  // of pending text before it
  member_.Clear();
  guesses_boundary_ = false;
  has_boundary_ = false;
  lines_.Seek(at);
  bool has_content = false;
  const BlockEnd end = ReadHeaderBlock(&has_content);
  if (end == BlockEnd::kFailed) return Step::kFailed;
  if (!has_content && end != BlockEnd::kBlank) return Step::kGoOn;
  if (end == BlockEnd::kBlank && first_non_field_at_ != kNone && !BodyIsEmpty()) first_non_field_at_ = kNone;
  if (first_non_field_at_ != kNone) lines_.Seek(first_non_field_at_);
  const bool is_multipart = member_.content == ContentClass::kMultipart;
  if (is_multipart || (member_.content == ContentClass::kRfc822 && member_.IsPlain() && EnclosedIsMail())) {
    guesses_boundary_ = is_multipart && !has_boundary_;
    if (!blank_in_text_) text_at_ = kNone;
    member_.Clear();
    return GoOn(!lines_.failed());
  }
  if (text_at_ != kNone && blank_in_text_) return FoundText(text_end, at);
  text_at_ = kNone;
  if (member_.content != ContentClass::kPlainText || !member_.IsPlain())
    return Found(lines_.offset(), lines_.offset());
  text_at_ = lines_.offset();
  text_state_ = member_;
  blank_in_text_ = true;
  return Step::kGoOn;
}

MemberSearch::BlockEnd MemberSearch::ReadHeaderBlock(bool* has_content) {
  Line line;
  uint32_t examined = 0;
  first_non_field_at_ = kNone;
  double_ends_ = 0;
  last_is_double_ = false;
  while (lines_.TakeLine(&line)) {  // ends with the input
    if (boundaries_.Test(line) != BoundaryLine::kNone) {
      lines_.Seek(line.at);
      return BlockEnd::kBoundary;
    }
    const bool may_be_text = last_is_double_ && double_ends_ == 1;  // the double end may hold the blank line
    if (IsOfBlanks(line.text)) {
      NoteLineEnd(line);
      return NoteHeaderLine(line.text) ? BlockEnd::kBlank : BlockEnd::kFailed;
    }
    const bool is_content = LineBeginsWith(line.text, kContent);
    const bool is_dashes = !is_content && BeginsWith(line.text, kDashes);
    const bool is_field = is_content || is_dashes || mail::IsBlank(line.text[0]) || LooksLikeField(line.text);
    if (may_be_text && !is_field) {
      lines_.Seek(line.at);
      return NoteHeaderLine({}) ? BlockEnd::kBlank : BlockEnd::kFailed;
    }
    NoteLineEnd(line);
    if (!NoteHeaderLine(line.text)) return BlockEnd::kFailed;
    *has_content |= is_content;
    if (*has_content && ++examined > kMaxHeaderLines) continue;  // the rest is passed over
    if (is_content) {
      first_non_field_at_ = kNone;
      if (!ReadContentField(line)) return BlockEnd::kFailed;
    } else if (is_dashes) {
      member_.has_dash_line = true;
      const Text boundary = GuessBoundary(line.text);
      if (!boundary.empty() && !boundaries_.Add(boundary)) return BlockEnd::kFailed;
    } else if (!is_field && first_non_field_at_ == kNone) {
      first_non_field_at_ = line.at;
    }
  }
  return lines_.failed() ? BlockEnd::kFailed : BlockEnd::kInput;
}

// Whether the next line ends the part.
bool MemberSearch::BodyIsEmpty() {
  const uint32_t at = lines_.offset();
  Line line;
  const bool is_empty = !lines_.TakeLine(&line) || boundaries_.Test(line) != BoundaryLine::kNone;
  lines_.Seek(at);
  return is_empty;
}

bool MemberSearch::ReadContentField(const Line& first) {
  CommentFilter comments;
  field_size_ = field_end_ = 0;
  field_colon_at_ = kNone;
  if (!AppendToField(first.text, &comments)) return false;
  Line next;
  while (lines_.TakeLine(&next)) {  // ends with the input
    if (!ContinuesField(next, comments.is_open())) {
      lines_.Seek(next.at);
      break;
    }
    NoteLineEnd(next);
    if (!NoteHeaderLine(next.text) || !AppendToField(next.text, &comments)) return false;
  }
  if (lines_.failed()) return false;
  const Text field(field_.data(), field_size_);
  if (!BeginsWith(field, kContent)) return true;
  InterpretContentField(field, &member_);
  return member_.content != ContentClass::kMultipart || !BeginsWith(field, kContentType) ||
         AddBoundaries(field);
}

bool MemberSearch::AddBoundaries(Text field) {
  std::array<uint8_t, mail::kMaxBoundary> buffer;
  size_t at = 0;
  for (std::span<uint8_t> boundary(buffer); TakeBoundary(field, &at, &boundary); boundary = buffer) {
    has_boundary_ = true;
    if (!boundaries_.Add(boundary)) return false;
    // Others read a backslash as the mark of what follows it.
    const auto end = std::remove(boundary.begin(), boundary.end(), '\\');
    if (end != boundary.begin() && end != boundary.end() && !boundaries_.Add(Text(boundary.begin(), end)))
      return false;
  }
  return true;
}

// Kept: an open comment reaches to the next blank line, boundary line or "content-" field at the most, and in other
// fields to the end of its line. One parenthesis would hide all that follows otherwise.
bool MemberSearch::ContinuesField(const Line& next, bool comment_open) const {
  if (IsOfBlanks(next.text) || boundaries_.Test(next) != BoundaryLine::kNone) return false;
  if (mail::IsBlank(next.text[0])) return true;
  if (BeginsWith(next.text, kContent)) return false;
  if (comment_open) return true;
  if (field_end_ == 0 || LooksLikeField(next.text) || BeginsWith(next.text, kDashes)) return false;
  const Text field(field_.data(), field_end_);
  return field.back() == ';' || field.back() == '=' ||
         (field_end_ - 1 == field_colon_at_ && FieldIsInterpreted(field));
}

bool MemberSearch::AppendToField(Text line, CommentFilter* comments) {
  const size_t needed = field_size_ + line.size() + 1;
  if (needed > kMaxField) return true;  // what it holds will do
  if (!field_.TryGrow(needed, kFirstField)) return false;
  uint8_t* to = field_.data() + field_size_;
  if (field_size_ != 0 && !comments->is_open()) *to++ = '\n';  // a comment takes its line ends along
  const auto put = [&](uint8_t c) {
    if (c == ':' && field_colon_at_ == kNone) field_colon_at_ = static_cast<uint32_t>(to - field_.data());
    *to++ = c;
    if (!mail::IsBlank(c)) field_end_ = static_cast<uint32_t>(to - field_.data());
  };
  if (is_mime_) {
    comments->Feed(line, put);
  } else {
    std::for_each(line.begin(), line.end(), put);
  }
  field_size_ = static_cast<uint32_t>(to - field_.data());
  return true;
}

bool MemberSearch::EnclosedIsMail() {
  (void)lines_.Fill(kExamined);
  const auto ahead = static_cast<size_t>(lines_.end() - lines_.begin());
  FixedMemoryStream in(Text(lines_.begin(), std::min<size_t>(ahead, kExamined)));
  return DetectMime(in, 0, *formats_);
}

bool MemberSearch::Extract(Stream& out, uint32_t max_bytes, uint32_t* written) {
  mail::MailOutput output(out, max_bytes, &output_);
  mail::MailBody body{lines_, boundaries_, in_part_, seen_end_};
  lines_.Seek(body_at_);
  bool ok = false;
  if (body_end_ != kNone) {
    ok = CopyKnownText(&output);
  } else {
    ok = Decode(&body, &output);
  }
  *written = output.written();
  if (!ok || body_end_ != kNone) return ok;
  if (body.passed != mail::MailBody::kNone) {
    seen_end_ = std::max(seen_end_, lines_.offset());
    next_at_ = body.passed;
    return true;
  }
  Line line;
  bool after_dashes = false;
  while (is_mime_ && !is_block_ && lines_.TakeLine(&line)) {  // ends with the input
    if (boundaries_.Test(line) != BoundaryLine::kNone || (after_dashes && BeginsWith(line.text, kContent))) {
      lines_.Seek(line.at);
      break;
    }
    after_dashes = BeginsWith(line.text, kDashes);
  }
  next_at_ = lines_.offset();
  return !lines_.failed();
}

bool MemberSearch::Decode(mail::MailBody* body, mail::MailOutput* output) {
  switch (member_.encoding) {
    case TransferEncoding::kUuencode:
      return mail::DecodeUuencode(body, output);
    case TransferEncoding::kBase64:
      return mail::DecodeBase64(body, output);
    case TransferEncoding::kQuotedPrintable:
      return mail::DecodeQuotedPrintable(body, output);
    case TransferEncoding::kBinHex:
      return mail::DecodeBinHex(body, output);
    default:
      return mail::CopyText(body, output);
  }
}

// Text whose end the search has seen.
bool MemberSearch::CopyKnownText(mail::MailOutput* output) {
  while (lines_.offset() < body_end_) {  // each turn copies a byte at least, or ends
    if (!lines_.Fill(1)) break;
    const auto ahead = static_cast<uint32_t>(lines_.end() - lines_.begin());
    const uint32_t size = std::min(ahead, body_end_ - lines_.offset());
    if (!output->Write(Text(lines_.begin(), size))) break;
    lines_.Advance(size);
  }
  return output->Finish() && !lines_.failed();
}

}  // namespace brix::mime
