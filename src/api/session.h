// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// session.h - one session of the ArcTk family: the stack of archives that a walk stands in.
//
// Each level extracts its members into streams of the host's factory and keeps the last one, its pending member.
// The next step may open that as a level above: the nested archive reads the pending stream of the level below,
// which therefore stays until the nested level is gone.
//
// The stack grows by descent only, one level a step, and never past the maximum nesting level; it is a linked list
// that is taken down in a loop. A pending member is tried once, so a walk ends however often a step fails.
#pragma once

#include <cstdint>
#include <memory>

#include "api/arc_archive.h"
#include "api/limits.h"
#include "api/owned_stream.h"
#include "brixcore/session.h"

// The record behind an ArcTkSession. Results are the family's statuses.
struct ArcTkSessionRecord {
 public:
  // The factory's create is present.
  explicit ArcTkSessionRecord(const ArcStreamFactory& factory) : factory_(factory) {}
  ArcTkSessionRecord(const ArcTkSessionRecord&) = delete;
  ArcTkSessionRecord& operator=(const ArcTkSessionRecord&) = delete;
  ~ArcTkSessionRecord() {
    while (top_) PopLevel();
  }

  // `output` is null for reading only; both streams stay the host's.
  [[nodiscard]] int32_t OpenOutermost(const ArcStream& stream, const ArcStream* output);

  [[nodiscard]] int32_t ExtractNextMember(bool descend, ArcStream* stream);

  [[nodiscard]] uint32_t depth() const { return depth_; }  // number of levels
  // The archive being walked; null when the session has ended.
  [[nodiscard]] ArcArchiveRecord* CurrentArchive() const { return top_ ? top_->archive.get() : nullptr; }

  // The session's own default is lower than the other families'.
  brix::Limits limits{.max_ratio = 100};

 private:
  struct Level {
    std::unique_ptr<Level> parent;
    brix::OwnedStream output;  // of a nested archive that is opened for change
    std::unique_ptr<ArcArchiveRecord> archive;
    brix::OwnedStream pending;  // the member extracted last
    bool pending_was_tried = false;
    bool is_for_change = false;
    brix::ChainSizes sizes{};
  };

  // Opens `stream` as a level above the top one.
  [[nodiscard]] int32_t OpenLevel(const ArcStream& stream, const ArcStream* output,
                                  brix::OwnedStream* owned_output);
  void PopLevel();
  // Opens the top level's pending member, when there is one and it is an archive; 0 also when it is none. -3: no
  // memory, or the factory made no output for it.
  [[nodiscard]] int32_t Descend();
  // Stands on the next member, leaving levels that are at their end.
  [[nodiscard]] int32_t Advance();
  // Makes the member pending; 0, -12 or -10 when it is.
  [[nodiscard]] int32_t ExtractCurrent();

  const ArcStreamFactory factory_;
  std::unique_ptr<Level> top_;
  uint32_t depth_ = 0;
  bool was_cut_ = false;  // the last extraction was cut at the limit
};
