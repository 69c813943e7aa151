// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// archive_extract.cpp - the four targets of an extraction, and the limits that they share.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>

#include "api/archive.h"
#include "api/guarded.h"
#include "api/limited_extract.h"
#include "io/file_stream.h"
#include "platform/platform.h"

namespace {

// The most that is reserved on a directory's word alone; what really comes grows the stream. Where there are large
// pages, memory that is never filled costs next to nothing, and to grow step by step is dear.
constexpr uint32_t kMaxReserve = 1 << 20;        // bytes
constexpr uint32_t kMaxLargeReserve = 64 << 20;  // bytes
// A smaller member is copied for the host: that is as cheap, and its memory serves the next.
constexpr size_t kHandOver = 1 << 16;  // bytes
// A larger stream is freed instead of being kept for the next member.
constexpr size_t kMaxSpare = 64 << 20;  // bytes

void* CopyOf(std::span<const uint8_t> bytes) {
  void* const copy = std::malloc(std::max<size_t>(bytes.size(), 1));
  if (copy != nullptr && !bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
  return copy;
}

}  // namespace

ArcTk2ArchiveRecord::Yield ArcTk2ArchiveRecord::ExtractInto(brix::Stream& target) {
  const brix::ChainSizes sizes = top_->sizes;
  const brix::LimitedExtraction result =
      brix::ExtractLimited(*top_->handler, target, brix::MemberLimit(limits_, sizes));
  was_cut_ = result.was_cut;
  if (!result.ok) return {BRIX_PART_FAILED, result.stored};
  // Kept: whatever the target, the ratio has a status of its own, although a file that is deleted for another reason
  // gives -14.
  if (sizes.RatioReached(result.stored, limits_.max_ratio)) return {BRIX_RATIO_LIMIT, result.stored};
  return {was_cut_ ? BRIX_SIZE_LIMIT : BRIX_OK, result.stored};
}

// A container is needed twice, by the host and by the descent into it; of any other large member the host gets the
// very memory that it was decoded into. When there is no memory to look whether it is one, the host gets the member all
// the same, and is told by the step that would have descended.
int32_t ArcTk2ArchiveRecord::ExtractToMemory(void** data, uint32_t* size) {
  DropPending();
  if (!HasMember()) return BRIX_FAILED;
  std::unique_ptr<brix::MemoryStream> memory = TakeMemoryStream();
  if (!memory) return BRIX_OUT_OF_MEMORY;
  ReserveDeclaredSize(*memory);
  const Yield yield = ExtractInto(*memory);
  if (!yield.IsKept()) {
    GiveBack(std::move(memory));
    return yield.status;
  }
  brix::MemoryStream* const content = memory.get();
  std::unique_ptr<brix::ArchiveHandler> handler;
  const int32_t looked = brix::Guarded([&]() -> int32_t {
    if (MayDescend()) handler = MakeHandler(content);
    return BRIX_OK;
  });
  if (handler) (void)memory.release();  // the handler's now
  if (data != nullptr) {
    const bool copy = handler || content->bytes().size() < kHandOver;
    *data = copy ? CopyOf(content->bytes()) : content->Release();
    if (*data == nullptr) return BRIX_OUT_OF_MEMORY;
  }
  *size = yield.bytes;
  if (!handler) GiveBack(std::move(memory));
  pending_handler_ = std::move(handler);
  pending_size_ = yield.bytes;
  pending_found_no_memory_ = looked != BRIX_OK;
  return yield.status;
}

int32_t ArcTk2ArchiveRecord::ExtractToFile(const char* path) {
  DropPending();
  if (!HasMember()) return BRIX_FAILED;
  std::string pending(path);
  std::string owned(path);
  brix::OwnedFile file;  // before the stream: closed first, deleted then
  brix::FileStream stream;
  if (!stream.Open(path, brix::platform::OpenMode::kCreate)) return BRIX_FAILED;
  file = brix::OwnedFile(std::move(owned));
  const Yield yield = ExtractInto(stream);
  if (!yield.IsKept()) return yield.status;
  file.Keep();
  pending_file_.swap(pending);
  return yield.status;
}

int32_t ArcTk2ArchiveRecord::ExtractToTempFile(char* path, uint32_t path_size) {
  DropPending();
  if (!HasMember()) return BRIX_FAILED;
  std::string pending;
  std::string owned;
  pending.reserve(brix::kPathBufferSize);  // from here on nothing may throw and leave the file behind
  owned.reserve(brix::kPathBufferSize);
  char made[brix::kPathBufferSize];
  if (!brix::UniqueFileName(temp_directory_.c_str(), "tmp", made)) return BRIX_FAILED;
  const size_t length = std::strlen(made);
  pending.assign(made, length);
  owned.assign(made, length);
  brix::OwnedFile file(std::move(owned));
  if (length >= path_size) return BRIX_BAD_ARGUMENT;
  brix::FileStream stream;
  if (!stream.Open(made, brix::platform::OpenMode::kOwn)) return BRIX_FAILED;
  const Yield yield = ExtractInto(stream);
  stream.Close();
  if (!yield.IsKept()) return yield.status;
  pending_file_.swap(pending);
  top_->member_file = std::move(file);
  std::memcpy(path, made, length + 1);
  return yield.status;
}

int32_t ArcTk2ArchiveRecord::ExtractToStream(brix::Stream& target) {
  DropPending();
  if (!HasMember()) return BRIX_FAILED;
  return ExtractInto(target).status;
}

void ArcTk2ArchiveRecord::DropPending() {
  pending_file_.clear();
  pending_handler_.reset();
  pending_found_no_memory_ = false;
}

std::unique_ptr<brix::MemoryStream> ArcTk2ArchiveRecord::TakeMemoryStream() {
  if (spare_memory_) return std::move(spare_memory_);
  return std::unique_ptr<brix::MemoryStream>(new (std::nothrow)
                                                 brix::MemoryStream(brix::platform::GetLargePageAdvice()));
}

// Fresh pages cost as much as decoding into them, so the memory of one member serves the next.
void ArcTk2ArchiveRecord::GiveBack(std::unique_ptr<brix::MemoryStream> memory) {
  if (memory->capacity() > kMaxSpare || !memory->SetSize(0)) return;
  spare_memory_ = std::move(memory);
}

void ArcTk2ArchiveRecord::ReserveDeclaredSize(brix::MemoryStream& target) {
  uint32_t declared = 0;
  uint32_t value_size = sizeof declared;
  if (!top_->handler->GetMemberSize(&declared, &value_size)) return;
  const uint32_t limit = brix::MemberLimit(limits_, top_->sizes);
  const uint32_t most = brix::platform::GetLargePageAdvice() != nullptr ? kMaxLargeReserve : kMaxReserve;
  (void)target.Reserve(std::min({declared, limit, most}));  // without it, the stream just grows
}
