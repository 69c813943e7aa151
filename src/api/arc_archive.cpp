// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "api/arc_archive.h"

#include <cstring>
#include <new>
#include <string_view>

#include "api/guarded.h"
#include "core/format_table.h"
#include "formats/registry.h"

static_assert(brix::EncodingOf(0) == 0 && brix::EncodingOf(1) == 3 && brix::EncodingOf(2) == 4);
static_assert(brix::EncodingOf(3) == 2 && brix::EncodingOf(4) == 1 && brix::EncodingOf(5) == 0);

// In a loop: how often a host interrupts is not bounded, and must not decide how deep the stack grows.
ArcArchiveRecord::~ArcArchiveRecord() {
  for (std::unique_ptr<ArcArchiveRecord> next = std::move(suspended_); next;) {
    next = std::unique_ptr<ArcArchiveRecord>(next->suspended_.release());
  }
}

int32_t ArcArchiveRecord::Open(const ArcStream* stream, const ArcStream* output, uint32_t flags,
                               std::unique_ptr<ArcArchiveRecord>* archive) {
  if (!brix::IsComplete(stream) || (output != nullptr && !brix::IsComplete(output))) {
    return BRIX_BAD_ARGUMENT;
  }
  std::unique_ptr<ArcArchiveRecord> made(new (std::nothrow) ArcArchiveRecord(*stream));
  if (!made) return BRIX_OUT_OF_MEMORY;
  if (output != nullptr) {
    made->output_.reset(new (std::nothrow) Output(*output));
    if (!made->output_) return BRIX_OUT_OF_MEMORY;
  }
  const uint32_t detect_flags = (flags & BRIX_OPEN_GATEWAY) != 0 ? brix::kDetectGateway : 0;
  made->handler_.reset(brix::Formats().CreateArchiveHandler(&made->input_, nullptr, 0, detect_flags));
  if (!made->handler_) return BRIX_NOT_AN_ARCHIVE;
  *archive = std::move(made);
  return BRIX_OK;
}

int32_t ArcArchiveRecord::Finish() {
  return brix::Guarded([&] { return !output_ || output_->buffer.Flush() ? BRIX_OK : BRIX_FAILED; });
}

int32_t ArcArchiveRecord::NextMember() {
  if (state_ == State::kEnded) return BRIX_NO_MORE_MEMBERS;
  const bool is_first = state_ == State::kFresh;
  state_ = State::kEnded;  // holds also when a host's stream throws through the handler
  name_[0] = '\0';
  if (!(is_first ? handler_->OpenArchive(name_) : handler_->NextMember(name_))) return BRIX_FAILED;
  name_[brix::kNameBufferSize - 1] = '\0';
  if (name_[0] == '\0') return BRIX_NO_MORE_MEMBERS;
  state_ = State::kOnMember;
  return BRIX_OK;
}

int32_t ArcArchiveRecord::CopyName(char* name, uint32_t* size) const {
  if (state_ != State::kOnMember) return BRIX_NO_CURRENT;
  const uint32_t room = *size;
  *size = static_cast<uint32_t>(std::strlen(name_)) + 1;
  if (room < *size) return BRIX_BUFFER_TOO_SMALL;
  if (name == nullptr) return BRIX_BAD_ARGUMENT;
  std::memcpy(name, name_, *size);
  return BRIX_OK;
}

int32_t ArcArchiveRecord::ExtractMember(const ArcStream& output) {
  if (state_ != State::kOnMember) return BRIX_NO_CURRENT;
  brix::HostStream target(output);
  brix::BufferedWriteStream out(&target);
  uint32_t produced = 0;
  handler_->RestartMember();
  const bool extracted = handler_->ExtractMember(&out, UINT32_MAX, &produced);
  const bool flushed = out.Flush();  // after a failure too: the host keeps what came
  return extracted && flushed ? BRIX_OK : BRIX_FAILED;
}

namespace {

// The result of a query that the handler did not answer.
int32_t Unanswered(const ArcMemberProp& record) {
  return record.buffer == nullptr || record.size < record.result_size ? BRIX_BUFFER_TOO_SMALL
                                                                      : BRIX_NO_PROPERTY;
}

}  // namespace

bool ArcArchiveRecord::HandlerProperty(ArcMemberProp* record) {
  const std::string_view name(record->name);
  auto* const text = static_cast<char*>(record->buffer);
  if (name == "filelength") {
    uint32_t length = 0;  // apart: the host's buffer need not be aligned
    const bool known = handler_->GetMemberSize(text == nullptr ? nullptr : &length, &record->result_size);
    if (known) std::memcpy(text, &length, sizeof length);
    return known;
  }
  if (name == "filetype") return handler_->GetMemberType(text, &record->result_size);
  return handler_->GetMemberProperty(record->name, text, &record->result_size);
}

int32_t ArcArchiveRecord::NamedProperty(ArcMemberProp* record) {
  record->result_size = record->size;
  if (std::memchr(record->name, '\0', sizeof record->name) == nullptr) return BRIX_BAD_ARGUMENT;
  if (state_ != State::kOnMember) return BRIX_NO_CURRENT;
  const std::string_view name(record->name);
  if (name == "filename") return CopyName(static_cast<char*>(record->buffer), &record->result_size);
  if (name == "fileencoding") {
    if (record->size != 1 || record->buffer == nullptr) return BRIX_BAD_ARGUMENT;
    *static_cast<uint8_t*>(record->buffer) = brix::EncodingOf(handler_->GetMemberHint());
    return BRIX_OK;
  }
  return HandlerProperty(record) ? BRIX_OK : Unanswered(*record);
}

int32_t ArcArchiveRecord::IndexedProperty(uint32_t index, ArcMemberProp* record) {
  record->result_size = record->size;
  if (state_ != State::kOnMember) return BRIX_NO_CURRENT;
  const bool known = handler_->GetMemberHeader(index, record->name, static_cast<char*>(record->buffer),
                                               &record->result_size);
  return known ? BRIX_OK : Unanswered(*record);
}

void ArcArchiveRecord::Interrupts(ArcArchiveRecord* suspended, ArcStream* stream, void* user_value) {
  suspended_.reset(suspended);
  interrupting_stream_ = stream;
  user_value_ = user_value;
}

ArcArchiveRecord* ArcArchiveRecord::Resume(ArcStream** stream, void** user_value) {
  if (!suspended_) return nullptr;
  *stream = interrupting_stream_;
  if (user_value != nullptr) *user_value = user_value_;
  return suspended_.release();
}
