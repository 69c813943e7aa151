// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/byname_archive.h"

#include <new>
#include <utility>

#include "api/limited_extract.h"
#include "formats/registry.h"
#include "io/unique_file.h"

using brix::Emit;

namespace {

constexpr uint32_t kSmallestArchive = 4;  // bytes

// Deletes a file at its end, also when a host's callback throws.
struct Deletion {
  const char* path;
  ~Deletion() { (void)brix::platform::Remove(path); }
};

}  // namespace

BrixNamedArchiveRecord::Level::~Level() {
  handler.reset();
  stream.Close();  // some systems delete no file that is open
  if (source_path[0] != '\0') (void)brix::platform::Remove(source_path);
}

uint32_t BrixNamedArchiveRecord::Level::Open(const char* path, const char* shown_name,
                                             uint32_t gateway_mode) {
  if (!stream.Open(path, brix::platform::OpenMode::kRead)) return BRIX_ERROR_NOT_OPENED;
  uint32_t size = 0;
  if (!stream.GetSize(&size) || size < kSmallestArchive) return BRIX_ERROR_NOT_AN_ARCHIVE;
  detect_flags = (gateway_mode != 0 ? brix::kDetectGateway : 0) |
                 (brix::EndsInEml(shown_name) ? brix::kDetectMailHint : 0);
  bool is_archive = false;
  const int32_t looked = brix::Guarded([&]() -> int32_t {
    is_archive = Detect() && MakeHandler();
    return BRIX_OK;
  });
  if (looked != BRIX_OK) return BRIX_ERROR_MEMORY;
  if (!is_archive) return BRIX_ERROR_NOT_AN_ARCHIVE;
  sizes = brix::ChainSizes::Outermost(size);
  brix::CopyName(brix::BaseName(shown_name), base_name);
  return BRIX_ERROR_NONE;
}

bool BrixNamedArchiveRecord::Level::Detect() {
  brix::CachedReadStream cache;
  cache.SetInner(&stream, 0);
  format = brix::Formats().Find(brix::Formats().DetectArchiveType(cache, detect_flags));
  return format != nullptr && format->create != nullptr;
}

bool BrixNamedArchiveRecord::Level::MakeHandler() {
  handler.reset(format->create(&stream, {format->type_id, 0, detect_flags, brix::Formats()}));
  return handler != nullptr;
}

// A walk that starts again starts with a new handler: one is opened only once.
bool BrixNamedArchiveRecord::Level::First() {
  member[0] = '\0';
  if (std::exchange(state, LevelState::kFailed) != LevelState::kFresh && !MakeHandler()) return false;
  return Advance(true);
}

bool BrixNamedArchiveRecord::Level::Next() {
  if (state == LevelState::kFresh) return First();
  member[0] = '\0';
  return state == LevelState::kEnded || (state == LevelState::kOnMember && Advance(false));
}

bool BrixNamedArchiveRecord::Level::Advance(bool to_first) {
  state = LevelState::kFailed;
  if (!(to_first ? handler->OpenArchive(member) : handler->NextMember(member))) {
    member[0] = '\0';
    return false;
  }
  member[brix::kNameBufferSize - 1] = '\0';
  state = member[0] != '\0' ? LevelState::kOnMember : LevelState::kEnded;
  return true;
}

bool BrixNamedArchiveRecord::Level::LooksLikeMail() {
  constexpr uint32_t kMail = 9;
  const brix::FormatEntry* const mail = brix::Formats().Find(kMail);
  brix::CachedReadStream cache;
  cache.SetInner(&stream, 0);
  return mail != nullptr && mail->detect(cache, detect_flags, brix::Formats());
}

BrixNamedArchiveRecord::~BrixNamedArchiveRecord() {
  while (top_) PopLevel();  // from the innermost outwards
}

void BrixNamedArchiveRecord::PopLevel() {
  const std::unique_ptr<Level> gone = std::move(top_);
  top_ = std::move(gone->parent);
}

bool BrixNamedArchiveRecord::OpenOutermost(const char* path) {
  std::unique_ptr<Level> level(new (std::nothrow) Level);
  context_.error = level ? level->Open(path, path, context_.gateway_mode) : uint32_t{BRIX_ERROR_MEMORY};
  if (context_.error != BRIX_ERROR_NONE) return false;
  top_ = std::move(level);
  Emit(context_.callbacks, brix::kLevelArchive, "Archive opened: %s", path);
  return true;
}

const char* BrixNamedArchiveRecord::FirstName() {
  if (!top_->First()) {
    context_.error = BRIX_ERROR_NOT_AN_ARCHIVE;
    return nullptr;
  }
  context_.error = BRIX_ERROR_NONE;
  return top_->member[0] != '\0' ? top_->member : nullptr;
}

const char* BrixNamedArchiveRecord::NextName() {
  if (context_.error == BRIX_ERROR_STOPPED) return nullptr;
  for (;;) {  // each turn leaves, or takes a level off the stack
    const bool ok = top_->Next();
    context_.error = ok ? BRIX_ERROR_NONE : BRIX_ERROR_HANDLER;
    if (ok && top_->member[0] != '\0') return top_->member;
    if (!top_->parent) return nullptr;
    PopLevel();
  }
}

uint32_t BrixNamedArchiveRecord::ErrorOf(uint32_t member_status) {
  switch (member_status) {
    case brix::kMemberNormal:
      return BRIX_ERROR_DAMAGED;
    case brix::kMemberEncrypted:
      return BRIX_ERROR_ENCRYPTED;
    case brix::kMemberUnsupported:
      return BRIX_ERROR_HANDLER;
    default:
      return BRIX_ERROR_NONE;
  }
}

// Kept: a member of exactly the allowance counts as cut. The toolkit family takes such a member for whole.
bool BrixNamedArchiveRecord::ExtractInto(brix::Stream& file) {
  const uint32_t allowance = brix::MemberLimit(limits(), top_->sizes);
  const brix::LimitedExtraction result = brix::ExtractLimited(*top_->handler, file, allowance);
  if (result.stored == allowance || top_->sizes.RatioReached(result.stored, limits().max_ratio)) {
    context_.error = BRIX_ERROR_LIMIT;
    return false;
  }
  context_.error = result.ok ? uint32_t{BRIX_ERROR_NONE} : ErrorOf(top_->handler->memberStatus);
  return result.ok;
}

const char* BrixNamedArchiveRecord::Fail(uint32_t error) {
  context_.error = error;
  return nullptr;
}

const char* BrixNamedArchiveRecord::Extract() {
  const char* const name = top_->member;
  if (!top_->handler) return Fail(BRIX_ERROR_HANDLER);
  if (name[0] == '\0') return Fail(BRIX_ERROR_NO_MEMBER);
  if (!mail_enabled_ && !top_->parent && top_->LooksLikeMail()) {
    Emit(context_.callbacks, brix::kLevelMember, "not extracting (mail archive disabled): %s", name);
    return Fail(BRIX_ERROR_NONE);
  }
  char made[brix::kPathBufferSize];
  if (!brix::UniqueFileName(context_.temp_directory, "tmp", made)) return Fail(BRIX_ERROR_NO_TEMPORARY_NAME);
  // Kept: a file that the host did not hand back is forgotten here, and stays for the host to delete.
  brix::CopyName(made, path_);
  brix::FileStream file;
  const bool is_open = file.Open(path_, brix::platform::OpenMode::kOwn);
  const bool ok = is_open && ExtractInto(file);
  file.Close();
  if (!ok) {
    path_[0] = '\0';
    const Deletion deletion{made};
    if (!is_open) return Fail(BRIX_ERROR_NO_MEMBER);
    Emit(context_.callbacks, brix::kLevelMember, "extraction failed: %s", name);
    return nullptr;
  }
  brix::CopyName(name, extracted_name_);
  Emit(context_.callbacks, brix::kLevelMember, "extraction successful: %s extracted to %s", name, path_);
  return path_;
}

uint32_t BrixNamedArchiveRecord::Descend() {
  std::unique_ptr<Level> level(new (std::nothrow) Level);
  if (!level) return BRIX_ERROR_MEMORY;
  const uint32_t error = level->Open(path_, extracted_name_, context_.gateway_mode);
  if (error != BRIX_ERROR_NONE) return error;
  brix::CopyName(path_, level->source_path);
  path_[0] = '\0';
  level->sizes = top_->sizes.Nested(level->sizes.total);
  level->number = top_->number + 1;
  level->parent = std::move(top_);
  top_ = std::move(level);
  return BRIX_ERROR_NONE;
}

void BrixNamedArchiveRecord::Remove() {
  if (recursion_type_ == kDescend) {
    const bool may_descend = top_->number < limits().max_nesting_level;
    context_.error = may_descend ? BRIX_ERROR_NONE : BRIX_ERROR_LIMIT;
    if (may_descend && path_[0] != '\0') {
      const uint32_t error = Descend();
      if (error == BRIX_ERROR_NONE) return;
      if (error == BRIX_ERROR_MEMORY) context_.error = error;
    }
  } else if (context_.error != BRIX_ERROR_LIMIT) {
    context_.error = BRIX_ERROR_NONE;
  }
  if (path_[0] == '\0') return;
  char path[sizeof path_];
  brix::CopyName(path_, path);
  path_[0] = '\0';
  const Deletion deletion{path};
  Emit(context_.callbacks, brix::kLevelArchive, "Deleting file: %s", path);
}
