// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// byname_archive.h - one open archive of the name-based family: the levels that a walk stands in and the temporary
// file that the host holds.
//
// Members travel through files: one is written, the host looks at it and hands it back, and only then it becomes a
// level or is deleted. So there is at most one file in the host's hands, and one for each level below the outermost.
//
// The levels are a linked list that grows by one a step, never past the maximum nesting level, and is taken down in a
// loop. A level takes some 1.6 KB beside its handler; nothing is allocated for a member, and nothing here throws.
#pragma once

#include <cstdint>
#include <memory>

#include "api/byname_context.h"
#include "core/archive_handler.h"
#include "core/format_table.h"
#include "io/file_stream.h"

// The record behind a BrixNamedArchive. Operations leave their outcome in the context's error value.
struct BrixNamedArchiveRecord {
 public:
  explicit BrixNamedArchiveRecord(BrixDecompressionRecord& context) : context_(context) {}
  BrixNamedArchiveRecord(const BrixNamedArchiveRecord&) = delete;
  BrixNamedArchiveRecord& operator=(const BrixNamedArchiveRecord&) = delete;
  ~BrixNamedArchiveRecord();

  // To be called once, and with success, before anything else.
  [[nodiscard]] bool OpenOutermost(const char* path);

  // Names, null when there is none.
  [[nodiscard]] const char* FirstName();
  [[nodiscard]] const char* NextName();

  // The temporary file's path, null when there is none.
  [[nodiscard]] const char* Extract();
  void Remove();

  [[nodiscard]] BrixDecompressionRecord& context() const { return context_; }
  [[nodiscard]] const char* base_name() const { return top_->base_name; }
  [[nodiscard]] uint32_t level_number() const { return top_->number; }

  void SetLimits(const brix::Limits& limits) {
    own_limits_ = limits;
    has_own_limits_ = true;
  }
  void SetRecursionType(uint32_t type) { recursion_type_ = type == 0 ? kDescend : type; }
  void SetMailEnabled(bool enabled) { mail_enabled_ = enabled; }

 private:
  static constexpr uint32_t kDescend = 2;  // the recursion type that enters members

  enum class LevelState {
    kFresh,     // the handler's OpenArchive was not called yet
    kOnMember,  // the handler stands on a member
    kEnded,     // there are no more
    kFailed,    // the handler failed; it is good for destruction only
  };

  struct Level {
    Level() = default;
    Level(const Level&) = delete;
    Level& operator=(const Level&) = delete;
    ~Level();

    std::unique_ptr<Level> parent;
    brix::FileStream stream;
    std::unique_ptr<brix::ArchiveHandler> handler;  // reads the stream, does not own it
    const brix::FormatEntry* format = nullptr;
    uint32_t detect_flags = 0;
    uint32_t number = 1;
    brix::ChainSizes sizes{};
    LevelState state = LevelState::kFresh;
    char base_name[BRIX_PATH_SIZE] = "";
    char source_path[BRIX_PATH_SIZE] = "";  // the temporary file to delete; empty for the outermost
    char member[brix::kNameBufferSize] = "";

    // Opens the file and makes a handler for its type; the error value.
    [[nodiscard]] uint32_t Open(const char* path, const char* shown_name, uint32_t gateway_mode);
    // Whether there is a new handler for the stream, whose type is known. Throws std::bad_alloc.
    [[nodiscard]] bool MakeHandler();
    // Stand on the first and on the next member; false when the handler fails. No name: there are no more.
    [[nodiscard]] bool First();
    [[nodiscard]] bool Next();
    // Whether the mail recogniser alone, whatever the type, takes the file for mail.
    [[nodiscard]] bool LooksLikeMail();

   private:
    // Tells the type of the open stream; throws std::bad_alloc.
    [[nodiscard]] bool Detect();
    [[nodiscard]] bool Advance(bool to_first);
  };

  // The error value for why a handler could not extract a member.
  [[nodiscard]] static uint32_t ErrorOf(uint32_t member_status);

  [[nodiscard]] const brix::Limits& limits() const { return has_own_limits_ ? own_limits_ : context_.limits; }
  // Writes the current member into a new file and sets the error value, which may be 0 after a failure too.
  [[nodiscard]] bool ExtractInto(brix::Stream& file);
  // Sets the error value and returns null.
  const char* Fail(uint32_t error);
  // Enters the extracted file, which then belongs to the new level. Not 0, with the file as it was: the error value,
  // which for most members is that they are no containers.
  [[nodiscard]] uint32_t Descend();
  void PopLevel();

  BrixDecompressionRecord& context_;
  std::unique_ptr<Level> top_;
  uint32_t recursion_type_ = kDescend;
  bool mail_enabled_ = true;
  bool has_own_limits_ = false;
  brix::Limits own_limits_;
  char extracted_name_[brix::kNameBufferSize] = "";  // of the member extracted last
  char path_[BRIX_PATH_SIZE] = "";                   // of the file in the host's hands; empty: none
};
