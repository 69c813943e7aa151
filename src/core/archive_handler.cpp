// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

#include "core/archive_handler.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "core/field_reader.h"

namespace brix {

ArchiveHandler::ArchiveHandler(Stream* input, uint32_t ownership, uint32_t type_id)
    : read_stream_(&read_cache_), input_stream_(input), ownership_(ownership), type_id_(type_id) {
  read_cache_.SetInner(input, ownership);
}

ArchiveHandler::~ArchiveHandler() = default;

bool ArchiveHandler::SetContext(uint64_t value) {
  context_value_ = value;
  return true;
}

bool ArchiveHandler::AddMember(Stream*, uint32_t, const Property*, uint32_t) { return false; }
bool ArchiveHandler::GetMemberSize(uint32_t*, uint32_t*) { return false; }
bool ArchiveHandler::GetMemberType(char*, uint32_t*) { return false; }
uint32_t ArchiveHandler::GetMemberHint() { return 0; }
bool ArchiveHandler::GetMemberHeader(uint32_t, char*, char*, uint32_t*) { return false; }
bool ArchiveHandler::GetMemberProperty(const char*, char*, uint32_t*) { return false; }
bool ArchiveHandler::ReleaseMember() { return false; }
bool ArchiveHandler::ResetMembers() { return false; }
bool ArchiveHandler::Reserved13() { return false; }
uint32_t ArchiveHandler::GetTypeId() { return type_id_; }

void ArchiveHandler::NoteUnseenAfter(uint32_t offset) {
  constexpr uint32_t kMaxPadding = 1 << 20;  // bytes
  std::array<uint8_t, 1024> piece;
  for (uint32_t seen = 0;; seen += piece.size()) {  // ends by the padding
    uint32_t got = 0;
    if (seen > UINT32_MAX - offset || !read_stream_->ReadAt(offset + seen, piece.data(), piece.size(), &got))
      return;
    const auto end = piece.begin() + std::min<size_t>(got, piece.size());
    if (seen == kMaxPadding ||
        std::find_if(piece.begin(), end, [](uint8_t byte) { return byte != 0; }) != end) {
      if (got != 0) NoteUnseen(kUnseenData);
      return;
    }
    if (got < piece.size()) return;
  }
}

void ArchiveHandler::NoteUnseenBefore(uint32_t offset) {
  constexpr std::array<uint8_t, 2> kProgram = {'M', 'Z'};
  if (offset != 0 && !FieldReader(*read_stream_, 0).Is(0, kProgram)) NoteUnseen(kUnseenData);
}

bool ArchiveHandler::AnswerSize(uint32_t size, uint32_t* value, uint32_t* io_size) {
  const uint32_t room = *io_size;
  *io_size = sizeof size;
  if (value == nullptr || room < sizeof size) return false;
  *value = size;
  return true;
}

void CopyName(std::string_view text, char* name) {
  const size_t length = std::min<size_t>({text.size(), text.find('\0'), kNameBufferSize - 1});
  std::memcpy(name, text.data(), length);
  name[length] = '\0';
}

}  // namespace brix
