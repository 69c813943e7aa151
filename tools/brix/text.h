// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// text.h - member and file names on their way to a terminal or into JSON.
//
// A name is any bytes. A hostile one holds control characters that move the cursor or retitle the window, or
// direction marks that make "exe.txt" of "txt.exe", or characters without a width that make two names look like one; none
// ever reaches the output as it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace brix::tool {

struct Utf8Char {
  uint32_t code;  // Unicode number
  size_t bytes;   // 1 to 4; 0: the text does not begin with a valid character
};

// The first character of a text that is not empty.
[[nodiscard]] Utf8Char DecodeUtf8(std::string_view text);

// Control characters, those that reorder or break the line around them, and those that show as nothing.
[[nodiscard]] bool IsUnsafeToPrint(uint32_t code);

// Printable UTF-8 as it stands; a backslash doubled; every other byte as \xHH. Can be undone.
[[nodiscard]] std::string EscapeForTerminal(std::string_view text);

// Appends `"key":"text"`. A text that is no valid UTF-8 has U+FFFD in place of each stray byte, and a second
// pair `"key_hex"` with all its bytes in hexadecimal follows.
void AppendJsonText(std::string_view key, std::string_view text, std::string* out);

}  // namespace brix::tool
