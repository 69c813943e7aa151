// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_strings.cpp - expands the strings of a script: text with codes for variables, folders and language strings.
//
// Four ways of writing them are in use. Version 2 has bytes, and codes 252 to 255 with two bytes behind them; version
// 3 has codes 1 to 4, in bytes or in units of UTF-16 with one unit behind the code; and a Unicode build of version 2
// has units with codes E000 to E003. No field says which it is: a table of units begins with two zeros, as the empty
// string stands first, and no string of version 2 holds a byte from 1 to 4 outside a code's parameters.
//
// Bounds: a string ends with its zero or with the table, and an expansion with 1,024 bytes. Finding the codes out
// reads the table once.
//
// Kept: version 2's table of variables ends at 29 and its folders are told by the second parameter, the folder of all
// users, so that $SMPROGRAMS shows as $COMMONFILES; the table of folders stops in front of 59. Version 3's are told by
// the first. Kept, too: the code that quotes a character in version 2 is as long as the others and yields nothing.
#include "formats/installers/nsis/nsis_strings.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <cstring>

#include "core/byte_order.h"
#include "core/refuse.h"
#include "formats/installers/nsis/nsis_format.h"

namespace brix::nsis {

namespace {

constexpr std::string_view kLanguageText = "NSIS_LANG_CODE";

// A code in bytes takes three of them, and must begin in front of this.
constexpr uint32_t kCodesEnd = 1021;

constexpr uint32_t kFirstNamed = 20;  // $0 to $9 and $R0 to $R9 stand in front
constexpr std::array<std::string_view, 10> kNames2 = {"CMDLINE",  "INSTDIR", "OUTDIR",     "EXEDIR",
                                                      "LANGUAGE", "TEMP",    "PLUGINSDIR", "HWNDPARENT",
                                                      "_CLICK",   "_OUTDIR"};
constexpr std::array<std::string_view, 12> kNames3 = {"CMDLINE",  "INSTDIR",    "OUTDIR",     "EXEDIR",
                                                      "LANGUAGE", "TEMP",       "PLUGINSDIR", "EXEPATH",
                                                      "EXEFILE",  "HWNDPARENT", "_CLICK",     "_OUTDIR"};

// By the number that Windows has for a folder; the others have no name.
constexpr uint32_t kFolderCount = 59;
constexpr struct {
  uint8_t number;
  std::string_view name;
} kNamedFolders[] = {{2, "SMPROGRAMS"},
                     {4, "PRINTERS"},
                     {5, "DOCUMENTS"},
                     {6, "FAVORITES"},
                     {7, "SMSTARTUP"},
                     {8, "RECENT"},
                     {9, "SENDTO"},
                     {11, "STARTMENU"},
                     {13, "MUSIC"},
                     {14, "VIDEO"},
                     {16, "DESKTOP"},
                     {19, "NETHOOD"},
                     {20, "FONTS"},
                     {21, "TEMPLATES"},
                     {22, "COMMONSTARTMENU"},
                     {23, "COMMONFILES"},
                     {24, "COMMON_STARTUP"},
                     {25, "COMMON_DESKTOPDIRECTORY"},
                     {26, "QUICKLAUNCH"},
                     {27, "PRINTHOOD"},
                     {28, "LOCALAPPDATA"},
                     {29, "ALTSTARTUP"},
                     {30, "ALTSTARTUP"},
                     {31, "FAVORITES"},
                     {32, "INTERNET_CACHE"},
                     {33, "COOKIES"},
                     {34, "HISTORY"},
                     {35, "APPDATA"},
                     {36, "WINDIR"},
                     {37, "SYSDIR"},
                     {38, "PROGRAMFILES"},
                     {39, "PICTURES"},
                     {40, "PROFILE"},
                     {43, "COMMONFILES"},
                     {45, "TEMPLATES"},
                     {46, "DOCUMENTS"},
                     {47, "ADMINTOOLS"},
                     {48, "ADMINTOOLS"},
                     {53, "MUSIC"},
                     {54, "PICTURES"},
                     {55, "VIDEO"},
                     {56, "RESOURCES"},
                     {57, "RESOURCES_LOCALIZED"}};
constexpr auto kFolders = [] {
  std::array<std::string_view, kFolderCount> names;
  names.fill("");  // text of no bytes, not the lack of one
  for (const auto& folder : kNamedFolders) names[folder.number] = folder.name;
  return names;
}();
constexpr uint8_t kFolderQuickLaunch = 26;  // of version 3 $APPDATA too, which has another one for all users

// Version 3 reads other folders from the registry: a flag, another for the view of 64 bits, and where in the table of
// strings the value's name stands, which is there first.
constexpr uint8_t kFolderInRegistry = 0x80;
constexpr uint8_t kFolder64 = 0x40;
constexpr uint8_t kFolderValueMask = 0x3F;
constexpr uint8_t kProgramFilesValue = 1;
constexpr uint8_t kCommonFilesValue = 17;

constexpr uint32_t kUtf8Most = 4;

// Writes a character as UTF-8, half a surrogate pair like any other; its length.
uint32_t WriteUtf8(uint32_t c, char* to) {
  uint32_t size = c < 0x80 ? 1u : c < 0x800 ? 2u : c < 0x10000 ? 3u : 4u;
  constexpr uint8_t kLead[kUtf8Most] = {0, 0xC0, 0xE0, 0xF0};
  for (uint32_t i = size - 1; i > 0; --i, c >>= 6) to[i] = static_cast<char>(0x80 | (c & 63));
  to[0] = static_cast<char>(kLead[size - 1] | c);
  return size;
}

bool IsLetter(uint32_t c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }

}  // namespace

void ExpandedText::Assign(std::string_view text) {
  assert(text.size() <= kMost);
  std::memmove(bytes_.data(), text.data(), text.size());
  size_ = static_cast<uint32_t>(text.size());
}

bool ExpandedText::Append(std::string_view text) {
  if (text.size() > kMost - size_) return false;
  std::memcpy(bytes_.data() + size_, text.data(), text.size());
  size_ += static_cast<uint32_t>(text.size());
  return true;
}

void ScriptStrings::Open(std::span<const uint8_t> table, uint32_t strings) {
  table_ = table;
  codes_ = FindCodes(strings);
  units_ = wide() ? table.size() / 2 : table.size();
}

ScriptStrings::Codes ScriptStrings::FindCodes(uint32_t strings) const {
  const auto bytes = table_.first(std::min<size_t>(strings, table_.size()));
  if (bytes.size() >= 2 && bytes[0] == 0 && bytes[1] == 0) {
    size_t low = 0;
    size_t high = 0;
    for (size_t at = 0; at + 2 <= bytes.size(); at += 2) {
      const uint32_t unit = LoadLe16(&bytes[at]);
      low += unit >= 1 && unit <= 4 ? 1 : 0;
      high += unit >= 0xE000 && unit <= 0xE003 ? 1 : 0;
    }
    return high > low ? Codes::kPrivateUse : Codes::kWide;
  }
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (bytes[at] >= 1 && bytes[at] <= 4) return Codes::kLow;
    if (bytes[at] >= 252)
      at += bytes[at] == 252 ? 1u : 2u;  // the code that quotes has one character in truth
  }
  return Codes::kHigh;
}

uint32_t ScriptStrings::Unit(uint64_t index) const {
  if (index >= units_) return 0;
  return wide() ? LoadLe16(&table_[2 * index]) : table_[index];
}

ScriptStrings::Kind ScriptStrings::KindOf(uint32_t unit) const {
  using enum Kind;
  constexpr Kind kHighKinds[] = {kNothing, kVariable, kFolder, kLanguage};
  constexpr Kind kLowKinds[] = {kLanguage, kFolder, kVariable, kNothing};
  switch (codes_) {
    case Codes::kHigh:
      return unit < 252 ? kCharacter : kHighKinds[unit - 252];
    case Codes::kPrivateUse:
      return unit < 0xE000 || unit > 0xE003 ? kCharacter : kHighKinds[unit - 0xE000];
    default:
      return unit > 4 ? kCharacter : kLowKinds[unit - 1];
  }
}

ScriptStrings::Token ScriptStrings::Read(uint32_t offset, uint32_t* at) const {
  const uint64_t here = uint64_t{offset} + *at;
  const uint32_t unit = Unit(here);
  Token token;
  if (unit == 0) return token;
  token.kind = KindOf(unit);
  token.character = unit;
  ++*at;
  if (token.kind == Kind::kCharacter) {
    const uint32_t low = wide() && unit >> 10 == 0xD800 >> 10 ? Unit(here + 1) : 0;
    if (low >> 10 == 0xDC00 >> 10) {
      token.character = 0x10000 + ((unit & 0x3FF) << 10) + (low & 0x3FF);
      ++*at;
    }
    return token;
  }
  if (token.kind == Kind::kNothing && codes_ != Codes::kHigh) {  // a quoted character
    token.character = Unit(here + 1);
    token.kind = token.character == 0 ? Kind::kCut : Kind::kCharacter;
    ++*at;
    return token;
  }
  const uint32_t length = wide() ? 2 : 3;
  if (here + length > units_ || *at - 1 >= kCodesEnd + 3 - length) {
    token.kind = Kind::kCut;
    return token;
  }
  const uint32_t parameter = Unit(here + 1);
  token.first = static_cast<uint8_t>(parameter);
  token.second = static_cast<uint8_t>(wide() ? parameter >> 8 : Unit(here + 2));
  *at += length - 1;
  return token;
}

bool ScriptStrings::Append(uint32_t offset, uint32_t from, ExpandedText* text) const {
  if ((offset & kLanguageString) != 0) return text->Append(kLanguageText);
  if (offset >= units_) return Refuse("nsis: string behind the table");
  char utf8[kUtf8Most];
  for (uint32_t at = from;;) {  // ends by the string, which goes on by a unit at least, or by the text's size
    const Token token = Read(offset, &at);
    switch (token.kind) {
      case Kind::kEnd:
        return true;
      case Kind::kCut:
        return Refuse("nsis: a code that is cut or too far into its string");
      case Kind::kCharacter: {
        uint32_t size = 1;
        utf8[0] = static_cast<char>(token.character);
        if (wide()) size = WriteUtf8(token.character, utf8);
        if (!text->Append({utf8, size})) return true;
        break;
      }
      default:
        if (!AppendCode(token, text)) return false;
        break;
    }
    if (text->text().size() == ExpandedText::kMost) return true;
  }
}

bool ScriptStrings::AppendCode(const Token& token, ExpandedText* text) const {
  ExpandedText code;
  bool fits = true;
  if (token.kind == Kind::kLanguage) fits = code.Append(kLanguageText);
  if (token.kind == Kind::kFolder) fits = AppendFolder(token, &code);
  if (token.kind == Kind::kVariable) {
    const std::span<const std::string_view> names =
        IsVersion2() ? std::span<const std::string_view>(kNames2) : kNames3;
    const uint32_t number = token.variable();
    const char digit = static_cast<char>('0' + number % 10);
    fits = code.Append("$");
    if (number < kFirstNamed) {
      fits = fits && code.Append(number < 10 ? "" : "R") && code.Append({&digit, 1});
    } else if (number - kFirstNamed < names.size()) {
      fits = fits && code.Append(names[number - kFirstNamed]);
    } else {
      char digits[8];
      const auto end = std::to_chars(digits, digits + sizeof digits, number);
      fits = fits && code.Append("[") && code.Append({digits, end.ptr}) && code.Append("]");
    }
  }
  if (!fits || code.text().size() >= ExpandedText::kMost - text->text().size()) {
    return Refuse("nsis: a string too long");
  }
  return text->Append(code.text());
}

bool ScriptStrings::AppendFolder(const Token& token, ExpandedText* text) const {
  uint8_t number = token.second;
  if (codes_ != Codes::kHigh) {
    const uint32_t value = token.first & kFolderValueMask;
    if ((token.first & kFolderInRegistry) != 0 &&
        (value == kProgramFilesValue || value == kCommonFilesValue)) {
      return text->Append(value == kProgramFilesValue ? "$PROGRAMFILES" : "$COMMONFILES") &&
             text->Append((token.first & kFolder64) != 0 ? "64" : "");
    }
    if (token.first != kFolderQuickLaunch) number = token.first;
  }
  if (number < kFolders.size()) return text->Append("$") && text->Append(kFolders[number]);
  char digits[4];
  const auto end = std::to_chars(digits, digits + sizeof digits, uint32_t{number});
  return text->Append("$SHELL[") && text->Append({digits, end.ptr}) && text->Append("]");
}

Beginning ScriptStrings::BeginningOf(uint32_t offset) const {
  Beginning beginning;
  if ((offset & kLanguageString) != 0) return beginning;
  const Token token = Read(offset, &beginning.units);
  const uint32_t second = Unit(uint64_t{offset} + 1);
  if (token.kind == Kind::kVariable) beginning.variable = token.variable();
  beginning.absolute = token.kind == Kind::kVariable || token.kind == Kind::kFolder ||
                       (token.kind == Kind::kCharacter && ((token.character == '\\' && second == '\\') ||
                                                           (IsLetter(token.character) && second == ':')));
  return beginning;
}

bool ScriptStrings::IsVariable(uint32_t offset, uint32_t variable) const {
  const Beginning beginning = BeginningOf(offset);
  uint32_t at = beginning.units;
  return beginning.variable == variable && Read(offset, &at).kind == Kind::kEnd;
}

bool ScriptStrings::IsInstalled(uint32_t shorter, uint32_t longer) const {
  const Beginning beginning = BeginningOf(longer);
  uint32_t at = beginning.units;
  if (beginning.variable != kVariableInstallDirectory || Read(longer, &at).character != '\\') return false;
  if (shorter == 0 || shorter >= units_) return false;
  for (uint32_t i = 0; i < ExpandedText::kMost; ++i) {
    const uint32_t unit = Unit(uint64_t{shorter} + i);
    if (unit != Unit(uint64_t{longer} + at + i)) return false;
    if (unit == 0) return i != 0;
  }
  return false;
}

}  // namespace brix::nsis
