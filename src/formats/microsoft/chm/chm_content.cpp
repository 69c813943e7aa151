// chm_content.cpp - decodes frames of the compressed section.
//
// The reset table is read where it lies, entry by entry; nothing is kept for each frame.
//
// Bounds: the table must lie inside the file. A frame's input is cut at the content's end and at 256 KiB, far more
// than 32,768 bytes can need; what cannot be decoded from it is damage. Frames decoded only to reach a later one
// cost time and yield nothing, so a directory full of members in falling order could keep us busy without end: they
// come out of an allowance that no sensible file uses up.
#include "formats/microsoft/chm/chm_content.h"

#include <algorithm>
#include <bit>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "formats/microsoft/chm/chm_format.h"

namespace brix::chm {

namespace {

constexpr uint32_t kMostFrameInput = 256 * 1024;

// Frames thrown away: at first, and more with every extraction.
constexpr uint32_t kFirstAllowance = 1u << 18;
constexpr uint32_t kExtractionAllowance = 64;
constexpr uint32_t kMostAllowance = 1u << 30;

}  // namespace

bool CompressedContent::Open(Stream* in, const ContentParts& parts) {
  in_ = in;
  parts_ = parts;
  decoder_.reset();
  last_bytes_ = {};
  allowance_ = kFirstAllowance;
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
  allowance_ = std::min(allowance_ + kExtractionAllowance, kMostAllowance);
  uint32_t frame = offset / kFrameBytes;
  uint32_t skip = offset % kFrameBytes;
  while (*written != size) {
    if (frame >= frame_count_) return Refuse("chm: member goes on behind the last frame");
    if (!LoadFrame(frame)) return false;
    const uint32_t run = std::min(kFrameBytes - skip, size - *written);
    if (!WriteExact(out, *written, last_bytes_.data() + skip, run)) return false;
    *written += run;
    skip = 0;
    ++frame;
  }
  return true;
}

bool CompressedContent::LoadFrame(uint32_t frame) {
  if (!last_bytes_.empty() && frame == last_frame_) return true;
  const uint32_t reset_point = frame - frame % frames_per_reset_;
  const bool goes_on = !last_bytes_.empty() && last_frame_ >= reset_point && last_frame_ < frame;
  for (uint32_t i = goes_on ? last_frame_ + 1 : reset_point; i <= frame; ++i) {
    if (i != frame && allowance_-- == 0) {
      allowance_ = 0;
      return Refuse("chm: too many frames decoded in vain");
    }
    if (!DecodeFrame(i)) return false;
  }
  return true;
}

bool CompressedContent::DecodeFrame(uint32_t frame) {
  last_bytes_ = {};
  if (decoder_ == nullptr) decoder_.reset(new (std::nothrow) LzxDecoder(window_bits_, 1));
  if (decoder_ == nullptr) return false;
  if (frame % frames_per_reset_ == 0 && !decoder_->Reset()) return false;
  std::span<uint8_t> packed;
  if (!ReadFrame(frame, &packed)) return false;
  if (!decoder_->DecodeBlock(packed, false, kFrameBytes, &last_bytes_)) return false;
  last_frame_ = frame;
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
