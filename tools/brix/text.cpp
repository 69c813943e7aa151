// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "text.h"

#include <algorithm>

namespace brix::tool {

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

void AppendHex(uint8_t byte, std::string* out) {
  *out += kHexDigits[byte >> 4];
  *out += kHexDigits[byte & 15];
}

void AppendJsonEscape(uint32_t code, std::string* out) {
  if (code >= 0x10000) {  // two surrogates
    AppendJsonEscape(0xD7C0 + (code >> 10), out);
    code = 0xDC00 | (code & 0x3FF);
  }
  *out += "\\u";
  AppendHex(static_cast<uint8_t>(code >> 8), out);
  AppendHex(static_cast<uint8_t>(code), out);
}

}  // namespace

Utf8Char DecodeUtf8(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<uint8_t>(text[i]); };
  const uint8_t first = byte(0);
  if (first < 0x80) return {first, 1};
  const size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < bytes) return {0, 0};
  uint32_t code = first & (0x7Fu >> bytes);
  for (size_t i = 1; i < bytes; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    code = code << 6 | (byte(i) & 0x3Fu);
  }
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kSmallest[bytes] || code > 0x10FFFF || is_surrogate) return {0, 0};
  return {code, bytes};
}

bool IsUnsafeToPrint(uint32_t code) {
  // Besides the noncharacters at the end of each plane: C0, DEL and C1, the line and paragraph separators, all that
  // Unicode calls Default_Ignorable_Code_Point (no width, or a blank of no use), controls of notes and of hieroglyphs,
  // and the other noncharacters; in order.
  static constexpr struct {
    uint32_t first;
    uint32_t last;
  } kRanges[] = {{0x00, 0x1F},      {0x7F, 0x9F},       {0xAD, 0xAD},       {0x34F, 0x34F},
                 {0x61C, 0x61C},    {0x115F, 0x1160},   {0x17B4, 0x17B5},   {0x180B, 0x180F},
                 {0x200B, 0x200F},  {0x2028, 0x202E},   {0x2060, 0x206F},   {0x3164, 0x3164},
                 {0xFDD0, 0xFDEF},  {0xFE00, 0xFE0F},   {0xFEFF, 0xFEFF},   {0xFFA0, 0xFFA0},
                 {0xFFF0, 0xFFFB},  {0x13430, 0x1343F}, {0x1BCA0, 0x1BCA3}, {0x1D173, 0x1D17A},
                 {0xE0000, 0xE0FFF}};
  if ((code & 0xFFFE) == 0xFFFE) return true;
  for (const auto& range : kRanges) {
    if (code <= range.last) return code >= range.first;
  }
  return false;
}

std::string EscapeForTerminal(std::string_view text) {
  const auto is_plain = [](char c) { return c >= ' ' && c <= '~' && c != '\\'; };
  std::string out;
  out.reserve(text.size());
  for (;;) {
    const auto plain_end = std::find_if_not(text.begin(), text.end(), is_plain);
    const auto plain = static_cast<size_t>(plain_end - text.begin());
    out += text.substr(0, plain);  // nearly always all of it
    text.remove_prefix(plain);
    if (text.empty()) return out;
    const Utf8Char c = DecodeUtf8(text);
    const size_t bytes = c.bytes == 0 ? 1 : c.bytes;
    if (c.bytes == 0 || IsUnsafeToPrint(c.code)) {
      for (size_t i = 0; i < bytes; ++i) {
        out += "\\x";
        AppendHex(static_cast<uint8_t>(text[i]), &out);
      }
    } else {
      if (c.code == '\\') out += '\\';
      out += text.substr(0, bytes);
    }
    text.remove_prefix(bytes);
  }
}

void AppendJsonText(std::string_view key, std::string_view text, std::string* out) {
  *out += '"';
  *out += key;
  *out += "\":\"";
  bool is_utf8 = true;
  for (std::string_view rest = text; !rest.empty();) {
    const Utf8Char c = DecodeUtf8(rest);
    if (c.bytes == 0) {
      is_utf8 = false;
      *out += "\\ufffd";
    } else if (c.code == '"' || c.code == '\\') {
      *out += '\\';
      *out += static_cast<char>(c.code);
    } else if (IsUnsafeToPrint(c.code)) {
      AppendJsonEscape(c.code, out);
    } else {
      *out += rest.substr(0, c.bytes);
    }
    rest.remove_prefix(c.bytes == 0 ? 1 : c.bytes);
  }
  *out += '"';
  if (is_utf8) return;
  *out += ",\"";
  *out += key;
  *out += "_hex\":\"";
  for (const char c : text) AppendHex(static_cast<uint8_t>(c), out);
  *out += '"';
}

}  // namespace brix::tool
