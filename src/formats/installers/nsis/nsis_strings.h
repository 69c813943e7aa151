// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// nsis_strings.h - the strings of an installer's script, with their variables by name.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace brix::nsis {

// A string as it expands: 1,024 bytes at the most.
class ExpandedText {
 public:
  static constexpr uint32_t kMost = 1024;

  [[nodiscard]] std::string_view text() const { return {bytes_.data(), size_}; }

  void Assign(std::string_view text);  // of at most kMost bytes
  // False, with nothing added, when the text does not fit.
  [[nodiscard]] bool Append(std::string_view text);

 private:
  std::array<char, kMost> bytes_;
  uint32_t size_ = 0;
};

// How a string begins, which tells what a path counts from.
struct Beginning {
  static constexpr uint32_t kNone = UINT32_MAX;
  uint32_t variable = kNone;  // the number of a variable that stands first
  uint32_t units = 0;         // of the string that the variable takes
  bool absolute = false;      // a variable, a folder of the system's, a drive or a share
};

class ScriptStrings {
 public:
  // `table` begins with the first string and ends with the script; `strings` of its bytes are surely strings, and
  // tell how they are written. The table is neither owned nor outlived.
  void Open(std::span<const uint8_t> table, uint32_t strings);

  // Whether strings are written as version 2 of the compiler does.
  [[nodiscard]] bool IsVersion2() const { return codes_ == Codes::kHigh; }

  // Appends the string at `offset`, from its unit `from` on, to `text`. False: there is no such string, or it is too
  // long.
  [[nodiscard]] bool Append(uint32_t offset, uint32_t from, ExpandedText* text) const;

  [[nodiscard]] Beginning BeginningOf(uint32_t offset) const;

  // True when the whole string is the one variable.
  [[nodiscard]] bool IsVariable(uint32_t offset, uint32_t variable) const;

  // True when `longer` is `shorter` behind the installation directory.
  [[nodiscard]] bool IsInstalled(uint32_t shorter, uint32_t longer) const;

 private:
  enum class Codes : uint8_t { kHigh, kLow, kWide, kPrivateUse };
  enum class Kind : uint8_t { kEnd, kCut, kCharacter, kNothing, kVariable, kFolder, kLanguage };
  struct Token {
    Kind kind = Kind::kEnd;
    uint32_t character = 0;
    uint8_t first = 0;  // the code's parameters
    uint8_t second = 0;
    [[nodiscard]] uint32_t variable() const { return (first & 0x7Fu) | (second & 0x7Fu) << 7; }
  };

  [[nodiscard]] bool wide() const { return codes_ >= Codes::kWide; }
  [[nodiscard]] Codes FindCodes(uint32_t strings) const;
  // The unit at `index` of the table; 0, which ends every string, behind it.
  [[nodiscard]] uint32_t Unit(uint64_t index) const;
  // The kind of code that a unit introduces; kCharacter when none.
  [[nodiscard]] Kind KindOf(uint32_t unit) const;
  // The next token of the string at `offset`; `*at`, in units, moves behind it.
  [[nodiscard]] Token Read(uint32_t offset, uint32_t* at) const;
  [[nodiscard]] bool AppendCode(const Token& token, ExpandedText* text) const;
  [[nodiscard]] bool AppendFolder(const Token& token, ExpandedText* text) const;

  std::span<const uint8_t> table_;
  uint64_t units_ = 0;
  Codes codes_ = Codes::kHigh;
};

}  // namespace brix::nsis
