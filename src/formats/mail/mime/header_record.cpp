// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// header_record.cpp - header lines one after the other in one block, and a list of where the fields begin.
//
// The list is made for the first query, so that asking for every field, by index or by name, costs little more than one
// pass over the lines.
//
// Bounds: 64 KiB of lines; the list takes 4 bytes for each field, 128 KiB at the most.
#include "formats/mail/mime/header_record.h"

#include "formats/mail/mime/mime_format.h"

namespace brix::mime {

using mail::Text;

namespace {

constexpr size_t kFirstRoom = 512;  // bytes

}  // namespace

void HeaderRecord::Clear() {
  size_ = 0;
  is_listed_ = false;
}

bool HeaderRecord::Add(Text line) {
  is_listed_ = false;
  if (line.size() >= kMaxHeaderRecord - size_) return true;
  const size_t needed = size_ + line.size() + 1;
  if (!text_.TryGrow(needed, kFirstRoom)) return false;
  std::copy(line.begin(), line.end(), text_.data() + size_);
  size_ = static_cast<uint32_t>(needed);
  text_.data()[size_ - 1] = '\n';
  return true;
}

Text HeaderRecord::TakeField(uint32_t* at) {
  const uint8_t* const text = text_.data();
  const uint32_t start = *at;
  do {  // each turn takes a line
    while (text[*at] != '\n') ++*at;
    ++*at;
  } while (*at < size_ && mail::IsBlank(text[*at]));
  bytes_visited_ += *at - start;
  return {text + start, *at - start - 1};
}

int HeaderRecord::Compare(const uint8_t* a, const uint8_t* b) {
  for (;; ++a, ++b) {  // ends at a colon
    ++bytes_visited_;
    if (*a == ':' || *b == ':') return static_cast<int>(*b == ':') - static_cast<int>(*a == ':');
    if (const int difference = mail::Lower(*a) - mail::Lower(*b); difference != 0) return difference;
  }
}

void HeaderRecord::MakeIndex() {
  if (is_listed_) return;
  static_assert(kMaxHeaderRecord <= 1 << 8 * sizeof(Offset));
  fields_ = named_ = 0;
  const auto has_colon = [](Text field) { return std::find(field.begin(), field.end(), ':') != field.end(); };
  for (uint32_t at = 0; at < size_; ++fields_) named_ += has_colon(TakeField(&at)) ? 1u : 0u;
  if (!index_.TryResize((size_t{fields_} + named_) * sizeof(Offset))) return;
  Offset* field = Offsets();
  Offset* const named = field + fields_;
  Offset* named_end = named;
  for (uint32_t at = 0; at < size_;) {
    *field = static_cast<Offset>(at);
    if (has_colon(TakeField(&at))) *named_end++ = *field;
    ++field;
  }
  const uint8_t* const text = text_.data();
  std::sort(named, named_end, [&](Offset a, Offset b) {
    const int order = Compare(text + a, text + b);
    return order != 0 ? order < 0 : a < b;
  });
  is_listed_ = true;
}

bool HeaderRecord::Field(uint32_t index, Text* field) {
  MakeIndex();
  if (index >= fields_) return false;
  uint32_t at = is_listed_ ? Offsets()[index] : 0;
  *field = TakeField(&at);
  for (uint32_t i = 0; !is_listed_ && i < index; ++i) *field = TakeField(&at);
  return true;
}

bool HeaderRecord::Matches(uint32_t at, std::string_view start, Text* value) {
  const Text field = TakeField(&at);
  if (!mail::BeginsWith(field, start)) return false;
  *value = SkipWhiteSpace(field.subspan(start.size()));
  return true;
}

bool HeaderRecord::Find(std::string_view start, Text* value) {
  MakeIndex();
  if (!is_listed_) {
    for (uint32_t at = 0; at < size_; (void)TakeField(&at)) {
      if (Matches(at, start, value)) return true;
    }
    return false;
  }
  const uint8_t* const name = mail::TextOf(start).data();
  const auto order = [&](Offset at) { return Compare(text_.data() + at, name); };
  const Offset* const end = Offsets() + fields_ + named_;
  const Offset* at = std::partition_point(Offsets() + fields_, Offsets() + fields_ + named_,
                                          [&](Offset field) { return order(field) < 0; });
  for (; at != end && order(*at) == 0; ++at) {  // fields of that name, in their order
    if (Matches(*at, start, value)) return true;
  }
  return false;
}

Text SkipWhiteSpace(Text text) {
  while (!text.empty() && (mail::IsBlank(text[0]) || text[0] == '\n')) text = text.subspan(1);
  return text;
}

}  // namespace brix::mime
