// SPDX-FileCopyrightText: brixcore developers
// SPDX-License-Identifier: Apache-2.0

// gzip_handler.cpp - presents a gzip file as a container of one member: its data, under the name in its header.
//
// Only the first gzip member is read; others behind it and the trailer (CRC-32 and size) are not looked at. So the
// size is not known before decoding, and damage shows only as data that cannot be decoded.
//
// Kept: a file whose header holds a comment is gzip and yet is not opened. That belongs to this handler alone: a tar
// inside gzip is another format, which reads past every header field (LocateGzipData).
//
// Bounds: header fields move the data offset by at most 66,051 bytes. The caller's limit is what stops a bomb. Memory
// is the decoder's, taken by the first extraction and kept for the next.
#include "formats/classic/gzip/gzip_handler.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "core/field_reader.h"
#include "core/refuse.h"
#include "core/stream_views.h"
#include "decoders/deflate/deflate_decoder.h"
#include "formats/classic/gzip/gzip_format.h"

namespace brix::gzip {

namespace {

class GzipHandler final : public ArchiveHandler {
 public:
  using ArchiveHandler::ArchiveHandler;

  [[nodiscard]] bool OpenArchive(char* name) override {
    FieldReader header(*read_stream_, 0);
    if (!header.Is(0, kMagic)) return Refuse("gzip: magic differs");
    const uint8_t flags = header.U8(kFlagsAt);
    header.U8(kExtraFlagsAt);  // must be there
    data_offset_ = kFixedHeader;
    if ((flags & kExtra) != 0) data_offset_ += kExtraLengthBytes + header.U16(kFixedHeader);
    if (!header.ok()) return Refuse("gzip: header cut");
    CopyName(kUnknownName, name);
    if ((flags & kName) != 0 && !ReadName(name)) return Refuse("gzip: no name");
    if ((flags & kComment) != 0) return Refuse("gzip: a comment");  // Kept: see above
    if ((flags & kHeaderCrc) != 0) data_offset_ += kHeaderCrcBytes;
    return true;
  }

  [[nodiscard]] bool NextMember(char* name) override {
    name[0] = '\0';
    return true;
  }

  [[nodiscard]] bool ExtractMember(Stream* out, uint32_t max_bytes, uint32_t* written) override {
    *written = 0;
    uint32_t size = 0;
    if (!read_stream_->GetSize(&size)) return Refuse("gzip: no stream size");
    RangeStream data(&packed_, data_offset_, size - std::min(size, data_offset_));
    *written = max_bytes == 0 ? UINT32_MAX : max_bytes;
    decoder_.Reset();
    const bool ok = decoder_.Decode(data, *out, written);
    if (ok && decoder_.finished()) NoteUnseenAfter(data_offset_ + decoder_.InputEnd() + kTrailerBytes);
    return ok;
  }

 private:
  // Reads the name that stands at the data offset, which moves behind it; an empty one leaves `name` as it is.
  //
  // Kept: at most a buffer of it is read, so behind a name of more than 511 bytes the data offset stands inside the
  // name, and decoding fails.
  [[nodiscard]] bool ReadName(char* name) {
    char stored[kNameBufferSize];
    uint32_t got = 0;
    if (!read_stream_->ReadAt(data_offset_, reinterpret_cast<uint8_t*>(stored), sizeof stored, &got)) {
      return false;
    }
    if (got == 0 || got > sizeof stored) return false;
    stored[std::min(got, kNameBufferSize - 1)] = '\0';
    const auto length = static_cast<uint32_t>(std::strlen(stored));
    if (length != 0) std::memcpy(name, stored, length + 1);
    data_offset_ += length + 1;
    return true;
  }

  uint32_t data_offset_ = 0;  // of the compressed data
  DeflateDecoder decoder_;
};

}  // namespace

ArchiveHandler* CreateGzipHandler(Stream* in, const HandlerArgs& args) {
  return new GzipHandler(in, args.ownership, args.type_id);
}

}  // namespace brix::gzip
