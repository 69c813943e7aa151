// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "system.h"

namespace brix::tool {

namespace {

constexpr uint64_t kMaxFileBytes = UINT32_MAX;  // what an ArcStream can present

std::string Reason(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
      return "permission denied";
    case ENOENT:
      return "not found";
    default:
      return std::generic_category().message(error);
  }
}

// Reads to the end of `fd`, a piece at a time, as nobody knows how much will come.
FileKind Spool(int fd, std::vector<uint8_t>* content, uint64_t* size, std::string* why) {
  size_t used = 0;
  for (;;) {
    if (used == content->size()) content->resize(std::max<size_t>(1 << 16, used * 2));
    const ssize_t got = read(fd, content->data() + used, content->size() - used);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      *why = Reason(errno);
      return FileKind::kUnreadable;
    }
    if (got == 0) break;
    used += static_cast<size_t>(got);
    if (used > kMaxFileBytes) return FileKind::kTooLarge;
  }
  content->resize(used);
  *size = used;
  return FileKind::kSpooled;
}

FileKind InspectDescriptor(int fd, bool may_be_reopened, std::vector<uint8_t>* content, uint64_t* size,
                           std::string* why) {
  struct stat info = {};
  if (fstat(fd, &info) != 0) {
    *why = Reason(errno);
    return FileKind::kUnreadable;
  }
  if (S_ISDIR(info.st_mode)) return FileKind::kDirectory;
  if (!S_ISREG(info.st_mode) || !may_be_reopened) return Spool(fd, content, size, why);
  *size = static_cast<uint64_t>(info.st_size);
  return *size > kMaxFileBytes ? FileKind::kTooLarge : FileKind::kRegular;
}

}  // namespace

std::vector<std::string> Arguments(int argc, char** argv) { return {argv, argv + argc}; }

void ExpandWildcards(std::vector<std::string>*) {}

FILE* TakeStandardOutput() {
  const int own = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  // A file opened later must not become one of the first three. Reading from this one fails, as from a closed one.
  int filler = 0;
  while (filler >= 0 && filler <= STDERR_FILENO) filler = open("/dev/null", O_WRONLY);
  if (filler >= 0) close(filler);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return own < 0 ? nullptr : fdopen(own, "w");
}

bool IsTerminal(FILE* stream) { return isatty(fileno(stream)) == 1; }

std::string TempDirectory() {
  std::error_code error;
  return std::filesystem::temp_directory_path(error).string();
}

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

FileKind InspectFile(const std::string& path, std::vector<uint8_t>* content, uint64_t* size,
                     std::string* why) {
  if (path == "-") return InspectDescriptor(STDIN_FILENO, false, content, size, why);
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) {
    *why = Reason(errno);
    return FileKind::kUnreadable;
  }
  const FileKind kind = InspectDescriptor(fd, true, content, size, why);
  close(fd);
  return kind;
}

Folder::Folder(Folder&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

Folder& Folder::operator=(Folder&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

Folder::~Folder() {
  if (fd_ >= 0) close(fd_);
}

bool Folder::OpenRoot(const std::string& path, std::string* why) {
  std::error_code error;
  std::filesystem::create_directories(path, error);  // an error here shows again at the open below
  fd_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd_ < 0) *why = Reason(errno);
  return fd_ >= 0;
}

Folder::Outcome Folder::Enter(const std::string& name, Folder* child, std::string* why) const {
  if (mkdirat(fd_, name.c_str(), 0777) != 0 && errno != EEXIST) {
    *why = Reason(errno);
    return Outcome::kFailed;
  }
  // ENOTDIR is also what a link gives: O_NOFOLLOW with O_DIRECTORY.
  const int fd = openat(fd_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0 && (errno == ENOTDIR || errno == ELOOP)) return Outcome::kTaken;
  if (fd < 0) {
    *why = Reason(errno);
    return Outcome::kFailed;
  }
  if (child->fd_ >= 0) close(child->fd_);
  child->fd_ = fd;
  return Outcome::kDone;
}

Folder::Outcome Folder::Create(const std::string& name, const uint8_t* data, size_t size,
                               std::string* why) const {
  const int fd = openat(fd_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  if (fd < 0 && errno == EEXIST) return Outcome::kTaken;
  if (fd < 0) {
    *why = Reason(errno);
    return Outcome::kFailed;
  }
  int error = 0;
  while (size > 0 && error == 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0) {
      if (errno != EINTR) error = errno;
      continue;
    }
    data += put;
    size -= static_cast<size_t>(put);
  }
  if (close(fd) != 0 && error == 0) error = errno;
  if (error == 0) return Outcome::kDone;
  unlinkat(fd_, name.c_str(), 0);
  *why = Reason(error);
  return Outcome::kFailed;
}

}  // namespace brix::tool
