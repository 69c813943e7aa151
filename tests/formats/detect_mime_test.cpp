// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// The mail recogniser.
#include <gtest/gtest.h>

#include <string>

#include "core/memory_stream.h"
#include "core/stream_views.h"
#include "formats/mail/mime/mime_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/rows.h"

namespace brix {
namespace {

bool IsMail(const std::string& text, uint32_t flags = 0) {
  const Bytes file = Bytes().Text(text);
  FixedMemoryStream in(file.data);
  return mime::DetectMime(in, flags, Formats());
}

const auto kIsMail = [](const std::string& text) { return IsMail(text); };

std::string Lines(uint32_t bytes) {  // header lines that are no keywords
  std::string text;
  while (text.size() < bytes) text += "X-Filler: 0123456789012345678901234567890123456789\n";
  return text;
}

TEST(DetectMime, KeywordsAtTheStartOfALine) {
  const Rows<std::string, bool> rows = {
      {"mailbox line", "From a@b Mon", true},
      {"mailbox line in capitals", "FROM a@b Mon", false},
      {"exact case", "MIME-Version: 1.0", true},
      {"wrong case", "Mime-Version: 1.0", false},
      {"any case, mixed", "cOnTeNt-TyPe: text/plain", true},
      {"no blank", "Subject:x", false},
      {"no blank, two fields", "Subject:x\ndate:\ty", true},
      {"no blank, one field twice", "to:x\nTO:y", false},
      {"no blank, a field that only mail has", "x\nReceived:from y", true},
      {"the same without a value", "Content-Type:\n", false},
      {"BinHex note", "(This file must be converted with BinHex 4.0)", true},
      {"the odd mark", "<?#?#?#?#>", true},
      {"not at the start of its line", " Subject: x", false},
      {"behind LF", "x\nTo: y", true},
      {"behind CR", "x\rTo: y", true},
      {"behind CRLF", "x\r\nTo: y", true},
      {"CR as the last byte", "x\r", false},
      {"a script", "#!/bin/sh\nSubject: x\n", false},
      {"a script's mark elsewhere", "\n#!/bin/sh\nSubject: x\n", true},
      {"across the end of what is examined", std::string(1024 - 3, '\n') + "To: y", false},
      {"the last that fits", std::string(1024 - 4, '\n') + "To: y", true},
  };
  ExpectRows(rows, kIsMail);
}

TEST(DetectMime, UuencodedTextNeedsADataLine) {
  const std::string data = "M" + std::string(60, '!') + "\n";
  const Rows<std::string, bool> rows = {
      {"behind prose", "Here it is, as you asked.\n\nbegin 644 a.doc\n" + data, true},
      {"blank lines between", "begin 644 a.doc\r\n\r\n\t\r\n" + data, true},
      {"mode without a name", "begin\t644\n" + data, true},
      {"no mode", "begin a.doc\n" + data, false},
      {"mode not octal", "begin 684x a.doc\n" + data, false},
      {"other word", "beginner 644 a.doc\n" + data, false},
      {"other case", "BEGIN 644 a.doc\n" + data, false},
      {"a line too short for its count", "begin 644 a.doc\nM!!!!!!!!\n", false},
      {"a line too long for its count", "begin 644 a.doc\n#" + std::string(9, '!') + "\n", false},
      {"the longest for its count", "begin 644 a.doc\n#" + std::string(8, '!') + "\n", true},
      {"count 0", "begin 644 a.doc\n`\n", false},
      {"prose", "begin 12 steps\nFirst of all, open the lid.\n", false},
      {"nothing behind it", "begin 644 a.doc\n", false},
      {"data cut by the examined text", std::string(1024 - 20, '\n') + "begin 644 a\n" + data, true},
      {"data out of sight, addresses before",
       "a@b.c\nd@e.f\n" + std::string(1024 - 28, '\n') + "begin 644 a.doc\n", true},
      {"data out of sight, prose before", "some words\n" + std::string(1024 - 27, '\n') + "begin 644 a.doc\n",
       false},
  };
  ExpectRows(rows, kIsMail);
}

TEST(DetectMime, OtherTextIsNoMail) {
  const std::string texts[] = {
      "#include <map>\n\nint main() {\n  return f(a->b, \"x@y.z\");\n}\n",
      "name,mail\nAnn,ann@example.com\nBob,bob@example.com\n",
      "ann@example.com\nbob@example.com\n",
      "[mail]\nhost=mail.example.com\nuser=a@b.c\n",
      std::string("\x7F\x45LF\x02\x01\x01\0\0\n\r\n\x80\xFF", 15),
      "procedure p;\nbegin\n  x := 1;\nend;\n",
  };
  for (const std::string& text : texts) EXPECT_FALSE(IsMail(text)) << text;
}

TEST(DetectMime, TheHintAsksForTheWholeHeaderBlock) {
  const std::string far = Lines(1100);
  const Rows<std::string, bool> rows = {
      {"LF LF", "To: y\n\nbody", true},
      {"LF CR LF", "To: y\n\r\nbody", true},
      {"CR LF CR LF", "To: y\r\n\r\nbody", true},
      {"CR CR", "To: y\r\rbody", true},
      {"no end", "To: y\nbody\n", false},
      {"CR CR LF", "X-A: y\r\r\nTo: y\r\r\n\r\r\nbody", true},
      {"blank lines first", "\r\n\n \t\nTo: y\n\nbody", true},
      {"blank lines first, a keyword after the block", "\n\nX-A: y\n\nTo: z\n\n", false},
      {"blank lines only", std::string(2000, '\n'), false},
      {"a keyword behind the block", "X-A: y\n\nTo: z\n", false},
      {"a keyword far in the block", far + "To: y\n\n", true},
      {"the block ends across the first kilobyte", "To: y\n" + std::string(1024 - 7, 'x') + "\n\n", true},
      {"the block ends behind 64 KiB", "To: y\n" + Lines(200000) + "\n", true},
      {"the end of the block lies across two pieces", "To: y\n" + std::string(65536 - 7, 'x') + "\n\n", true},
      {"a keyword behind 64 KiB", Lines(70000) + "To: y\n\n", true},
      {"a block in the header after a kilobyte", far + "begin 644 a\n#86)C\nend\n\n", true},
      {"no keyword in a long block", Lines(200000) + "\nTo: y\n\n", false},
      {"a long text without end", "To: y\n" + Lines(200000), false},
  };
  ExpectRows(rows, [](const std::string& text) { return IsMail(text, kDetectMailHint); });
  EXPECT_FALSE(IsMail(far + "To: y\n\n")) << "without the hint the first kilobyte decides";
}

TEST(DetectMime, LooksAtAViewOfAnEnclosedMessage) {
  const std::string outer = "--b\nContent-Type: message/rfc822\n\n";
  const auto at = static_cast<uint32_t>(outer.size());
  const Bytes file = Bytes().Text(outer).Text("From me\n");
  FixedMemoryStream whole(file.data);
  for (const uint32_t skip : {0u, 1u}) {
    RangeStream enclosed(&whole, at + skip, file.size() - at - skip);
    EXPECT_EQ(mime::DetectMime(enclosed, 0, Formats()), skip == 0);
  }
}

}  // namespace
}  // namespace brix
