// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// run_mail_decoder.h - what the targets of the mail decoders do: decode whole, then with half as a limit.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "core/memory_stream.h"
#include "decoders/mail/mail_decoders.h"

namespace brix {

// The first byte chooses the boundaries known and whether the body is a part's. Aborts on a broken promise.
inline void RunMailDecoder(bool (*decode)(mail::MailBody*, mail::MailOutput*), const uint8_t* data,
                           size_t size) {
  constexpr uint32_t kMost = 1 << 20;
  const auto promise = [](bool kept, const char* text) {
    if (kept) return;
    std::fprintf(stderr, "broken promise: %s\n", text);
    std::abort();
  };
  if (size == 0 || size > kMost) return;
  const std::span text(data + 1, size - 1);
  static MemoryBlock buffer;
  mail::BoundarySet boundaries;
  for (uint32_t length = 0; length < 3; ++length) {
    if ((data[0] >> length & 1) != 0)
      promise(boundaries.Add(text.first(std::min<size_t>(length, text.size()))), "room");
  }
  boundaries.SetMailbox((data[0] & 8) != 0);
  const auto run = [&](uint32_t limit, MemoryStream* to) {
    FixedMemoryStream in(text);
    mail::LineReader lines;
    lines.Open(&in);
    mail::MailBody body{lines, boundaries, (data[0] & 16) != 0};
    mail::MailOutput out(*to, limit, &buffer);
    promise(decode(&body, &out), "nothing in the data is an error");
    promise(out.written() == to->bytes().size() && (limit == 0 || out.written() <= limit), "the count");
    promise(lines.offset() <= text.size(), "the place is inside the message");
  };
  MemoryStream whole, half;
  run(kMost * 64, &whole);
  const auto wanted = static_cast<uint32_t>(whole.bytes().size() / 2);
  if (wanted == 0) return;
  run(wanted, &half);
  promise(half.bytes().size() == wanted &&
              std::equal(half.bytes().begin(), half.bytes().end(), whole.bytes().begin()),
          "a lower limit gives the same bytes");
}

}  // namespace brix
