// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mime_test.cpp - the walk through a message: which members it finds, what they are called and hold, and that bad
// input costs no more than its size.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>

#include "core/memory_stream.h"
#include "decoders/mail/line_reader.h"
#include "formats/mail/mime/header_record.h"
#include "formats/mail/mime/mime_detect.h"
#include "formats/registry.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/rows.h"

namespace brix {
namespace {

constexpr uint32_t kMail = 9;

std::span<const uint8_t> AsBytes(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

const auto kWalkOf = [](const std::string& text) { return WalkText(kMail, AsBytes(text)); };

std::unique_ptr<ArchiveHandler> Handler(Stream* in) {
  return std::unique_ptr<ArchiveHandler>(Formats().Find(kMail)->create(in, {kMail, 0, 0, Formats()}));
}

// The members' names and types, without extracting any.
const auto kTypesOf = [](const std::string& text) {
  FixedMemoryStream in(AsBytes(text));
  const auto handler = Handler(&in);
  std::string result;
  char name[kNameBufferSize];
  bool ok = handler->OpenArchive(name);
  for (; ok && name[0] != '\0'; ok = handler->NextMember(name)) {
    char type[16];
    uint32_t size = sizeof type;
    EXPECT_TRUE(handler->GetMemberType(type, &size));
    EXPECT_EQ(size, std::strlen(type) + 1);
    result += std::string(name) + ":" + type + " ";
  }
  return result + (ok ? "$" : "damaged");
};

const std::string kHead = "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n";
std::string Part(const std::string& header, const std::string& body) {
  return "--b\n" + header + "\n" + body + "\n";
}
const std::string kBase64 = "Content-Type: a/b\nContent-Transfer-Encoding: base64\n";
const std::string kBlock = "begin 644 r.doc\n#86)C\n`\nend\n";

TEST(Mime, FindsMembers) {
  const std::string quoted = "Content-Transfer-Encoding: quoted-printable\n";
  const Rows<std::string, std::string> rows = {
      {"an empty file", "", "$"},
      {"a block in text", "text\n\n" + kBlock + "more\n" + kBlock, "r.doc=abc r.doc=abc $"},
      {"two blocks in one part", kHead + Part("Content-Type: text/plain\n", kBlock + kBlock) + "--b--\n",
       "r.doc=abc r.doc=abc $"},
      {"mode without a name", "begin 644\n#86)C\nend\n", "unknown=abc $"},
      {"blank lines in front of the data", "BEGIN x\n\n\t\n#86)C\nend\n", "x=abc $"},
      {"an empty block", "Subject: x\n\nbegin 644 a.txt\nend\n\nbegin 644 b\n\nEnd\n", "a.txt= b= $"},
      {"text after the word", "begin 644 a\nend some text\n", "$"},
      {"a brace is no name", "begin {\n#86)C\n", "$"},
      {"no data line", "begin 644 a\ntext\n", "$"},
      {"the third word wins", "begin 644 a b\n#86)C\n", "a=abc $"},
      {"five words", "begin 644 a b c\n#86)C\n", "$"},
      {"a plain part", kHead + Part("", "one\r\n\ntwo\r") + "--b--\nepilogue", "unknown=one\r\n\ntwo $"},
      {"parts",
       kHead + Part(kBase64, "SGVsbG8=") + Part("Content-Type: text/html; name=\"n; x\"\n", "<") + "--b--",
       "unknown=Hello n=< $"},
      {"unclosed: a boundary line's end is its last", kHead + Part("Content-Type: text/html\n", "a"),
       "unknown=a $"},
      {"the same of plain text", kHead + Part("", "a\n"), "unknown=a\n $"},
      {"no body", kHead + "--b\nContent-Type: a/b; name=x\n--b--\n", "x= $"},
      {"a message of one part", "Content-Type: text/plain; name=n\n\nbody\n", "n=body\n $"},
      {"CR as line end",
       "MIME-Version: 1.0\rContent-Type: multipart/a; boundary=b\r\r--b\r" + kBase64 + "\nSGVs\r--b--\r",
       "unknown=Hel $"},
      {"an enclosed message in line",
       kHead +
           Part("Content-Type: message/rfc822; name=m\nContent-Transfer-Encoding: 7bit\n",
                "Subject: x\n" + kBase64 + "\nSGVs") +
           Part("", "end") + "--b--",
       "unknown=Hel unknown=end $"},
      {"an enclosed message that is none",
       kHead + Part("Content-Type: message/rfc822\n", "no mail") + "--b--", "unknown=no mail $"},
      {"a boundary sniffed in a header block", "Content-Type: a/b\n--s1 \nContent-Type: c/d\n\nx\n--s1--\n",
       "unknown=x $"},
      {"a multipart without a boundary",
       "MIME-Version: 1.0\nContent-Type: multipart/mixed\n\npreamble\n--s\n" + kBase64 +
           "\nSGVs\n--s\n\ntext\n--s--\n",
       "unknown=Hel unknown=text $"},
      {"a boundary of sections, named twice, with a backslash",
       "MIME-Version: 1.0\nContent-Type: multipart/a; boundary=no; boundary*0=\"s1\";\n "
       "boundary*1=s2\n\n--s1s2\n" +
           kBase64 + "\nSGVs\n--s1s2\nContent-Type: multipart/a; boundary=\"a\\\\b\"\n\n--ab\n" + kBase64 +
           "\nbG8h\n--ab--",
       "unknown=Hel unknown=lo! $"},
      {"a part behind a boundary that nobody named",
       kHead + Part(kBase64, "SGVsbG8=\njunk\n--x\n" + kBase64 + "\nSGVs"), "unknown=Hello unknown=Hel $"},
      {"a multipart's name is not its part's",
       "Content-Type: multipart/mixed; boundary=b; name=leak\n\n" + Part("X: y\n", "z") + "--b--\n",
       "unknown=z $"},
      {"BinHex by its type",
       kHead + Part("Content-Type: application/mac-binhex40; name=h\n", "!!!!") + "--b--", "h= $"},
      {"BinHex by its note", kHead + Part("", "(this file must be converted with BinHex 4.0)\n:") + "--b--",
       "unknown= $"},
      {"a mailbox",
       "From a\nMIME-Version: 1.0\nContent-Type: text/html\n\none\nFrom b\n" + kBase64 + "\nSGVs\nFrom c\n" +
           "Content-Type: text/plain\n\nthree\nFrom here on\n",
       "unknown=one unknown=Hel unknown=three\nFrom here on\n $"},
      {"lines \"From \" in encoded parts",
       "From a\n" + kHead + Part(kBase64, "SGVs\nFrom SGVs\nbG8h:\nIQ") +
           Part(quoted, "a\nFrom b\nSubject: c") +
           Part("", "begin 644 r.doc\n#86)C\nFrom b\nc: d\n#86)C\nend") + "--b--\n",
       "unknown=Hel\x16\xBA&Hello!! unknown=a\r\nFrom b\r\nSubject: c\r\n r.doc=abcabc $"},
      {"a message after an unclosed part",
       "From a\n" + kHead + Part(quoted, "a\nFrom b\nSubject: c\nContent-Type: text/html\n\n<"),
       "unknown=a\r\nFrom b\r\nSubject: c\r\nContent-Type: text/html\r\n\r\n<\r\n unknown=<\n $"},
      {"a line \"From \" in an encoded message", "From a\n" + kBase64 + "\nSGVs\nFrom SGVs\nbG8h:\nIQ\n",
       "unknown=Hel\x16\xBA&Hello!! $"},
      {"one with a time is a mailbox's", "From a\n" + kBase64 + "\nSGVs\nFrom b 0:0\nbG8h:\nIQ\n",
       "unknown=Hel $"},
      {"a header inside text", "Content-Type: text/plain\n\ntext\n\n" + kBase64 + "\nSGVs\n",
       "unknown=text\n unknown=Hel $"},
      {"an enclosed message's header is no text",
       kHead + Part("", "From: x\nContent-Type: text/plain\n\ny") + "--b--", "unknown=y $"},
      {"hidden behind a soft break", kHead + Part(quoted, "a=") + Part(kBase64, "SGVs") + "--b--\n",
       "unknown=a--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: base64\r\n\r\nSGVs\r\n unknown=Hel "
       "$"},
  };
  ExpectRows(rows, kWalkOf);
}

// Each line end, and a bare CR as the blank line after the headers of parts.
TEST(Mime, TakesAnyLineEnd) {
  const std::string message = kHead + "--b\n" + kBase64 + "@SGVsbG8=\n--b\nContent-Type: text/html\n@<\n" +
                              "--b\n@text\n--b\n@" + kBlock + "--b--\n";
  for (const std::string end : {"\n", "\r\n", "\r", "\n\r", "\r\r\n", "\r\r\r\r\n"}) {
    for (const std::string& blank : {end, std::string("\r")}) {
      std::string text;
      for (const char c : message) text += c == '\n' ? end : c == '@' ? blank : std::string(1, c);
      EXPECT_EQ(kWalkOf(text), "unknown=Hello unknown=< unknown=text r.doc=abc $")
          << testing::PrintToString(end + "|" + blank);
    }
  }
  const Rows<std::string, std::string> rows = {
      {"lines that end in CR, a blank one in CRLF", "Content-Type: text/html\r\r\nbody", "unknown=body $"},
      {"lines that end in LF CR, one that is no field", "Content-Type: text/html\n\rX: y\n\rjunk\n\r\n\rbody",
       "unknown=body $"},
  };
  ExpectRows(rows, kWalkOf);
}

TEST(Mime, ReadsFieldsOfParts) {
  const auto walk = [](const std::string& header) {
    return kWalkOf(kHead + Part(header, "SGVs") + "--b--\n");
  };
  const std::string long_name(600, 'n');
  const Rows<std::string, std::string> rows = {
      {"the later name wins", "Content-Disposition: attachment; filename=f\nContent-Type: a/b; name=n\n",
       "n=SGVs $"},
      {"and the other way", "Content-Type: a/b; name=n\nContent-Disposition: x; filename=f\n", "f=SGVs $"},
      {"a second encoding is ignored", kBase64 + "Content-Transfer-Encoding: 8bit\n", "unknown=Hel $"},
      {"unless dashes stand between", "Content-Transfer-Encoding: 8bit\n--x\n" + kBase64, "unknown=Hel $"},
      {"an implied encoding gives way", "Content-Type: application/mac-binhex\n" + kBase64, "unknown=Hel $"},
      {"an unknown encoding", "Content-Transfer-Encoding: rot13\nContent-Type: a/b\n", "unknown=SGVs $"},
      {"any case, blanks, a folded parameter", "CONTENT-TYPE :a/b;\n\t NAME =\n \"q r\" ; x\n", "q r=SGVs $"},
      {"a semicolon in quotes hides no name", "Content-Type: a/b; x=\"; name=no\"; name=n\n", "n=SGVs $"},
      {"comments", "Content-(c)Type: a/b (open\nstill (nested) open); name=n(x)\nX: (\n", "n=SGVs $"},
      {"the value on the next line", "Content-Type: a/b\nContent-Transfer-Encoding:\nbase64\n",
       "unknown=Hel $"},
      {"and parameters after it", "Content-Type: \na/b;\nname=\nn\n", "n=SGVs $"},
      {"a field is no value", "Content-Type:\n" + kBase64, "unknown=Hel $"},
      {"nor is what follows a blank line", "Content-Transfer-Encoding:\n\nbase64\n",
       "unknown=base64\n\nSGVs $"},
      {"nor what follows a field that nobody asks for", "Content-ID:\nbase64\n--b\n",
       "unknown=base64 unknown=SGVs $"},
      {"a fold before the colon", "Content-Transfer-Encoding\n :base64\n", "unknown=Hel $"},
      {"a comment over lines in a value", "Content-Transfer-Encoding: bas(com\nment)e64\n", "unknown=Hel $"},
      {"a comment in a name", "Con(c)tent-Transfer-Encoding: base64\n", "unknown=Hel $"},
      {"an open comment ends at the next field", "Content-Description: (\n" + kBase64, "unknown=Hel $"},
      {"and at the blank line", "Content-Type: a/b; name=n (open\n", "n=SGVs $"},
      {"511 characters of a name", "Content-Type: a/b; name=" + long_name + "\n",
       long_name.substr(0, 511) + "=SGVs $"},
      {"other fields in front", "X-A: b\n" + kBase64, "unknown=Hel $"},
      {"the blank line is missing", kBase64 + "SGVs\nbG8h\n--b\n", "unknown=Hello! unknown=SGVs $"},
      {"a line that is no field", kBase64 + "junk\n", "unknown=Hel $"},
      {"only other fields", "X-A: b\n", "unknown=SGVs $"},
  };
  ExpectRows(rows, walk);
  EXPECT_EQ(kWalkOf("Content-Transfer-Encoding: (c) base64\n\nSGVs"), "unknown=Hel $")
      << "not said to be MIME";
  EXPECT_EQ(kWalkOf("Mime-(c)Version: 1.0\nContent-Type: a/b; name=n(c)\n\nx"), "n=x $") << "said to be MIME";
  std::string many = "Content-Type: a/b\n";
  for (int i = 0; i < 99; ++i) many += "X: y\n";
  EXPECT_EQ(walk(many + "Content-Transfer-Encoding: base64\n"), "unknown=SGVs $")
      << "behind the hundredth line";
  EXPECT_EQ(kWalkOf("Content-Type: multipart/a; boundary=" + std::string(120, 'c') + "\n\n--" +
                    std::string(100, 'c') + "x\n\ntext\n--" + std::string(100, 'c') + "--"),
            "unknown=text $")
      << "a boundary is cut at 100 characters";
  EXPECT_EQ(
      kWalkOf("Content-Type: a/b\n--" + std::string(71, 's') + "\n\nx\n--" + std::string(71, 's') + "\n"),
      "unknown=x\n--" + std::string(71, 's') + "\n $")
      << "a line of 73 characters is not learned";
}

TEST(Mime, KeepsAnOpenCommentFromHidingTheRest) {
  const std::string version = "MIME-Version: 1.0\n";
  EXPECT_EQ(kWalkOf(version + "X-A: (open\nContent-Type: text/html; name=h\n\nbody\n"), "h=body\n $");
  EXPECT_EQ(kWalkOf(version + "Content-ID: (open\nX-A: y)\nContent-Type: text/html; name=h\n\nbody"),
            "h=body $");
  EXPECT_EQ(kWalkOf(version + "Content-Type: text/html; name=h (open\n\nbody)"), "h=body) $");
}

TEST(Mime, TypesAndWalksWithoutExtraction) {
  const std::string message = kHead + Part("", "x") + Part("Content-Type: text/html\n", "x") +
                              Part(kBase64, "x") + Part("X: y\n", kBlock) +
                              Part("Content-Type: message/rfc822\n", "x") + "--b--\n";
  EXPECT_EQ(kTypesOf(message),
            "unknown:plaintext unknown:othertext unknown:other unknown:unknowncontent r.doc:unknowncontent "
            "unknown:rfc822 $");
  EXPECT_EQ(kTypesOf(kBlock + "(this file must be converted with BinHex)\n"),
            "r.doc:unknowncontent unknown:unknowncontent $");
  EXPECT_EQ(WalkText(kMail, AsBytes(kHead + Part(kBase64, "SGVsbG8=") + Part(kBase64, "SGVs")), 2),
            "unknown=He unknown=He $");
  SweepDamage(kMail, AsBytes(message));
}

TEST(Mime, AnswersQueries) {
  const std::string message =
      "Subject: =?utf-8?q?=41?=\nX-Folded: a\n\tb\nContent-Type: text/html; name=n\nB:1\nno field\n: 2\nb: "
      "3\nA:\nB:x: 4\n"
      "\nbody\n\nNot: me\n";
  FixedMemoryStream in(AsBytes(message));
  const auto handler = Handler(&in);
  char name[kNameBufferSize];
  EXPECT_TRUE(handler->SetContext(7));
  EXPECT_FALSE(handler->SetContext(8)) << "set once";
  ASSERT_TRUE(handler->OpenArchive(name));
  const auto ask = [&](const char* property) {
    char text[64];
    uint32_t size = 0;
    EXPECT_FALSE(handler->GetMemberProperty(property, nullptr, &size));
    if (size == 0) return std::string("?");
    const uint32_t needed = size--;
    EXPECT_FALSE(handler->GetMemberProperty(property, text, &size)) << "a byte too few";
    EXPECT_EQ(size, needed);
    EXPECT_TRUE(handler->GetMemberProperty(property, text, &size));
    return std::string(text);
  };
  const Rows<const char*, std::string> rows = {
      {"as it stands", "subject", "=?utf-8?q?=41?="},
      {"decoded", "decoded-Subject:", "A"},
      {"its character set", "decoded-charset-subject", "utf-8"},
      {"no encoded word", "charset-x-folded", "unknown"},
      {"folded", "X-Folded", "a\n\tb"},
      {"the name", "filename", "n"},
      {"the first of several", "b", "1"},
      {"a name with a colon in it", "b:X:", "4"},
      {"no value", "A", ""},
      {"no name", "", "2"},
      {"none", "not", "?"},
  };
  ExpectRows(rows, ask);
  char text[64], field[32];
  uint32_t size = sizeof text;
  EXPECT_TRUE(handler->GetMemberHeader(1, field, text, &size));
  EXPECT_EQ(std::string(field) + "=" + text, "X-Folded=a\n\tb");
  EXPECT_FALSE(handler->GetMemberHeader(9, field, text, &size));
  size = 14;
  EXPECT_FALSE(handler->GetMemberType(text, &size));
  EXPECT_EQ(size, 15u);
  EXPECT_TRUE(handler->ReleaseMember());
  EXPECT_FALSE(handler->ReleaseMember());
  EXPECT_FALSE(handler->ExtractMember(&in, 0, &size)) << "released";
  EXPECT_TRUE(handler->NextMember(name) && name[0] == '\0');
  EXPECT_TRUE(handler->ResetMembers() && handler->NextMember(name));
  EXPECT_STREQ(name, "n");
  EXPECT_FALSE(handler->AddMember(&in, 0, nullptr, 0));
}

// A host may ask for every field of a header full of them, by index in either order and by name.
TEST(Mime, AskingForAllFieldsIsLinear) {
  for (const std::string shape : {"#:x", "a:#", "A#:\n b\n\tc", "x", ":"}) {
    mime::HeaderRecord record;
    std::vector<std::string> fields = {std::string(20000, '1') + ":"};  // a long name among short ones
    for (size_t size = 20002; size < 65000; size += fields.back().size() + 1) {
      fields.push_back(shape);
      const size_t at = shape.find('#');
      if (at != shape.npos) fields.back().replace(at, 1, std::to_string(fields.size()));
    }
    for (const std::string& field : fields) {
      std::istringstream lines(field);
      for (std::string line; std::getline(lines, line);) ASSERT_TRUE(record.Add(AsBytes(line)));
    }
    size_t right = 0;
    for (size_t i = 0; i < 2 * fields.size(); ++i) {
      const size_t index = i < fields.size() ? i : 2 * fields.size() - 1 - i;
      std::span<const uint8_t> field, value;
      if (!record.Field(static_cast<uint32_t>(index), &field) || Text(field) != fields[index]) continue;
      std::string name = fields[index].substr(0, fields[index].find(':'));
      for (char& c : name) c = static_cast<char>(mail::Lower(static_cast<uint8_t>(c)));
      right += record.Find(name + ":", &value) == (fields[index] != "x") ? 1u : 0u;
    }
    EXPECT_EQ(right, 2 * fields.size()) << shape;
    EXPECT_LE(record.bytes_visited(), 64u * 65536) << shape;
  }
}

// Counts the bytes that are read from it, and notes the largest read: a reader's buffer is no smaller.
struct CountingStream final : Stream {
  explicit CountingStream(const std::string& text) : inner(AsBytes(text)) {}
  bool ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) override {
    const bool ok = inner.ReadAt(offset, buf, size, got);
    total += *got;
    largest = std::max(largest, size);
    return ok;
  }
  bool WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t*) override { return false; }
  bool GetSize(uint32_t* size) override { return inner.GetSize(size); }
  bool SetSize(uint32_t) override { return false; }
  FixedMemoryStream inner;
  uint64_t total = 0;
  uint32_t largest = 0;
};

TEST(Mime, IsRecognisedInOnePassOverItsHeader) {
  for (const std::string& piece : {std::string("\nX-A: y"), std::string(1 << 20, 'x')}) {
    std::string text;
    while (text.size() < 20000000) text += piece;
    text += "\nTo: y\n\n" + std::string(20000000, '\n');
    CountingStream in(text);
    EXPECT_TRUE(mime::DetectMime(in, kDetectMailHint, Formats()));
    EXPECT_LE(in.total, 23000000u);
    EXPECT_LE(in.largest, 2 * mail::kMaxLine);
  }
}

TEST(Mime, BadInputCostsNoMoreThanItsSize) {
  const struct {
    const char* label;
    size_t n;
    std::string piece;  // "#" in it stands for its number, "%" for up to 98 letters
    std::string head;
    size_t members;
    uint64_t passes = 3;  // the most times that each byte may be read
  } kShapes[] = {
      {"nested multiparts", 100000, "Content-Type: multipart/a; boundary=x#\n\n--x#\n", "", 0},
      {"nested messages", 40000, "Subject: a\nContent-Type: message/rfc822\n\n", "", 1},
      {"empty parts", 200000, "--b\n\n", kHead, 200000},
      {"boundaries that begin one another", 4000, "Content-Type: multipart/a; boundary=%#\n--pppp\n", "", 0},
      {"more boundaries than are learned", 300000, "--#" + std::string(60, 'x') + "\n", kHead + "--b\n", 0},
      {"soft breaks", 80000, "--b\nContent-Transfer-Encoding: quoted-printable\n\na=\n", kHead, 80000, 6},
      {"messages after unclosed parts", 40000,
       "From a 0:0\nContent-Type: multipart/a; boundary=x#\n\n--x#\n" + kBase64 + "\nSGVs\n", "", 40000},
      {"begin lines without data", 200000, "begin 644 a\n\n\n\n", "", 0},
      {"a header without end", 200000, " x#; \n", "Content-Type: a/b;\n", 1},
      {"an open comment", 200000, "x#\n", "MIME-Version: 1.0\nContent-Type: a/b (\n", 1},
      {"one line of 50 MB", 8800, std::string(3000, '(') + std::string(3000, 'x'),
       "MIME-Version: 1.0\nContent-Type: ", 1},
  };
  for (const auto& shape : kShapes) {
    std::string text = shape.head;
    for (size_t i = 0; i < shape.n; ++i) {
      for (const char c : shape.piece) {
        if (c == '#')
          text += std::to_string(1000000 + i);
        else if (c == '%')
          text.append(i % 99, 'p');
        else
          text += c;
      }
    }
    CountingStream in(text);
    const auto handler = Handler(&in);
    char name[kNameBufferSize];
    bool ok = handler->OpenArchive(name);
    size_t members = 0;
    MemoryStream out;
    for (; ok && name[0] != '\0' && members <= shape.members; ++members, ok = handler->NextMember(name)) {
      uint32_t written = 0;
      EXPECT_TRUE(handler->ExtractMember(&out, 0, &written)) << shape.label;
    }
    EXPECT_TRUE(ok && name[0] == '\0') << shape.label << ": the walk ends";
    EXPECT_EQ(members, shape.members) << shape.label;
    EXPECT_LE(in.total, shape.passes * (text.size() + 65536)) << shape.label;
    EXPECT_LE(in.largest, 2 * mail::kMaxLine) << shape.label;
  }
}

}  // namespace
}  // namespace brix
