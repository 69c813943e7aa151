// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// archive.cpp - opening and walking; extraction is in archive_extract.cpp.
#include "api/archive.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "formats/registry.h"
#include "io/file_stream.h"

using brix::kNameBufferSize;

bool ArcTk2ArchiveRecord::Configure(const ArcTk2ToolkitRecord& toolkit, bool mail_hint) {
  limits_ = toolkit.limits;
  detect_flags_ = mail_hint ? brix::kDetectMailHint : 0;
  temp_directory_ = toolkit.temp_directory ? *toolkit.temp_directory : ".";
  if (toolkit.type_flags) {
    type_flags_.reset(new (std::nothrow) brix::TypeFlags(*toolkit.type_flags));
    if (!type_flags_) return false;
  }
  return true;
}

int32_t ArcTk2ArchiveRecord::OpenOutermost(std::unique_ptr<brix::Stream> stream) {
  return OpenLevel(std::move(stream));
}

std::unique_ptr<brix::ArchiveHandler> ArcTk2ArchiveRecord::MakeHandler(brix::Stream* stream) const {
  const uint32_t* const enabled = type_flags_ ? type_flags_->data() : nullptr;
  return std::unique_ptr<brix::ArchiveHandler>(
      brix::Formats().CreateArchiveHandler(stream, enabled, 1, detect_flags_));
}

int32_t ArcTk2ArchiveRecord::OpenLevel(std::unique_ptr<brix::Stream> stream) {
  if (depth_ >= limits_.max_nesting_level) return BRIX_NESTING_LIMIT;
  std::unique_ptr<brix::ArchiveHandler> handler = MakeHandler(stream.get());
  if (!handler) return BRIX_NOT_AN_ARCHIVE;
  brix::Stream* const input = stream.release();  // the handler's now
  uint32_t size = 0;
  if (!input->GetSize(&size)) return BRIX_FAILED;
  return PushLevel(std::move(handler), size);
}

int32_t ArcTk2ArchiveRecord::PushLevel(std::unique_ptr<brix::ArchiveHandler> handler, uint32_t size) {
  std::unique_ptr<Level> level(new (std::nothrow) Level);
  if (!level) return BRIX_OUT_OF_MEMORY;
  level->sizes = top_ ? top_->sizes.Nested(size) : brix::ChainSizes::Outermost(size);
  level->handler = std::move(handler);
  if (!top_) bottom_ = level.get();
  level->parent = std::move(top_);
  top_ = std::move(level);
  ++depth_;
  return BRIX_OK;
}

void ArcTk2ArchiveRecord::PopLevel() {
  const std::unique_ptr<Level> gone = std::move(top_);
  unseen_ |= UnseenIn(*gone);
  top_ = std::move(gone->parent);
  --depth_;
  if (top_) {
    top_->state = LevelState::kBetween;
  } else {
    bottom_ = nullptr;
  }
}

// A nested one that shows nothing was shown itself, as its parent's member.
uint32_t ArcTk2ArchiveRecord::UnseenIn(const Level& level) {
  const uint32_t unseen = level.handler->unseen();
  return level.parent == nullptr ? unseen : unseen & ~uint32_t{brix::kUnseenNothing};
}

uint32_t ArcTk2ArchiveRecord::Unseen() const {
  uint32_t unseen = unseen_;
  for (const Level* level = top_.get(); level != nullptr; level = level->parent.get())
    unseen |= UnseenIn(*level);
  return unseen;
}

// From the innermost outwards: a level may read the file that its parent holds for it.
void ArcTk2ArchiveRecord::CloseLevels() {
  while (top_) PopLevel();
}

int32_t ArcTk2ArchiveRecord::Descend() {
  int32_t status = BRIX_NOT_AN_ARCHIVE;
  if (!MayDescend()) {
    DropPending();
  } else if (!pending_file_.empty()) {
    std::string path;
    path.swap(pending_file_);
    auto file = std::make_unique<brix::FileStream>();
    if (!file->Open(path.c_str(), brix::platform::OpenMode::kRead)) return BRIX_PART_FAILED;
    status = OpenLevel(std::move(file));
  } else if (pending_handler_) {
    status = PushLevel(std::move(pending_handler_), pending_size_);
  } else if (std::exchange(pending_found_no_memory_, false)) {
    status = BRIX_OUT_OF_MEMORY;
  }
  if (status == BRIX_OK || status == BRIX_NOT_AN_ARCHIVE) return BRIX_OK;
  return status == BRIX_OUT_OF_MEMORY ? status : BRIX_PART_FAILED;
}

bool ArcTk2ArchiveRecord::Advance(char* name) {
  Level& level = *top_;
  const bool is_first = level.state == LevelState::kFresh;
  level.state = LevelState::kFailed;  // holds also when a host's stream throws through the handler
  name[0] = '\0';
  level.handler->memberStatus = brix::kMemberNormal;  // not what the member before had
  if (!(is_first ? level.handler->OpenArchive(name) : level.handler->NextMember(name))) return false;
  name[kNameBufferSize - 1] = '\0';
  level.state = LevelState::kOnMember;
  return true;
}

int32_t ArcTk2ArchiveRecord::NextFile(char* name, uint32_t name_size) {
  if (name == nullptr) return BRIX_BAD_ARGUMENT;
  failed_list_status_ = 0;
  if (depth_ == 0) return BRIX_NO_MORE_MEMBERS;
  const int32_t descended = Descend();
  if (descended != BRIX_OK) return descended;
  char found[kNameBufferSize];
  for (;;) {  // each turn leaves, or takes a level off the stack
    top_->member_file.Delete();
    // A handler that failed is not asked again. The outermost one stays, so that its type can be told.
    if (top_->state == LevelState::kFailed || !Advance(found)) {
      failed_list_status_ = top_->handler->memberStatus;
      if (depth_ == 1) return BRIX_FAILED;
      PopLevel();
      return BRIX_PART_FAILED;
    }
    if (found[0] != '\0') break;
    PopLevel();
    if (depth_ == 0) return BRIX_NO_MORE_MEMBERS;
  }
  const size_t length = std::strlen(found);
  if (length >= name_size) return BRIX_BAD_ARGUMENT;
  std::memcpy(name, found, length + 1);
  return BRIX_OK;
}
