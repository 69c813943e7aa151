// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// safe_path.h - turns a member's name into file names that are safe on every system.
//
// A member may be called anything: "../../etc/passwd", "C:\boot.ini", "NUL", "a.txt:stream", "name. ". The
// outcome is the same on Windows and elsewhere, so that what was unpacked on one can be copied to the other.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace brix::tool {

// Bytes of one component; leaves room for "~12345" and ".d" below the 255 that file systems allow.
inline constexpr size_t kMaxComponentBytes = 200;

// The name cut at '/' and '\'; at least one component. Empty ones and "." are left out, ".." becomes "__".
// Within a component every byte or character that a file name may not hold (control characters, <>:"|?*,
// bytes that are no UTF-8) becomes '_', and so do dots and spaces at its end; a reserved device name gets a
// leading '_'; a long one is cut.
[[nodiscard]] std::vector<std::string> SafeComponents(std::string_view member_name);

// The n-th name for something whose first name is taken: "a.txt", "a~2.txt", "a~3.txt".
[[nodiscard]] std::string NumberedName(const std::string& component, unsigned n);

}  // namespace brix::tool
