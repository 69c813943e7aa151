// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// mail_decoders_test.cpp - the transfer encodings: what they yield, where they stop, and that neither limits nor the
// edges of the reader's buffer show.
#include "decoders/mail/mail_decoders.h"

#include <gtest/gtest.h>

#include "core/memory_stream.h"
#include "decoders/mail/encoded_words.h"
#include "support/bytes.h"
#include "support/handler_walk.h"
#include "support/rows.h"

namespace brix::mail {
namespace {

using Function = bool (*)(MailBody*, MailOutput*);

Text AsBytes(std::string_view text) { return {reinterpret_cast<const uint8_t*>(text.data()), text.size()}; }

// What comes out, then "|" and where the reader was left. The boundary is "b".
std::string Decode(Function decode, const std::string& text, uint32_t limit = 0, const char* boundary = "b") {
  FixedMemoryStream in(AsBytes(text));
  LineReader lines;
  lines.Open(&in);
  BoundarySet boundaries;
  EXPECT_TRUE(boundaries.Add(AsBytes(boundary)));
  MemoryStream stream;
  MemoryBlock buffer;
  MailBody body{lines, boundaries};
  MailOutput out(stream, limit, &buffer);
  EXPECT_TRUE(decode(&body, &out));
  EXPECT_EQ(out.written(), stream.bytes().size());
  return brix::Text(stream.bytes()) + "|" + text.substr(lines.offset());
}

template <Function kDecode>
std::string Result(const std::string& text) {
  return Decode(kDecode, text);
}

TEST(MailDecoders, Base64) {
  const Rows<std::string, std::string> rows = {
      {"ends at a boundary", "SGVs\r\nbG8\r\n--b--\r\n", "Hello|--b--\r\n"},
      {"a pad at the end of a line is the last", "SGVsbG8=\nSGVs\n", "Hello|SGVs\n"},
      {"a pad elsewhere is foreign", "SGVs=bG8h = \nIQ\n", "Hello!!|"},
      {"pad at the end of the input", "SGVsbG8=", "Hello|"},
      {"groups go on over lines", "S\nGVsb\r\r\nG8\n", "Hello|"},
      {"foreign lines", "\n\n--*\nSG*Vs\xC1G8", "Hel\x1B|"},
      {"a comment in front of the boundary", "SGVsbG8\n(c)--b\n", "Hello|(c)--b\n"},
  };
  ExpectRows(rows, Result<DecodeBase64>);
  const std::string all = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  EXPECT_EQ(Digest(AsBytes(Result<DecodeBase64>(all)).first(48)), "48 cbaa498d");
}

// Sixteen characters a step, four, or one: whatever stands among them, the same comes out.
TEST(MailDecoders, StepsAgreeWithSingleCharacters) {
  for (uint32_t c = 0; c < 256; ++c) {
    for (size_t at = 0; at < 20 && c != '='; ++at) {
      std::string text = "/+09azAZqB8xyzQmQUJDREVGR0hJSktMTU5PUFFSU1RVVldY";
      text.insert(at, 1, static_cast<char>(c));
      std::string lines;
      for (const char one : text) lines += std::string(1, one) + "\n";
      EXPECT_EQ(Decode(DecodeBase64, text, 0, "*"), Decode(DecodeBase64, lines, 0, "*")) << c << " " << at;
    }
  }
}

TEST(MailDecoders, QuotedPrintable) {
  const Rows<std::string, std::string> rows = {
      {"escapes", "=41=4G=4a\n", "AJ\r\n|"},
      {"soft break", "abc=\ndef\n", "abcdef\r\n|"},
      {"one character behind", "a=4\n", "a=4\r\n|"},
      {"trailing blanks", "a \t\r\nb= \r\nc", "a\r\nbc\r\n|"},
      {"CRs before CRLF, LF CR", "a\r\r\nb=\r\r\r\nc\n\rd=\n\re\r\n", "a\r\nbc\r\nde\r\n|"},
      {"an escape takes the equals signs behind it", "a===\nb=4=1=\nc", "a\r\nb1c\r\n|"},
      {"two at the end", "a==\nb", "a=b\r\n|"},
      {"boundary", "a\n--b\n", "a\r\n|--b\n"},
      {"many escapes", std::string(300, '=') + "\n", "\r\n|"},
      {"long", std::string(5000, 'x') + "=3D", std::string(5000, 'x') + "=\r\n|"},
  };
  ExpectRows(rows, Result<DecodeQuotedPrintable>);
}

// Behind an escape that is none, which yields nothing, a line is decoded with care: the same must come out.
TEST(MailDecoders, QuotedPrintableStepsAgreeWithCare) {
  constexpr std::string_view kAlphabet = "aaaaaaa  \t=4E1";
  constexpr const char* kEnds[] = {"\r\n",    "\r\n",   "\n",   "=\r\n",   " =\n", "= \t\r\n",
                                   " \t\r\n", "\r\r\n", "\n\r", "=\r\r\n", "=\n\r"};
  uint32_t random = 1;
  const auto below = [&random](size_t limit) {
    random = random * 1664525 + 1013904223;
    return (random >> 8) % limit;
  };
  for (int i = 0; i < 2000; ++i) {
    std::string text, careful;
    for (size_t lines = 1 + below(8); lines > 0; --lines) {
      std::string line;
      const size_t letters = below(2) == 0 ? 7 : kAlphabet.size();  // every other line is sound
      for (size_t left = below(40); left > 0; --left) line += kAlphabet[below(letters)];
      line += kEnds[below(std::size(kEnds))];
      text += line;
      careful += "=ZZ" + line;
    }
    text += "\rx\r\n\ry\r\n.";
    careful += "\r=ZZx\r\n=ZZ\r=ZZy\r\n=ZZ.";
    EXPECT_EQ(Result<DecodeQuotedPrintable>(text), Result<DecodeQuotedPrintable>(careful)) << text;
  }
}

TEST(MailDecoders, KeepsABoundaryBehindASoftBreakAsText) {
  EXPECT_EQ(Result<DecodeQuotedPrintable>("a=\n--b\nc=\n--b\n"), "a--b\r\nc|--b\n");
}

TEST(MailDecoders, Uuencode) {
  const std::string full = "M" + std::string(60, '!');
  const std::string bytes = Result<DecodeUuencode>(full).substr(0, 45);
  const Rows<std::string, std::string> rows = {
      {"a block", "begin 644 a\n#86)C\n`\nend\nrest", "abc|rest"},
      {"the longest tolerated line", full + "1234\nend\n", bytes + "|"},  // 65 characters
      {"a line too long", full + "1234\n" + full + "12345\n", bytes + "|"},
      {"skipped", full + std::string(9, '1') + "\n\n#8\nend", "|"},
      {"damaged case", "#x6)\x03\n", "abc|"},
      {"foreign characters",
       "#8\xC6"
       "6)C\n",
       "abc|"},
      {"END is no end", "END\n#86)C\n", "abc|"},
      {"a begin line in capitals is no data", "BEGIN 644 " + std::string(38, 'x') + "\n#86)C\n", "abc|"},
      {"data that look like a boundary", "--b" + std::string(16, ' ') + "\n--b\n",
       "4 " + std::string(11, '\0') + "|--b\n"},
  };
  ExpectRows(rows, Result<DecodeUuencode>);
}

// Six-bit characters for bytes, as the alphabet prints them.
std::string ToBinHex(const std::string& bytes) {
  constexpr char kCharacters[] = "!\"#$%&'()*+,-012345689@ABCDEFGHIJKLMNPQRSTUVXYZ[`abcdefhijklmpqr";
  std::string text;
  uint32_t bits = 0, count = 0;
  for (const char c : bytes + '\0') {
    bits = bits << 8 | static_cast<uint8_t>(c);
    for (count += 8; count >= 6; count -= 6) text += kCharacters[bits >> (count - 6) & 63];
  }
  return text;
}

std::string BinHex(const std::string& forks, char data_size, char resource_size) {
  std::string bytes =
      std::string("\1n\0TEXTttxt\0\0", 13) + std::string(3, '\0') + data_size + std::string(3, '\0');
  bytes += resource_size + std::string("cc") + forks;
  return "(This file must be converted with BinHex 4.0)\n\n:" + ToBinHex(bytes) + ":\n";
}

TEST(MailDecoders, BinHex) {
  const Rows<std::string, std::string> rows = {
      {"a run", BinHex("A\x90\4xx", 4, 0), "AAAA|"},
      {"a run across the forks", BinHex("A\x90\6xx", 2, 2), "AAAA|"},
      {"a literal mark, a run of one", BinHex(std::string("\x90\0z\x90\1xx", 7), 2, 0), "\x90z|"},
      {"cut", BinHex("ab", 9, 0), "ab|"},
      {"lines that end in CR CRLF", BinHex("abcdefgh", 8, 0).insert(84, "\r\r\n"), "abcdefgh|"},
      {"an empty line ends the data", BinHex("abcd", 9, 0) + "\nrest", "abcd|rest"},
      {"boundary", BinHex("a", 9, 0) + "--b", "a|--b"},
  };
  ExpectRows(rows, Result<DecodeBinHex>);
}

TEST(MailDecoders, KeepsBothForksOfBinHexAsOneAndColonsForeign) {
  const std::string text = BinHex("abcxxdexx", 3, 2);  // neither CRC is right
  const size_t colon = text.find(':');
  EXPECT_EQ(Result<DecodeBinHex>(text), "abcde|");
  EXPECT_EQ(Result<DecodeBinHex>(std::string(text).insert(colon + 9, "::")), "abcde|");
  EXPECT_EQ(Result<DecodeBinHex>(std::string(text).erase(colon, 1)), "abcde|");
}

TEST(MailDecoders, TextStandsAsItIs) {
  const Rows<std::string, std::string> rows = {
      {"line ends", "a\rb\nc\r\n\n\r\n--b", "a\rb\nc\r\n\n|--b"},
      {"CRs before CRLF", "a\r\r\nb\r\r\r\n--b", "a\r\r\nb|--b"},
      {"LF CR", "a\n\rb\n\r\n\r--b", "a\n\rb\n\r|--b"},
      {"LF CRLF, LF CR CRLF", "a\n\r\n--b", "a\n|--b"},
      {"16 bytes of an end", "a" + std::string(16, '\r') + "\n--b", "a\r|--b"},
      {"none at the end", "a\nb", "a\nb|"},
      {"one at the end", "a\nb\r\n", "a\nb\r\n|"},
      {"nothing", "--b\n", "|--b\n"},
      {"dashes", "--a\n-b\n --b\n", "--a\n-b\n --b\n|"},
  };
  ExpectRows(rows, Result<CopyText>);
}

TEST(MailDecoders, NeitherLimitsNorBufferEdgesShow) {
  const struct {
    Function decode;
    std::string body;
  } kBodies[] = {
      {DecodeBase64, "SGVsbG8sIHdvcmxkSGVsbG8sIHdvcmxkSGVsbG8s\r\nIHdvcmxk=\r\n"},
      {DecodeQuotedPrintable, "abc=41=\r\n=C3=A4 and more =\t\r\nend  \r\n"},
      {DecodeUuencode, "#86)C\r\nM" + std::string(60, '1') + "\r\nend\r\n"},
      {CopyText, "one\r\n\rtwo\n\r\nthree\r\r\r\nfour\n\rfive\n\r\n\rsix\r"},
      {DecodeBinHex, BinHex("A\x90\xFFxx", 100, 0)},
  };
  constexpr uint32_t kEdge = 32768;
  for (const auto& row : kBodies) {
    const std::string whole = Decode(row.decode, row.body);
    for (uint32_t limit = 1; limit < whole.size(); ++limit) {
      EXPECT_EQ(Decode(row.decode, row.body, limit).substr(0, limit), whole.substr(0, limit));
    }
    for (uint32_t before = kEdge - 140; before < kEdge + 4; ++before) {
      const std::string prefix = std::string(before, row.decode == DecodeBinHex ? ' ' : '~') + "\n";
      std::string front = Decode(row.decode, prefix);
      front.pop_back();
      EXPECT_EQ(Decode(row.decode, prefix + row.body), front + whole) << before;
    }
  }
}

TEST(MailDecoders, LongLinesComeInPieces) {
  std::string escaped, plain;
  for (int i = 0; i < 300000; ++i) escaped += "=41", plain += 'A';
  EXPECT_TRUE(Result<DecodeQuotedPrintable>(escaped) == plain + "\r\n|");
  EXPECT_TRUE(Result<CopyText>(escaped + "\n--b") == escaped + "|--b");
  EXPECT_EQ(Result<DecodeBase64>(escaped).size(), 300000u / 4 * 6 + 1);
  for (uint32_t size = kMaxLine - 3; size < kMaxLine + 3; ++size) {
    const std::string text(size, 'x');
    EXPECT_TRUE(Result<CopyText>(text + "\r\n--b") == text + "|--b") << size;
    EXPECT_TRUE(Result<DecodeQuotedPrintable>(text + "=4\r\n1\r\n--b") == text + "=4\r\n1\r\n|--b") << size;
    EXPECT_TRUE(Result<DecodeQuotedPrintable>(text + "=41=\r\n") == text + "A|") << size;
  }
}

TEST(MailDecoders, BoundariesMatchByTheirBeginning) {
  BoundarySet set;
  for (const char* text : {"abc", "abd", "a", "xyz", "xy", "xyzq", "q-"}) EXPECT_TRUE(set.Add(AsBytes(text)));
  const Rows<const char*, BoundaryLine> rows = {
      {"one of them", "--abd", BoundaryLine::kOpening},
      {"more behind", "--xyrest", BoundaryLine::kOpening},
      {"closing", "--abd--", BoundaryLine::kClosing},
      {"ends in a dash itself", "--q-", BoundaryLine::kClosing},
      {"too short", "--x", BoundaryLine::kNone},
      {"case counts", "--ABD", BoundaryLine::kNone},
      {"one dash", "-abd", BoundaryLine::kNone},
      {"comments", "-(x)-(y)xy", BoundaryLine::kOpening},
      {"a quoted parenthesis is none", "--\"(\"xy", BoundaryLine::kNone},
      {"not a mailbox", "From a", BoundaryLine::kNone},
  };
  ExpectRows(rows, [&](const char* line) { return set.Test(Line{AsBytes(line), {}}); });
  EXPECT_TRUE(set.Add({}));
  EXPECT_EQ(set.Test(Line{AsBytes("--"), {}}), BoundaryLine::kClosing);
}

TEST(MailDecoders, BoundariesTakeNoMoreThanTheirBound) {
  BoundarySet set;
  std::string text(100, 'x');
  uint32_t count = 0;
  for (; count < 1000000; ++count) {
    for (int i = 0; i < 4; ++i) text[static_cast<size_t>(i)] = static_cast<char>('a' + (count >> 4 * i & 15));
    EXPECT_TRUE(set.Add(AsBytes(text + std::to_string(count))));
    if (set.Test(Line{AsBytes("--" + text), {}}) == BoundaryLine::kNone) break;
    if (count == 65535) text[99] = 'y';
    if (count == 131071) text[98] = 'y';
  }
  EXPECT_GT(count, 65536u);
  EXPECT_LT(count, 200000u) << "16 MiB";
  text.replace(0, 4, "aaaa");
  EXPECT_EQ(set.Test(Line{AsBytes("--" + text.substr(0, 98) + "xx"), {}}), BoundaryLine::kOpening)
      << "the first one is still there";
}

// The decoded text, "|" and the character set.
std::string EncodedWords(const std::string& text) {
  std::string out(text.size(), '\0');
  out.resize(DecodeEncodedWords(AsBytes(text), reinterpret_cast<uint8_t*>(out.data())));
  return out + "|" + std::string(CharsetOfEncodedWords(AsBytes(text)));
}

TEST(MailDecoders, KeepsTheUnderscoreOfQWords) { EXPECT_EQ(EncodedWords("  \"=?x?Q?a_=41?= b"), "a_A b|x"); }

TEST(MailDecoders, EncodedWords) {
  const Rows<std::string, std::string> rows = {
      {"B", "=?utf-8?b?SGVsbG8=?=", "Hello|utf-8"},
      {"text around", "Re: =?x?q?a?= =?y?q?b?= c\"", "Re: ab c\"|x"},
      {"none", " 'plain", "plain|unknown"},
      {"unfinished", "=?x?q?a =?y?z?", "=?x?q?a =?y?z?|unknown"},
      {"a start inside a word that is none", "=?a=?u?Q?x?=", "=?ax|u"},
  };
  ExpectRows(rows, EncodedWords);
}

}  // namespace
}  // namespace brix::mail
