// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// path.h - names as the system takes them: UTF-16, and of any length.
//
// A narrow name may be of either of two encodings: the system's own (ANSI) code page, which callers of an older
// interface use, or UTF-8. It is taken in the first in which there is something of that name. When there is nothing yet,
// it is the system's, unless only the UTF-8 one leads to a folder that is there. So what was created under a name is
// found again under it.
//
// Paths of 260 and more units reach the system in its verbatim form, "\\?\", which has no such limit.
#pragma once

#include <windows.h>

namespace brix::platform {

class SystemPath {
 public:
  // `path` may have to outlive the object. False: no text of either encoding, or too long.
  [[nodiscard]] bool Take(const char* path);
  [[nodiscard]] bool Take(const wchar_t* path);

  [[nodiscard]] const wchar_t* text() const { return text_; }

 private:
  static constexpr DWORD kMaxUnits =
      4096;  // with the terminator; of what is not in the verbatim form already

  [[nodiscard]] bool TakeAs(UINT code_page, const char* path);

  const wchar_t* text_ = nullptr;
  wchar_t narrow_[kMaxUnits];  // a narrow path's units
  wchar_t full_[kMaxUnits];    // a long path, verbatim
};

}  // namespace brix::platform
