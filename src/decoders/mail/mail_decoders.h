// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mail_decoders.h - the transfer encodings of mail.
#pragma once

#include <cstdint>

#include "decoders/mail/boundary_set.h"
#include "decoders/mail/line_reader.h"
#include "decoders/mail/mail_output.h"

namespace brix::mail {

// What a decoder reads: the message from the reader's offset on.
struct MailBody {
  static constexpr uint32_t kNone = UINT32_MAX;

  LineReader& lines;
  const BoundarySet& boundaries;
  bool in_part = false;     // a boundary line began it, so that another one should end it
  uint32_t seen_end = 0;    // up to this offset the message was decoded as data of an earlier body
  uint32_t passed = kNone;  // out: offset of a boundary line that the decoder read as data

  // Whether a line ends text that is copied. Of a piece of a line, only the first can.
  [[nodiscard]] bool IsBoundary(const Line& line) const {
    return line.starts && boundaries.Test(line) != BoundaryLine::kNone;
  }

  // Whether a line ends encoded data. A line "From " is data in a part, and elsewhere unless SeparatesMessages. In a part
  // that does separate messages the handler goes on there afterwards, for the part may lack its end; within seen_end
  // it ends the body, so that nothing is decoded more than twice.
  [[nodiscard]] bool EndsEncoded(const Line& line);
};

// Each decodes until the body's end, the end of the input, a boundary line, at whose start the reader is left, or
// until `out` takes no more. Nothing is an error but a failed read or write: foreign characters, bad digits,
// lines of a wrong length and missing ends all decode to fewer bytes. No checksum is verified.

// As it stands, but for the line end before a boundary line, or at the end of the input where one is missing.
[[nodiscard]] bool CopyText(MailBody* body, MailOutput* out);
// A line that ends in "=" is the last.
[[nodiscard]] bool DecodeBase64(MailBody* body, MailOutput* out);
// Line ends come out as CRLF.
[[nodiscard]] bool DecodeQuotedPrintable(MailBody* body, MailOutput* out);
// The line "end" is the last.
[[nodiscard]] bool DecodeUuencode(MailBody* body, MailOutput* out);
// The data fork and after it the resource fork. An empty line after data ends them.
[[nodiscard]] bool DecodeBinHex(MailBody* body, MailOutput* out);

// Whether a line, without its end, may hold uuencoded data: the byte count in its first character fits its length.
[[nodiscard]] bool IsUuencodedData(Text line);

// Undoes the escapes of one line of quoted-printable text. At most as many bytes as `in` has are stored at `out`;
// returns their count.
uint32_t DecodeQuotedText(Text in, uint8_t* out);

}  // namespace brix::mail
