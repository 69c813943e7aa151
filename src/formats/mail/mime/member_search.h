// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// member_search.h - the walk through a message: finds one member after the other.
#pragma once

#include <cstdint>

#include "core/format_table.h"
#include "core/memory_block.h"
#include "decoders/mail/mail_decoders.h"
#include "formats/mail/mime/content_field.h"
#include "formats/mail/mime/header_record.h"
#include "formats/mail/mime/mime_format.h"

namespace brix::mime {

class MemberSearch {
 public:
  // Starts before the first member of `in`, which must outlive the search.
  void Open(Stream* in, const FormatTable& formats);

  // Looks for the next member. True with at_end(): there is none. False: a read failed, or memory is exhausted.
  [[nodiscard]] bool Next();

  // Decodes the member. The search continues after it.
  [[nodiscard]] bool Extract(Stream& out, uint32_t max_bytes, uint32_t* written);

  [[nodiscard]] bool at_end() const { return at_end_; }
  [[nodiscard]] const MemberState& member() const { return member_; }
  [[nodiscard]] HeaderRecord& headers() { return headers_; }

 private:
  static constexpr uint32_t kNone = UINT32_MAX;  // no offset
  enum class Step : uint8_t { kGoOn, kFound, kFailed };
  enum class BlockEnd : uint8_t { kBlank, kBoundary, kInput, kFailed };

  Step SearchLine(const mail::Line& line);
  Step OnBoundary(const mail::Line& line, mail::BoundaryLine kind);
  Step OnBegin(const mail::Line& line);
  Step OnHeaderBlock(uint32_t at);
  Step OnPartStart();
  BlockEnd ReadHeaderBlock(bool* has_content);
  [[nodiscard]] bool ReadContentField(const mail::Line& first);
  [[nodiscard]] bool AddBoundaries(mail::Text field);
  [[nodiscard]] bool AppendToField(mail::Text line, mail::CommentFilter* comments);
  [[nodiscard]] bool ContinuesField(const mail::Line& next, bool comment_open) const;
  [[nodiscard]] bool EnclosedIsMail();
  [[nodiscard]] bool BodyIsEmpty();
  [[nodiscard]] bool NoteHeaderLine(mail::Text line);
  // Whether a line that is not empty begins with `word`: in a MIME message, without its comments.
  [[nodiscard]] bool LineBeginsWith(mail::Text line, std::string_view word) const;
  void NoteLineEnd(const mail::Line& line);

  [[nodiscard]] bool Decode(mail::MailBody* body, mail::MailOutput* output);
  [[nodiscard]] bool CopyKnownText(mail::MailOutput* output);

  Step Found(uint32_t body_at, uint32_t next_at);
  Step FoundText(uint32_t end, uint32_t next_at);
  static Step GoOn(bool ok) { return ok ? Step::kGoOn : Step::kFailed; }

  const FormatTable* formats_ = nullptr;
  mail::LineReader lines_;
  mail::BoundarySet boundaries_;
  HeaderRecord headers_;
  MemoryBlock field_;  // the field being read
  uint32_t field_size_ = 0;
  uint32_t field_end_ = 0;           // of its last character that is neither a blank nor a line end
  uint32_t field_colon_at_ = kNone;  // its first colon
  MemoryBlock output_;               // the decoders' output buffer

  MemberState member_;
  uint32_t body_at_ = 0;       // offset of the member's data
  uint32_t body_end_ = kNone;  // and of their end, when the search has seen it
  uint32_t next_at_ = 0;       // where the next search begins

  bool has_boundary_ = false;            // the header block being read names one
  uint32_t text_at_ = kNone;             // offset of the pending text part
  uint32_t first_non_field_at_ = kNone;  // offset of the first line of the header block that is no field
  MemberState text_state_;               // its name
  bool blank_in_text_ = false;           // a blank line was met in it
  bool in_part_ = false;                 // the last boundary line opened a part
  uint32_t seen_end_ = 0;                // up to here lines "From " were taken for data of a part
  uint32_t last_end_size_ = 0;           // of the line before: it belongs to a boundary line
  // The line before ends in LF CR or CR CRLF, which may as well be a line end and a blank line; and how many lines
  // of the header block end so.
  bool last_is_double_ = false;
  uint32_t double_ends_ = 0;
  bool is_mime_ = false;
  bool records_headers_ = false;
  bool guesses_boundary_ = false;  // a multipart names no boundary: the next dash line is one
  bool is_block_ = false;          // the member is a uuencoded or BinHex block found in text
  bool at_end_ = false;
};

}  // namespace brix::mime
