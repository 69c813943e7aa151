// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// archive.h - one open archive of the toolkit family: the stack of containers that a walk stands in, and the
// member that it may descend into next.
//
// The host sees one sequence of members, depth first. A member extracted to memory or to a file is remembered
// as pending; the next step tries to open it as a container and, when it is one, walks that before it goes
// on.
//
// The stack grows by descent only, one level a step, and never past the maximum nesting level; it is a linked
// list that is taken down in a loop. No call recurses on what the input says.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "api/limits.h"
#include "api/toolkit.h"
#include "core/archive_handler.h"
#include "core/memory_stream.h"
#include "io/unique_file.h"

// The record behind an ArcTk2Archive. Results are the family's statuses.
struct ArcTk2ArchiveRecord {
 public:
  ArcTk2ArchiveRecord() = default;
  ArcTk2ArchiveRecord(const ArcTk2ArchiveRecord&) = delete;
  ArcTk2ArchiveRecord& operator=(const ArcTk2ArchiveRecord&) = delete;
  ~ArcTk2ArchiveRecord() { CloseLevels(); }

  // Takes a copy of the toolkit's settings. False: no memory.
  [[nodiscard]] bool Configure(const ArcTk2ToolkitRecord& toolkit, bool mail_hint);

  // Opens the outermost archive; `stream` is released when that fails.
  [[nodiscard]] int32_t OpenOutermost(std::unique_ptr<brix::Stream> stream);

  [[nodiscard]] int32_t NextFile(char* name, uint32_t name_size);

  [[nodiscard]] int32_t ExtractToMemory(void** data, uint32_t* size);
  [[nodiscard]] int32_t ExtractToFile(const char* path);
  [[nodiscard]] int32_t ExtractToTempFile(char* path, uint32_t path_size);
  [[nodiscard]] int32_t ExtractToStream(brix::Stream& target);

  void SetMaxExtractSize(uint32_t bytes) { limits_.max_extract_size = bytes; }
  void SetTempDirectory(std::string directory) { temp_directory_.swap(directory); }

  [[nodiscard]] uint32_t depth() const { return depth_; }  // number of levels
  // The handlers of the outermost and of the current level; null when none is open.
  [[nodiscard]] brix::ArchiveHandler* OutermostHandler() const {
    return bottom_ ? bottom_->handler.get() : nullptr;
  }
  [[nodiscard]] brix::ArchiveHandler* CurrentHandler() const { return top_ ? top_->handler.get() : nullptr; }
  // Whether there is a member to extract or to ask about.
  [[nodiscard]] bool HasMember() const { return top_ && top_->state == LevelState::kOnMember; }
  // What was passed over so far, on all levels; the family's bits are the handlers'.
  [[nodiscard]] uint32_t Unseen() const;
  // The current member's memberStatus, or that of the list of members at which NextFile just failed; 0: neither.
  [[nodiscard]] uint32_t MemberStatus() const {
    return HasMember() ? CurrentHandler()->memberStatus : failed_list_status_;
  }

 private:
  enum class LevelState {
    kFresh,     // the handler's OpenArchive was not called yet
    kOnMember,  // the handler stands on a member, which the host knows
    kBetween,   // the member was left: a container nested in it could not be walked to its end
    kFailed,    // the handler failed, or is just being called; it is good for destruction only
  };

  struct Level {
    std::unique_ptr<Level> parent;
    brix::OwnedFile member_file;  // our temporary file of the current member
    std::unique_ptr<brix::ArchiveHandler> handler;
    brix::ChainSizes sizes;
    LevelState state = LevelState::kFresh;
  };

  // What one extraction yielded; `status` is 0, -12, -11 or -14.
  struct Yield {
    int32_t status;
    uint32_t bytes;
    // Whether the target holds something valid.
    [[nodiscard]] bool IsKept() const { return status == BRIX_OK || status == BRIX_SIZE_LIMIT; }
  };

  // A handler that owns the stream; null, with the stream left to the caller, when it is no archive for this walk.
  // Throws std::bad_alloc.
  [[nodiscard]] std::unique_ptr<brix::ArchiveHandler> MakeHandler(brix::Stream* stream) const;
  [[nodiscard]] int32_t OpenLevel(std::unique_ptr<brix::Stream> stream);
  // `size`: bytes of what the handler reads.
  [[nodiscard]] int32_t PushLevel(std::unique_ptr<brix::ArchiveHandler> handler, uint32_t size);
  [[nodiscard]] static uint32_t UnseenIn(const Level& level);
  void PopLevel();
  void CloseLevels();

  // Opens the pending member as a level, when there is one, it is a container and the limits allow. Nothing
  // is pending afterwards: a member that was not entered now is never entered later, under another parent.
  // Not 0: it could not be opened although it may be a container.
  [[nodiscard]] int32_t Descend();
  // Whether the limits let the member that was extracted last be entered.
  [[nodiscard]] bool MayDescend() const { return depth_ + 1 < limits_.max_nesting_level && !was_cut_; }
  // Stands the top level on its next member and writes its name: empty at its end.
  [[nodiscard]] bool Advance(char* name);

  void DropPending();
  // An empty stream in memory; null when there is no memory.
  [[nodiscard]] std::unique_ptr<brix::MemoryStream> TakeMemoryStream();
  void GiveBack(std::unique_ptr<brix::MemoryStream> memory);
  void ReserveDeclaredSize(brix::MemoryStream& target);
  // Decodes the current member, of which HasMember told, within the limits.
  [[nodiscard]] Yield ExtractInto(brix::Stream& target);

  std::unique_ptr<Level> top_;
  Level* bottom_ = nullptr;
  uint32_t failed_list_status_ = 0;
  uint32_t unseen_ = 0;  // of the levels that were left
  uint32_t depth_ = 0;
  bool was_cut_ = false;                  // the last extraction was cut at the limit
  bool pending_found_no_memory_ = false;  // the member in memory, which may be a container, got no handler
  std::string pending_file_;
  std::unique_ptr<brix::ArchiveHandler> pending_handler_;  // of a member in memory that is a container
  uint32_t pending_size_ = 0;                              // bytes of that member
  std::unique_ptr<brix::MemoryStream> spare_memory_;       // that of a member of the past, kept for its pages

  brix::Limits limits_;
  uint32_t detect_flags_ = 0;
  std::string temp_directory_;
  std::unique_ptr<brix::TypeFlags> type_flags_;  // null: all enabled
};
