// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// decoding_stream.cpp - serves reads out of the decoder's buffer.
//
// The decoder keeps the last part of its output in one piece of memory. A read inside it is a copy; one behind it
// decodes on, 32 KiB at a time, and drops what nobody asked for; one before it begins the data anew.
//
// Costs: the decoder's memory, whatever is read. Reading forward decodes every byte once. A read that goes back by more
// than what the decoder keeps (a window, or with bzip2 32 KiB) may cost as much as everything before it, which the allowance
// of the input bounds.
#include "decoders/decoding_stream.h"

#include <algorithm>
#include <cstring>

namespace brix {

namespace {
constexpr uint32_t kAhead = 32768;  // bytes decoded at a time
}

bool DecodingStream::Lend(uint64_t offset, std::span<const uint8_t>* bytes) {
  if (offset < end_ - decoder_.buffered().size()) {
    if (!input_->ChargeUnwanted(end_)) return false;
    decoder_.Reset();
    end_ = 0;
  }
  // Ends by the data: each turn decodes some of them.
  while (offset >= end_) {
    uint32_t added = 0;
    const bool ok = decoder_.DecodeMore(packed_, kAhead, &added);
    input_->ChargeTables(decoder_.TakeTablesBuilt());
    if (!ok) return false;
    if (added == 0) {
      *bytes = {};
      return true;
    }
    end_ += added;
  }
  *bytes = decoder_.buffered().last(static_cast<size_t>(end_ - offset));
  return true;
}

bool DecodingStream::ReadAt(uint32_t offset, uint8_t* buf, uint32_t size, uint32_t* got) {
  *got = 0;
  while (*got < size) {
    std::span<const uint8_t> bytes;
    if (!Lend(uint64_t{offset} + *got, &bytes)) return *got != 0;
    if (bytes.empty()) break;
    const auto count = static_cast<uint32_t>(std::min<size_t>(bytes.size(), size - *got));
    std::memcpy(buf + *got, bytes.data(), count);
    *got += count;
  }
  return true;
}

bool DecodingStream::CopyTo(Stream& out, uint32_t offset, uint32_t* limit) {
  const uint32_t wanted = *limit;
  *limit = 0;
  while (*limit < wanted) {
    std::span<const uint8_t> bytes;
    if (!Lend(uint64_t{offset} + *limit, &bytes) || bytes.empty()) return false;
    const auto count = static_cast<uint32_t>(std::min<size_t>(bytes.size(), wanted - *limit));
    if (!WriteExact(out, *limit, bytes.data(), count)) return false;
    *limit += count;
  }
  return true;
}

bool DecodingStream::WriteAt(uint32_t, const uint8_t*, uint32_t, uint32_t* written) {
  *written = 0;
  return false;
}

bool DecodingStream::GetSize(uint32_t*) { return false; }

bool DecodingStream::SetSize(uint32_t) { return false; }

}  // namespace brix
