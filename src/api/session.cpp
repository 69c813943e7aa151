// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/session.h"

#include <new>
#include <utility>

#include "api/failing_stream.h"
#include "api/limited_extract.h"

using brix::OwnedStream;

int32_t ArcTkSessionRecord::OpenOutermost(const ArcStream& stream, const ArcStream* output) {
  return OpenLevel(stream, output, nullptr);
}

int32_t ArcTkSessionRecord::OpenLevel(const ArcStream& stream, const ArcStream* output,
                                      OwnedStream* owned_output) {
  if (depth_ >= limits.max_nesting_level) return BRIX_NESTING_LIMIT;
  std::unique_ptr<ArcArchiveRecord> archive;
  const int32_t status = ArcArchiveRecord::Open(&stream, output, 0, &archive);
  if (status != BRIX_OK) return status;
  uint32_t size = 0;
  if (stream.get_size(stream.context, &size) != 0) return BRIX_FAILED;

  std::unique_ptr<Level> level(new (std::nothrow) Level);
  if (!level) return BRIX_OUT_OF_MEMORY;
  level->archive = std::move(archive);
  if (owned_output != nullptr) level->output.Swap(*owned_output);
  level->is_for_change = output != nullptr;
  level->sizes = top_ ? top_->sizes.Nested(size) : brix::ChainSizes::Outermost(size);
  level->parent = std::move(top_);
  top_ = std::move(level);
  ++depth_;
  return BRIX_OK;
}

void ArcTkSessionRecord::PopLevel() {
  const std::unique_ptr<Level> gone = std::move(top_);
  top_ = std::move(gone->parent);
  --depth_;
  (void)gone->archive->Finish();  // a failure to write it out is not the walk's
}

// What the member's opening came to is not told, as most members are no archives, but that there was no memory for it.
int32_t ArcTkSessionRecord::Descend() {
  Level& parent = *top_;
  if (!parent.pending.is_open() || parent.pending_was_tried || was_cut_) return BRIX_OK;
  parent.pending_was_tried =
      true;  // holds also when the factory fails or throws: a walk must come to its end
  OwnedStream output;
  if (parent.is_for_change && !output.Create(factory_)) return BRIX_OUT_OF_MEMORY;
  const ArcStream* const out = parent.is_for_change ? &output.record() : nullptr;
  const int32_t status = OpenLevel(parent.pending.record(), out, &output);
  return status == BRIX_OUT_OF_MEMORY ? status : BRIX_OK;
}

int32_t ArcTkSessionRecord::Advance() {
  while (top_) {  // each turn leaves, or takes a level off the stack
    const int32_t status = top_->archive->NextMember();
    if (status != BRIX_NO_MORE_MEMBERS) return status;
    PopLevel();
  }
  return BRIX_NO_MORE_MEMBERS;
}

int32_t ArcTkSessionRecord::ExtractCurrent() {
  Level& level = *top_;
  level.pending.Close();
  level.pending_was_tried = false;
  was_cut_ = false;
  OwnedStream member;
  if (!member.Create(factory_)) return BRIX_NO_OUTPUT;
  brix::HostStream target(member.record());
  const brix::LimitedExtraction result =
      brix::ExtractLimited(level.archive->handler(), target, limits.max_extract_size);
  if (!result.ok) return BRIX_FAILED;
  was_cut_ = result.was_cut;
  level.pending.Swap(member);
  // Kept: such a member may still be descended into, unless it was cut as well.
  if (level.sizes.RatioReached(result.stored, limits.max_ratio)) return BRIX_NESTING_LIMIT;
  return was_cut_ ? BRIX_SIZE_LIMIT : BRIX_OK;
}

int32_t ArcTkSessionRecord::ExtractNextMember(bool descend, ArcStream* stream) {
  if (!top_) return BRIX_NO_MORE_MEMBERS;
  int32_t status = descend ? Descend() : BRIX_OK;
  if (status == BRIX_OK) status = Advance();
  if (status != BRIX_OK) return status;
  status = ExtractCurrent();
  if (status != BRIX_OK && status != BRIX_SIZE_LIMIT) return status;
  const ArcStream& member = top_->pending.record();
  *stream = brix::kFailingStream;  // the operations that would take the member from the session
  stream->context = member.context;
  stream->read = member.read;
  stream->get_size = member.get_size;
  if (member.get_file_name != nullptr) stream->get_file_name = member.get_file_name;
  return status;
}
