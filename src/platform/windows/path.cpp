// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "platform/windows/path.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace brix::platform {

namespace {

constexpr std::wstring_view kVerbatim = LR"(\\?\)";
constexpr std::wstring_view kDevice = LR"(\\.\)";
constexpr std::wstring_view kShare = LR"(\\)";  // that of a server
constexpr std::wstring_view kVerbatimShare = LR"(\\?\UNC\)";

// What is there under a name, least first.
enum class There { kNoFolder, kFolderOnly, kFile };

There LookFor(const wchar_t* path) {
  if (GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES) return There::kFile;
  switch (GetLastError()) {
    case ERROR_FILE_NOT_FOUND:
      return There::kFolderOnly;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
      return There::kFile;  // which may not be looked at
    default:
      return There::kNoFolder;
  }
}

}  // namespace

bool SystemPath::Take(const wchar_t* path) {
  const std::wstring_view given = path;
  text_ = path;
  if (given.starts_with(kVerbatim) || given.starts_with(kDevice)) return true;
  // In front stays room for what makes it verbatim.
  constexpr DWORD kFront = kVerbatimShare.size();
  const DWORD length = GetFullPathNameW(path, kMaxUnits - kFront, full_ + kFront, nullptr);
  if (length >= kMaxUnits - kFront) return false;
  if (length == 0 || std::max<size_t>(length, given.size()) < MAX_PATH) return true;
  wchar_t* full = full_ + kFront;
  const std::wstring_view made(full, length);
  if (made.starts_with(kVerbatim) || made.starts_with(kDevice)) {
    text_ = full;
    return true;
  }
  const bool is_share = made.starts_with(kShare);
  const std::wstring_view prefix = is_share ? kVerbatimShare : kVerbatim;
  full += is_share ? kShare.size() : 0;
  text_ = std::copy_n(prefix.data(), prefix.size(), full - prefix.size()) - prefix.size();
  return true;
}

bool SystemPath::TakeAs(UINT code_page, const char* path) {
  return MultiByteToWideChar(code_page, MB_ERR_INVALID_CHARS, path, -1, narrow_, kMaxUnits) != 0 &&
         Take(narrow_);
}

bool SystemPath::Take(const char* path) {
  const UINT ansi = AreFileApisANSI() != 0 ? CP_ACP : CP_OEMCP;
  const bool is_ascii = std::all_of(path, path + std::strlen(path), [](char c) { return c >= 0; });
  if (is_ascii) return TakeAs(ansi, path);
  const There as_ansi = TakeAs(ansi, path) ? LookFor(text_) : There::kNoFolder;
  if (as_ansi == There::kFile) return true;
  if (TakeAs(CP_UTF8, path) && LookFor(text_) > as_ansi) return true;
  return TakeAs(ansi, path);
}

}  // namespace brix::platform
