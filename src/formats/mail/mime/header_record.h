// header_record.h - the header lines of a message, kept for the queries of a host.
#pragma once

#include <cstdint>
#include <string_view>

#include "core/memory_block.h"
#include "decoders/mail/mail_text.h"

namespace brix::mime {

// Lines up to the first empty one, 64 KiB of them: later ones are not kept. Lines that begin with a blank continue
// the field before.
class HeaderRecord {
 public:
  void Clear() { size_ = 0; }
  // False when memory is exhausted.
  [[nodiscard]] bool Add(mail::Text line);

  // The field of that index: name, colon and value as they stand, lines joined by LF. False: there are fewer.
  [[nodiscard]] bool Field(uint32_t index, mail::Text* field) const;
  // The value of the first field that begins with `start`, in any case, without leading white space. `start` is in
  // lower case.
  [[nodiscard]] bool Find(std::string_view start, mail::Text* value) const;

 private:
  MemoryBlock text_;  // lines, an LF behind each
  uint32_t size_ = 0;
};

[[nodiscard]] mail::Text SkipWhiteSpace(mail::Text text);

}  // namespace brix::mime
