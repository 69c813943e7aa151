// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// chm_content.cpp - decodes frames of the compressed section.
//
// The reset table is read where it lies, entry by entry; nothing is kept for each frame.
//
// Bounds: the table must lie inside the file. A frame's input is cut at the content's end and at 256 KiB, far more
// than 32,768 bytes can need; what cannot be decoded from it is damage. Frames decoded only to reach a later one
// cost time and yield nothing, so a directory full of members in falling order could keep us busy without end: they
// come out of the allowance of the container's input.
#include "formats/microsoft/chm/chm_content.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/chm/chm_format.h"

namespace brix::chm {

namespace {

constexpr uint32_t kMostFrameInput = 256 * 1024;

}  // namespace

bool CompressedContent::Open(DecoderInput* in, const ContentParts& parts) {
  in_ = in;
  parts_ = parts;
  decoder_.reset();
  decoded_any_ = false;
  bytes_ = {};
  cache_.fill({});
  return ReadControlData(parts.control_data) && ReadResetTable(parts.reset_table);
}

bool CompressedContent::ReadControlData(uint32_t at) {
  FieldReader control(*in_, at);
  const bool in_bytes = control.U32(kControlVersion) == kControlInBytes;
  uint64_t reset_interval = control.U32(kControlResetInterval);
  uint64_t window_size = control.U32(kControlWindowSize);
  const uint32_t cache_size = control.U32(kControlCacheSize);
  if (!control.ok()) return Refuse("chm: control data cut");
  if (!in_bytes) {
    reset_interval *= kFrameBytes;
    window_size *= kFrameBytes;
  }
  const uint64_t units = window_size / kFrameBytes;
  if (window_size % kFrameBytes != 0 || !std::has_single_bit(units) || units > kMostWindowUnits) {
    return Refuse("chm: window size");
  }
  window_bits_ = kLeastWindowBits + static_cast<uint32_t>(std::countr_zero(units));
  const uint64_t frames = reset_interval / (window_size / 2) * cache_size;  // at most 2^33 * 2^32
  if (frames == 0) return Refuse("chm: reset interval");
  frames_per_reset_ = static_cast<uint32_t>(std::min<uint64_t>(frames, UINT32_MAX));
  return true;
}

bool CompressedContent::ReadResetTable(uint32_t at) {
  FieldReader header(*in_, at);
  const uint32_t version = header.U32(kResetVersion);
  frame_count_ = header.U32(kResetEntryCount);
  table_ = at;
  if (header.U32(kResetEntrySize) == kResetEntryBytes && !CheckedAdd(&table_, header.U32(kResetTableStart))) {
    return Refuse("chm: reset table out of range");
  }
  compressed_bytes_ = header.U32(kResetCompressedLength);
  uint32_t size = 0;
  if (!header.ok() || !in_->GetSize(&size)) return Refuse("chm: reset table cut");
  if (version != kResetKnownVersion || frame_count_ == 0) return Refuse("chm: no reset table");
  if (table_ > size || frame_count_ > (size - table_) / kResetEntryBytes)
    return Refuse("chm: reset table cut");
  return true;
}

bool CompressedContent::Extract(uint32_t offset, uint32_t size, Stream& out, uint32_t* written) {
  *written = 0;
  uint32_t frame = offset / kFrameBytes;
  uint32_t skip = offset % kFrameBytes;
  while (*written != size) {
    if (frame >= frame_count_) return Refuse("chm: member goes on behind the last frame");
    if (!LoadFrame(frame)) return false;
    const uint32_t run = std::min(kFrameBytes - skip, size - *written);
    if (!WriteExact(out, *written, bytes_.data() + skip, run)) return false;
    *written += run;
    skip = 0;
    ++frame;
  }
  return true;
}

bool CompressedContent::LoadFrame(uint32_t frame) {
  if ((!bytes_.empty() && frame == loaded_) || FindCached(frame)) return true;
  bytes_ = {};
  const uint32_t reset_point = frame - frame % frames_per_reset_;
  const bool goes_on = decoded_any_ && decoded_ >= reset_point && decoded_ < frame;
  if (decoded_any_ && frame <= decoded_ && cache_memory_.size() == 0 &&
      !cache_memory_.TryResize(cache_.size() * kFrameBytes)) {
    return false;
  }
  for (uint32_t i = goes_on ? decoded_ + 1 : reset_point;; ++i) {
    if (!DecodeFrame(i)) return false;
    if (i == frame) return true;
    if (!in_->ChargeUnwanted(kFrameBytes)) return false;
  }
}

bool CompressedContent::FindCached(uint32_t frame) {
  for (CachedFrame& cached : cache_) {
    if (cached.last_use == 0 || cached.frame != frame) continue;
    cached.last_use = ++uses_;
    loaded_ = frame;
    bytes_ = {cache_memory_.data() + (&cached - cache_.data()) * kFrameBytes, kFrameBytes};
    return true;
  }
  return false;
}

// Puts what was decoded in the place of the frame that was not used for the longest time.
void CompressedContent::Cache() {
  if (cache_memory_.size() == 0) return;
  CachedFrame& oldest = *std::ranges::min_element(cache_, {}, &CachedFrame::last_use);
  oldest = {loaded_, ++uses_};  // 2^32 uses would only spoil the order
  std::memcpy(cache_memory_.data() + (&oldest - cache_.data()) * kFrameBytes, bytes_.data(), kFrameBytes);
}

bool CompressedContent::DecodeFrame(uint32_t frame) {
  decoded_any_ = false;
  if (decoder_ == nullptr) decoder_.reset(new (std::nothrow) LzxDecoder(window_bits_, 1));
  if (decoder_ == nullptr) return false;
  if (frame % frames_per_reset_ == 0 && !decoder_->Reset()) return false;
  std::span<uint8_t> packed;
  if (!ReadFrame(frame, &packed)) return false;
  if (!decoder_->DecodeBlock(packed, false, kFrameBytes, &bytes_)) return false;
  decoded_any_ = true;
  decoded_ = loaded_ = frame;
  Cache();
  return true;
}

bool CompressedContent::ReadFrame(uint32_t frame, std::span<uint8_t>* packed) {
  FieldReader table(*in_, table_);
  const uint32_t start = table.U32(frame * kResetEntryBytes);
  uint32_t end = compressed_bytes_;
  if (frame != frame_count_ - 1) end = table.U32((frame + 1) * kResetEntryBytes);
  if (!table.ok()) return Refuse("chm: reset table cut");
  if (start > parts_.content_bytes) return Refuse("chm: frame behind the content");
  // A length that wraps reaches to the content's end.
  const uint32_t size = std::min({end - start, parts_.content_bytes - start, kMostFrameInput});
  uint32_t at = parts_.content;
  if (!CheckedAdd(&at, start)) return Refuse("chm: frame out of range");
  if (packed_.size() < size + LzxDecoder::kSlack && !packed_.TryResize(size + LzxDecoder::kSlack))
    return false;
  uint32_t got = 0;
  if (!in_->ReadAt(at, packed_.data(), size, &got)) return Refuse("chm: content cannot be read");
  *packed = {packed_.data(), std::min(got, size)};
  return true;
}

}  // namespace brix::chm
