// header_record.cpp - header lines one behind the other in one block.
#include "formats/mail/mime/header_record.h"

#include "formats/mail/mime/mime_format.h"

namespace brix::mime {

using mail::Text;

namespace {

constexpr size_t kFirstRoom = 512;  // bytes

// Takes the next field off the front of `rest`.
Text TakeField(Text* rest) {
  size_t at = 0;
  do {  // each turn takes a line
    while ((*rest)[at] != '\n') ++at;
    ++at;
  } while (at < rest->size() && mail::IsBlank((*rest)[at]));
  const Text field = rest->first(at - 1);
  *rest = rest->subspan(at);
  return field;
}

}  // namespace

bool HeaderRecord::Add(Text line) {
  if (line.size() >= kMaxHeaderRecord - size_) return true;
  const size_t needed = size_ + line.size() + 1;
  if (!text_.TryGrow(needed, kFirstRoom)) return false;
  std::copy(line.begin(), line.end(), text_.data() + size_);
  size_ = static_cast<uint32_t>(needed);
  text_.data()[size_ - 1] = '\n';
  return true;
}

bool HeaderRecord::Field(uint32_t index, Text* field) const {
  Text rest(text_.data(), size_);
  for (uint32_t i = 0; !rest.empty(); ++i) {
    *field = TakeField(&rest);
    if (i == index) return true;
  }
  return false;
}

bool HeaderRecord::Find(std::string_view start, Text* value) const {
  for (Text rest(text_.data(), size_); !rest.empty();) {
    const Text field = TakeField(&rest);
    if (!mail::BeginsWith(field, start)) continue;
    *value = SkipWhiteSpace(field.subspan(start.size()));
    return true;
  }
  return false;
}

Text SkipWhiteSpace(Text text) {
  while (!text.empty() && (mail::IsBlank(text[0]) || text[0] == '\n')) text = text.subspan(1);
  return text;
}

}  // namespace brix::mime
