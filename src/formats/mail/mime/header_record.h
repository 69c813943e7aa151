// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

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
  void Clear();
  // False when memory is exhausted.
  [[nodiscard]] bool Add(mail::Text line);

  // The field of that index: name, colon and value as they stand, lines joined by LF. False: there are fewer.
  [[nodiscard]] bool Field(uint32_t index, mail::Text* field);
  // The value of the first field that begins with `start`, in any case, without leading white space. `start` is in
  // lower case and holds a colon.
  [[nodiscard]] bool Find(std::string_view start, mail::Text* value);

  // The bytes of the header that queries have looked at, for tests.
  [[nodiscard]] uint64_t bytes_visited() const { return bytes_visited_; }

 private:
  // Lists the fields' offsets, for the first query. Without the memory for that there is no list, and queries go
  // through all lines.
  void MakeIndex();
  // The field at `at`, which is moved past it.
  [[nodiscard]] mail::Text TakeField(uint32_t* at);
  using Offset = uint16_t;  // of a field
  [[nodiscard]] Offset* Offsets() { return static_cast<Offset*>(static_cast<void*>(index_.data())); }
  // Compares two names in any case; each ends in a colon.
  [[nodiscard]] int Compare(const uint8_t* a, const uint8_t* b);
  // Whether the field at `at` begins with `start`; then `*value` is what follows that.
  [[nodiscard]] bool Matches(uint32_t at, std::string_view start, mail::Text* value);

  MemoryBlock text_;  // lines, an LF after each
  uint32_t size_ = 0;
  MemoryBlock index_;       // offsets of the fields, then of those with a colon ordered by name and offset
  uint32_t fields_ = 0;     // how many the index lists
  uint32_t named_ = 0;      // and with a colon
  bool is_listed_ = false;  // the index holds all fields
  uint64_t bytes_visited_ = 0;
};

[[nodiscard]] mail::Text SkipWhiteSpace(mail::Text text);

}  // namespace brix::mime
