// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "system.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <utility>

namespace brix::tool {

namespace {

constexpr uint64_t kMaxFileBytes = UINT32_MAX;  // what an ArcStream can present

std::string ToUtf8(const std::wstring& text) {
  const int length = static_cast<int>(text.size());
  const int needed = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<size_t>(needed), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, out.data(), needed, nullptr, nullptr);
  return out;
}

std::wstring ToWide(const std::string& text) {
  const int length = static_cast<int>(text.size());
  const int needed = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
  std::wstring out(static_cast<size_t>(needed), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), length, out.data(), needed);
  return out;
}

std::string Reason(DWORD error) {
  switch (error) {
    case ERROR_ACCESS_DENIED:
      return "permission denied";
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_NAME:  // such as a wildcard that matched no file
      return "not found";
    default:
      break;
  }
  wchar_t text[512];
  const DWORD kFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  DWORD length = FormatMessageW(kFlags, nullptr, error, 0, text, 512, nullptr);
  while (length > 0 && (text[length - 1] < L' ' || text[length - 1] == L'.' || text[length - 1] == L' '))
    --length;
  if (length == 0) return "system error " + std::to_string(error);
  return ToUtf8(std::wstring(text, length));
}

bool IsAscii(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Reads to the end of `file`, a piece at a time, as nobody knows how much will come.
FileKind Spool(HANDLE file, std::vector<uint8_t>* content, uint64_t* size, std::string* why) {
  size_t used = 0;
  for (;;) {
    if (used == content->size()) content->resize(std::max<size_t>(1 << 16, used * 2));
    const DWORD room = static_cast<DWORD>(std::min<size_t>(content->size() - used, 1 << 24));
    DWORD got = 0;
    if (ReadFile(file, content->data() + used, room, &got, nullptr) == 0) {
      if (GetLastError() == ERROR_BROKEN_PIPE) break;  // how the end of a pipe shows
      *why = Reason(GetLastError());
      return FileKind::kUnreadable;
    }
    if (got == 0) break;
    used += got;
    if (used > kMaxFileBytes) return FileKind::kTooLarge;
  }
  content->resize(used);
  *size = used;
  return FileKind::kSpooled;
}

}  // namespace

std::vector<std::string> Arguments(int, char**) {
  SetConsoleOutputCP(CP_UTF8);  // what the names on their way out are in
  std::vector<std::string> out;
  int count = 0;
  wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 0; i < count; ++i) out.push_back(ToUtf8(words[i]));
  LocalFree(words);
  return out;
}

void ExpandWildcards(std::vector<std::string>* paths) {
  std::vector<std::string> out;
  for (const std::string& path : *paths) {
    const size_t name_at = path.find_last_of("/\\:") + 1;  // 0 without any
    std::vector<std::string> found;
    WIN32_FIND_DATAW entry;
    const bool has_wildcard = path.find_first_of("*?", name_at) != std::string::npos;
    const HANDLE search = has_wildcard ? FindFirstFileW(ToWide(path).c_str(), &entry) : INVALID_HANDLE_VALUE;
    if (search != INVALID_HANDLE_VALUE) {
      do {
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
          found.push_back(path.substr(0, name_at) + ToUtf8(entry.cFileName));
        }
      } while (FindNextFileW(search, &entry) != 0);
      FindClose(search);
    }
    std::sort(found.begin(), found.end());
    if (found.empty()) found.push_back(path);
    out.insert(out.end(), found.begin(), found.end());
  }
  *paths = std::move(out);
}

// The library shares this C run time, and with it the standard output of C.
FILE* TakeStandardOutput() {
  const int standard = _fileno(stdout);
  if (standard < 0) return nullptr;
  const int own = _dup(standard);
  const int elsewhere = _fileno(stderr) >= 0 ? _fileno(stderr) : _open("NUL", _O_WRONLY);
  _dup2(elsewhere, standard);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  if (own < 0) return nullptr;
  _setmode(own, _O_BINARY);
  return _fdopen(own, "wb");
}

bool IsTerminal(FILE* stream) { return _isatty(_fileno(stream)) != 0; }

std::string TempDirectory() {
  char path[MAX_PATH + 1];  // in the system's own code page, which the library takes
  const DWORD length = GetTempPathA(sizeof path, path);
  return {path, length < sizeof path ? length : 0};
}

bool Exists(const std::string& path) {
  return GetFileAttributesW(ToWide(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

FileKind InspectFile(const std::string& path, std::vector<uint8_t>* content, uint64_t* size,
                     std::string* why) {
  if (path == "-") return Spool(GetStdHandle(STD_INPUT_HANDLE), content, size, why);
  const std::wstring wide = ToWide(path);
  const DWORD attributes = GetFileAttributesW(wide.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    return FileKind::kDirectory;
  }
  const HANDLE file = CreateFileW(wide.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    *why = Reason(GetLastError());
    return FileKind::kUnreadable;
  }
  FileKind kind = FileKind::kRegular;
  LARGE_INTEGER bytes = {};
  // The library takes paths in the system's own code page, so other names are presented from memory.
  if (GetFileType(file) != FILE_TYPE_DISK || GetFileSizeEx(file, &bytes) == 0 || !IsAscii(path)) {
    kind = Spool(file, content, size, why);
  } else {
    *size = static_cast<uint64_t>(bytes.QuadPart);
    if (*size > kMaxFileBytes) kind = FileKind::kTooLarge;
  }
  CloseHandle(file);
  return kind;
}

Folder::Folder(Folder&& other) noexcept = default;
Folder& Folder::operator=(Folder&& other) noexcept = default;
Folder::~Folder() = default;

bool Folder::OpenRoot(const std::string& path, std::string* why) {
  const std::wstring wide = ToWide(path);
  std::wstring full(GetFullPathNameW(wide.c_str(), 0, nullptr, nullptr), L'\0');
  full.resize(GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  const bool is_share = full.rfind(L"\\\\", 0) == 0;
  path_ = is_share ? full : L"\\\\?\\" + full;  // the prefix lifts the limit of 260 characters
  // Makes the parents from the top; what fails because it exists, or is a drive, shows at the test below.
  for (size_t at = full.find(L'\\', 3); at != std::wstring::npos; at = full.find(L'\\', at + 1)) {
    CreateDirectoryW(full.substr(0, at).c_str(), nullptr);
  }
  CreateDirectoryW(path_.c_str(), nullptr);
  const DWORD error = GetLastError();
  const DWORD attributes = GetFileAttributesW(path_.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return true;
  *why = Reason(attributes == INVALID_FILE_ATTRIBUTES ? error : ERROR_DIRECTORY);
  return false;
}

Folder::Outcome Folder::Enter(const std::string& name, Folder* child, std::string* why) const {
  const std::wstring path = path_ + L"\\" + ToWide(name);
  if (CreateDirectoryW(path.c_str(), nullptr) == 0 && GetLastError() != ERROR_ALREADY_EXISTS) {
    *why = Reason(GetLastError());
    return Outcome::kFailed;
  }
  const DWORD attributes = GetFileAttributesW(path.c_str());
  constexpr DWORD kKinds = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & kKinds) != FILE_ATTRIBUTE_DIRECTORY) {
    return Outcome::kTaken;
  }
  child->path_ = path;
  return Outcome::kDone;
}

Folder::Outcome Folder::Create(const std::string& name, const uint8_t* data, size_t size,
                               std::string* why) const {
  const std::wstring path = path_ + L"\\" + ToWide(name);
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                  FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    // A directory of that name gives "access denied" on some versions.
    const bool exists = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (exists || error == ERROR_FILE_EXISTS || error == ERROR_ALREADY_EXISTS) return Outcome::kTaken;
    *why = Reason(error);
    return Outcome::kFailed;
  }
  DWORD error = 0;
  while (size > 0 && error == 0) {
    DWORD put = 0;
    if (WriteFile(file, data, static_cast<DWORD>(std::min<size_t>(size, 1 << 24)), &put, nullptr) == 0) {
      error = GetLastError();
    }
    data += put;
    size -= put;
  }
  CloseHandle(file);
  if (error == 0) return Outcome::kDone;
  DeleteFileW(path.c_str());
  *why = Reason(error);
  return Outcome::kFailed;
}

}  // namespace brix::tool
