// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "safe_path.h"

#include <array>

#include "text.h"

namespace brix::tool {

namespace {

bool IsAllowed(uint32_t code) {
  constexpr std::string_view kForbidden = "<>:\"|?*";
  return !IsUnsafeToPrint(code) &&
         (code >= 0x80 || kForbidden.find(static_cast<char>(code)) == std::string::npos);
}

// Whether Windows takes the name, with any extension, for a device.
bool IsDeviceName(std::string_view component) {
  std::string stem(component.substr(0, component.find('.')));
  while (!stem.empty() && stem.back() == ' ') stem.pop_back();
  for (char& c : stem) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  constexpr std::array kDevices = {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$", "CLOCK$"};
  for (const char* device : kDevices) {
    if (stem == device) return true;
  }
  if (stem.rfind("COM", 0) != 0 && stem.rfind("LPT", 0) != 0) return false;
  const std::string port = stem.substr(3);
  const bool is_digit = port.size() == 1 && port[0] >= '0' && port[0] <= '9';
  return is_digit || port == "\u00B9" || port == "\u00B2" ||
         port == "\u00B3";  // the raised 1, 2, 3 count too
}

std::string SafeComponent(std::string_view raw) {
  if (raw == "..") return "__";
  std::string out;
  while (!raw.empty() && out.size() < kMaxComponentBytes) {
    const Utf8Char c = DecodeUtf8(raw);
    const size_t bytes = c.bytes == 0 ? 1 : c.bytes;
    if (c.bytes == 0 || !IsAllowed(c.code)) {
      out += '_';
    } else if (out.size() + bytes <= kMaxComponentBytes) {
      out += raw.substr(0, bytes);
    } else {
      break;
    }
    raw.remove_prefix(bytes);
  }
  for (size_t i = out.size(); i > 0 && (out[i - 1] == '.' || out[i - 1] == ' '); --i) out[i - 1] = '_';
  return IsDeviceName(out) ? "_" + out : out;
}

}  // namespace

std::vector<std::string> SafeComponents(std::string_view member_name) {
  std::vector<std::string> out;
  for (size_t begin = 0; begin <= member_name.size();) {
    const size_t end = std::min(member_name.find_first_of("/\\", begin), member_name.size());
    const std::string_view raw = member_name.substr(begin, end - begin);
    if (!raw.empty() && raw != ".") out.push_back(SafeComponent(raw));
    begin = end + 1;
  }
  if (out.empty()) out.emplace_back("unnamed");
  return out;
}

std::string NumberedName(const std::string& component, unsigned n) {
  if (n < 2) return component;
  size_t dot = component.rfind('.');
  if (dot == std::string::npos || dot == 0) dot = component.size();
  return component.substr(0, dot) + "~" + std::to_string(n) + component.substr(dot);
}

}  // namespace brix::tool
